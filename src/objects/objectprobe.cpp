#include "objects/objectprobe.h"

#include <cstdint>

#include <QWidget>

#include "platform/automation.h"

namespace {

// QObject is exactly a vtable pointer and d_ptr; everything below reads
// these two words.
static_assert(sizeof(QObject) == 2 * sizeof(void *), "QObject is a vtable pointer and d_ptr");

bool isWordAligned(const void *address)
{
    return reinterpret_cast<std::uintptr_t>(address) % alignof(void *) == 0;
}

const void *offsetBy(const void *address, std::size_t bytes)
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
};

// As loadWord, for the two fields of a QObjectData read here.
__attribute__((no_sanitize("address", "undefined"))) ObjectDataFields loadObjectData(const void *address)
{
    const volatile QObjectData *data = static_cast<const volatile QObjectData *>(address);
    return { data->q_ptr, data->wasDeleted != 0 };
}

bool isReadableWord(const void *address)
{
    return address && isWordAligned(address) && !IsBadReadPtr(address, sizeof(void *));
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
    const void *metaObjectFunction = loadWord(vtable);
    if (IsBadCodePtr(reinterpret_cast<FARPROC>(const_cast<void *>(metaObjectFunction))))
        return false;
    const void *data = loadWord(offsetBy(address, sizeof(void *)));
    if (!data || !isWordAligned(data) || IsBadReadPtr(data, sizeof(QObjectData)))
        return false;
    const ObjectDataFields fields = loadObjectData(data);
    return fields.backPointer == address && !fields.deleted;
}

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
