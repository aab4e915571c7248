#include "runtime/objectprobe.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <typeinfo>

#include <QPointer>
#include <QWidget>

#include <pthread.h>

#include "platform/automation.h"
#include "runtime/deliberateleak.h"

namespace {

// QObject is exactly a vtable pointer and d_ptr; everything below reads
// these two words.
static_assert(sizeof(QObject) == 2 * sizeof(void *), "QObject is a vtable pointer and d_ptr");

bool isWordAligned(const void *address)
{
    return reinterpret_cast<std::uintptr_t>(address) % alignof(void *) == 0;
}

const void *offsetBy(const void *address, std::ptrdiff_t bytes)
{
    return static_cast<const char *>(address) + bytes;
}

// Loads a word that IsBadReadPtr has found readable. The memory may be
// freed (the address checker would report that) or of any dynamic type.
__attribute__((no_sanitize("address", "undefined"))) const void *loadWord(const void *address)
{
    return *static_cast<const void *const volatile *>(address);
}

struct ObjectDataFields {
    const void *backPointer;
    bool deleted;
    const void *dynamicMetaObject;
};

// As loadWord, for the two fields of a QObjectData read here.
__attribute__((no_sanitize("address", "undefined"))) ObjectDataFields loadObjectData(const void *address)
{
    const volatile QObjectData *data = static_cast<const volatile QObjectData *>(address);
    return { data->q_ptr, data->wasDeleted != 0, data->metaObject };
}

bool isReadableWord(const void *address)
{
    return address && isWordAligned(address) && !IsBadReadPtr(address, sizeof(void *));
}

// A virtual slot that may be called: code, and not the stub an abstract
// class leaves in its table, which ends the process when called.
bool isCallableSlot(const void *function)
{
    return !IsBadCodePtr(reinterpret_cast<FARPROC>(const_cast<void *>(function)))
        && function != reinterpret_cast<const void *>(&abi::__cxa_pure_virtual)
        && function != reinterpret_cast<const void *>(&abi::__cxa_deleted_virtual);
}

// metaObject() calls through an object's dynamic meta-object when it has
// one: its table's first slots (destructors, objectDestroyed,
// toDynamicMetaObject, metaCall) must be callable too.
bool hasCallableDynamicMetaObject(const void *dynamicMetaObject)
{
    if (!dynamicMetaObject)
        return true;
    if (!isReadableWord(dynamicMetaObject))
        return false;
    const void *vtable = loadWord(dynamicMetaObject);
    constexpr int slotCount = 5;
    if (!isReadableWord(vtable) || IsBadReadPtr(vtable, slotCount * sizeof(void *)))
        return false;
    for (int slot = 0; slot < slotCount; ++slot) {
        if (!isCallableSlot(loadWord(offsetBy(vtable, slot * std::ptrdiff_t(sizeof(void *))))))
            return false;
    }
    return true;
}

// Classes of the three shapes a type description of a class can have:
// without bases, with one base, with several.
struct ShapeWithoutBase {
    virtual ~ShapeWithoutBase() = default;
};
struct ShapeWithOneBase : ShapeWithoutBase {
};
struct OtherShape {
    virtual ~OtherShape() = default;
};
struct ShapeWithBases : ShapeWithoutBase, OtherShape {
};

// True when address holds a type description of a class: its first word
// is the vtable of one of the three kinds of class description.
bool isClassDescription(const void *address)
{
    static const void *const classDescriptionKinds[] = {
        loadWord(&typeid(ShapeWithoutBase)),
        loadWord(&typeid(ShapeWithOneBase)),
        loadWord(&typeid(ShapeWithBases)),
    };
    if (!isWordAligned(address) || IsBadReadPtr(address, 2 * sizeof(void *)))
        return false;
    const void *kind = loadWord(address);
    return std::find(std::begin(classDescriptionKinds), std::end(classDescriptionKinds), kind)
        != std::end(classDescriptionKinds);
}

enum class Descent { Derives, Unrelated, NotDescribed, Invalid };

// Whether the class whose vtable this is derives from base, read from the
// type description the C++ ABI keeps in the word before the first slot.
Descent descentOf(const void *vtable, const std::type_info &base)
{
    const void *descriptionSlot = offsetBy(vtable, -std::ptrdiff_t(sizeof(void *)));
    if (IsBadReadPtr(descriptionSlot, sizeof(void *)))
        return Descent::Invalid;
    const void *description = loadWord(descriptionSlot);
    if (!description)
        return Descent::NotDescribed; // a class built without type descriptions
    if (!isClassDescription(description))
        return Descent::Invalid;
    bool derives = false;
    const bool completed = RunGuarded([&] {
        void *noObject = nullptr;
        derives = static_cast<const std::type_info *>(description)->__do_upcast(
            static_cast<const abi::__class_type_info *>(&base), &noObject);
    });
    if (!completed)
        return Descent::Invalid;
    return derives ? Descent::Derives : Descent::Unrelated;
}

bool hasObjectLayout(const void *address)
{
    if (!address || !isWordAligned(address) || IsBadReadPtr(address, sizeof(QObject)))
        return false;
    const void *vtable = loadWord(address);
    if (!isReadableWord(vtable))
        return false;
    // The first virtual function of every QObject is metaObject(): only
    // code in an executable mapping may be called there.
    if (!isCallableSlot(loadWord(vtable)))
        return false;
    const void *data = loadWord(offsetBy(address, sizeof(void *)));
    if (!data || !isWordAligned(data) || IsBadReadPtr(data, sizeof(QObjectData)))
        return false;
    const ObjectDataFields fields = loadObjectData(data);
    if (fields.backPointer != address || fields.deleted || !hasCallableDynamicMetaObject(fields.dynamicMetaObject))
        return false;
    // An object and its data point at each other: the type descriptions
    // tell which is which, so that a QObjectData is never taken for its
    // object (its first slot is a destructor). Qt's data classes are always
    // described; an application's class may be built without descriptions.
    const void *dataVtable = loadWord(data);
    if (!isReadableWord(dataVtable) || descentOf(dataVtable, typeid(QObjectData)) != Descent::Derives)
        return false;
    const Descent objectDescent = descentOf(vtable, typeid(QObject));
    return objectDescent == Descent::Derives || objectDescent == Descent::NotDescribed;
}

struct LastConfirmed {
    QPointer<QObject> object;
    bool isWidget = false;
};

// One cell a thread, kept deliberately, found through a thread-specific key
// rather than the module's own thread-local storage: the module is unloaded
// while its threads live on, and storage of an unloaded library confuses
// the leak checker of sanitizer builds.
class LastConfirmedCells
{
public:
    LastConfirmedCells() { ready = pthread_key_create(&key, nullptr) == 0; }
    ~LastConfirmedCells()
    {
        if (ready)
            pthread_key_delete(key);
    }

    LastConfirmed *find() const { return ready ? static_cast<LastConfirmed *>(pthread_getspecific(key)) : nullptr; }

    LastConfirmed *make()
    {
        LastConfirmed *cell = find();
        if (cell || !ready)
            return cell;
        cell = new LastConfirmed;
        MarkDeliberateLeak(cell);
        pthread_setspecific(key, cell);
        return cell;
    }

private:
    pthread_key_t key{};
    bool ready = false;
};

LastConfirmedCells cells;

} // namespace

bool IsLiveQObject(const void *address)
{
    if (!hasObjectLayout(address))
        return false;
    bool isObject = false;
    RunGuarded([&] {
        isObject = QObject::staticMetaObject.cast(static_cast<const QObject *>(address)) != nullptr;
    });
    return isObject;
}

bool IsLiveWidget(const void *address)
{
    if (!IsLiveQObject(address))
        return false;
    bool isWidget = false;
    RunGuarded([&] { isWidget = static_cast<const QObject *>(address)->isWidgetType(); });
    return isWidget;
}

QObject *AsLiveQObject(const void *address)
{
    return IsLiveQObject(address) ? static_cast<QObject *>(const_cast<void *>(address)) : nullptr;
}

QWidget *AsLiveWidget(const void *address)
{
    return IsLiveWidget(address) ? static_cast<QWidget *>(static_cast<QObject *>(const_cast<void *>(address))) : nullptr;
}

namespace {

// The thread's last confirmed object when address is it, else null.
const LastConfirmed *confirmedAgain(const void *address)
{
    const LastConfirmed *last = cells.find();
    return last && address && last->object.data() == address ? last : nullptr;
}

} // namespace

bool IsConfirmedLiveQObject(const void *address)
{
    if (confirmedAgain(address))
        return true;
    if (!IsLiveQObject(address))
        return false;
    if (LastConfirmed *cell = cells.make()) {
        cell->object = static_cast<QObject *>(const_cast<void *>(address));
        RunGuarded([&] { cell->isWidget = cell->object->isWidgetType(); });
    }
    return true;
}

QWidget *AsConfirmedLiveWidget(const void *address)
{
    const LastConfirmed *last = confirmedAgain(address);
    bool isWidget = last && last->isWidget;
    if (!last) {
        if (!IsConfirmedLiveQObject(address))
            return nullptr;
        RunGuarded([&] { isWidget = static_cast<const QObject *>(address)->isWidgetType(); });
    }
    return isWidget ? static_cast<QWidget *>(static_cast<QObject *>(const_cast<void *>(address))) : nullptr;
}
