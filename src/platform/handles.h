// Kernel objects and the table of live handles that refer to them.
// Internal to the platform library.
#pragma once

#include <memory>

#include "platform/system.h"

namespace platform {

class Waitable;

// What a handle refers to. Several handles may share one object; the object
// lives until the last handle (and whatever else holds a reference) is gone.
class KernelObject {
public:
    enum class Type { Event, Thread, Mapping };

    explicit KernelObject(Type type) : m_type(type) {}
    KernelObject(const KernelObject &) = delete;
    KernelObject &operator=(const KernelObject &) = delete;
    virtual ~KernelObject() = default;

    Type type() const { return m_type; }
    // The object as something a thread can wait for; null when it is not.
    virtual Waitable *waitable() { return nullptr; }

private:
    const Type m_type;
};

using KernelObjectRef = std::shared_ptr<KernelObject>;

// The access a request for `requested` grants on an object of `type`: the
// generic rights and MAXIMUM_ALLOWED mapped as Windows maps them.
DWORD grantedAccess(KernelObject::Type type, DWORD requested);

// A new handle with the given access (after grantedAccess) to object.
// Any thread; takes the lock of one shard of the table.
HANDLE openHandle(KernelObjectRef object, DWORD access);

// The object behind a live handle when it has all of requiredAccess and,
// when a type is given, is of that type; else null with the last error
// ERROR_INVALID_HANDLE or ERROR_ACCESS_DENIED. Never dereferences the handle
// value. access, when given, receives the handle's access. Any thread;
// takes the lock of one shard of the table.
KernelObjectRef referenceHandle(HANDLE handle, DWORD requiredAccess, const KernelObject::Type *type = nullptr,
                                DWORD *access = nullptr);

// As referenceHandle, for one class of object (which names its kType).
template <typename Object>
std::shared_ptr<Object> referenceHandleOf(HANDLE handle, DWORD requiredAccess, DWORD *access = nullptr)
{
    const KernelObject::Type type = Object::kType;
    return std::static_pointer_cast<Object>(referenceHandle(handle, requiredAccess, &type, access));
}

} // namespace platform
