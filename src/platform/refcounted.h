// The reference count of the platform library's own COM objects: atomic,
// starting at 1 for the creator. Internal to the platform library.
#pragma once

#include <atomic>

#include "platform/basetypes.h"

namespace platform {

class RefCounted
{
public:
    virtual ~RefCounted() = default;

protected:
    ULONG addReference() { return ++references; }
    ULONG releaseReference()
    {
        const ULONG remaining = --references;
        if (remaining == 0)
            delete this;
        return remaining;
    }

private:
    std::atomic<ULONG> references{ 1 };
};

} // namespace platform

// AddRef and Release of a class that derives from platform::RefCounted.
#define PLATFORM_REFCOUNTED_IUNKNOWN                                             \
    ULONG STDMETHODCALLTYPE AddRef() override { return addReference(); }         \
    ULONG STDMETHODCALLTYPE Release() override { return releaseReference(); }
