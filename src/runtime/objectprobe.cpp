#include "runtime/objectprobe.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <new>
#include <unordered_map>
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

// The words hasObjectLayout starts from, read again: the object and its
// data still point at each other and its destruction has not begun.
bool isStillConsistent(const void *address)
{
    if (IsBadReadPtr(address, sizeof(QObject)))
        return false;
    const void *data = loadWord(offsetBy(address, sizeof(void *)));
    if (!data || !isWordAligned(data) || IsBadReadPtr(data, sizeof(QObjectData)))
        return false;
    const ObjectDataFields fields = loadObjectData(data);
    return fields.backPointer == address && !fields.deleted;
}

// The objects a thread has confirmed, each followed through a QPointer:
// Qt clears it when the object's destruction begins, so an entry is trusted
// exactly until Qt says its object is gone. A QPointer leaves no trace the
// application can see (a destroyed connection would call the object's
// connectNotify). Owned by its thread.
class ConfirmedObjects
{
public:
    // The object at address when the thread confirmed it and it lives.
    QObject *find(const void *address)
    {
        const auto found = entries.find(address);
        if (found == entries.end())
            return nullptr;
        if (QObject *object = found->second.data())
            return object;
        entries.erase(found); // Qt said it is gone; the address may hold anything now
        return nullptr;
    }

    void add(QPointer<QObject> follower)
    {
        if (entries.size() >= kMostEntries)
            forgetDestroyed();
        const void *address = follower.data();
        entries.insert_or_assign(address, std::move(follower));
    }

private:
    // Enough for the widgets of a large window; past it the destroyed are
    // dropped, and all when that is not enough.
    static constexpr size_t kMostEntries = 4096;

    void forgetDestroyed()
    {
        for (auto entry = entries.begin(); entry != entries.end();)
            entry = entry->second.isNull() ? entries.erase(entry) : std::next(entry);
        if (entries.size() >= kMostEntries / 2)
            entries.clear();
    }

    std::unordered_map<const void *, QPointer<QObject>> entries;
};

// One table a thread, kept deliberately, found through a thread-specific
// key rather than the module's own thread-local storage: the module is
// unloaded while its threads live on, and storage of an unloaded library
// confuses the leak checker of sanitizer builds.
class ConfirmedTables
{
public:
    // A thread's table goes with the thread; the key, and with it this
    // destructor call, goes when the module is unloaded.
    ConfirmedTables() { ready = pthread_key_create(&key, &destroyTable) == 0; }
    ~ConfirmedTables()
    {
        if (ready)
            pthread_key_delete(key);
    }

    ConfirmedObjects *find() const
    {
        return ready ? static_cast<ConfirmedObjects *>(pthread_getspecific(key)) : nullptr;
    }

    ConfirmedObjects *make()
    {
        ConfirmedObjects *table = find();
        if (table || !ready)
            return table;
        table = new (std::nothrow) ConfirmedObjects;
        if (!table)
            return nullptr;
        MarkDeliberateLeak(table);
        pthread_setspecific(key, table);
        return table;
    }

private:
    static void destroyTable(void *table) { delete static_cast<ConfirmedObjects *>(table); }

    pthread_key_t key{};
    bool ready = false;
};

ConfirmedTables tables;

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

// Any thread; the table is the calling thread's.
QObject *AsConfirmedLiveQObject(const void *address)
{
    if (!address)
        return nullptr;
    ConfirmedObjects *table = tables.find();
    if (QObject *object = table ? table->find(address) : nullptr)
        return object;
    QObject *object = AsLiveQObject(address);
    if (!object)
        return nullptr;
    if (!table)
        table = tables.make();
    if (!table)
        return object;
    // The QPointer is made inside the guard, and the object looked at again
    // after: one whose destruction began meanwhile on its own thread is not
    // recorded, as Qt may have passed the point where it clears pointers.
    QPointer<QObject> follower;
    if (!RunGuarded([&] { follower = object; }) || !isStillConsistent(address))
        return nullptr;
    table->add(std::move(follower));
    return object;
}

bool IsConfirmedLiveQObject(const void *address)
{
    return AsConfirmedLiveQObject(address) != nullptr;
}

// A confirmed object lives until Qt says otherwise: its type flag is read
// without the guard.
QWidget *AsConfirmedLiveWidget(const void *address)
{
    QObject *object = AsConfirmedLiveQObject(address);
    return object && object->isWidgetType() ? static_cast<QWidget *>(object) : nullptr;
}

bool IsConfirmedLiveWidget(const void *address)
{
    return AsConfirmedLiveWidget(address) != nullptr;
}
