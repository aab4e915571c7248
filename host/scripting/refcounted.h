// Reference counting for the host's COM objects: each starts with one
// reference, its creator's, and deletes itself when the last one goes.
#pragma once

#include <atomic>

#include "platform/automation.h"

namespace vrqt::scripting {

// Any thread.
template <typename Derived>
class RefCounted
{
protected:
    ULONG addReference() { return ++references; }
    ULONG releaseReference()
    {
        const ULONG remaining = --references;
        if (remaining == 0)
            delete static_cast<Derived *>(this);
        return remaining;
    }

private:
    std::atomic<ULONG> references{ 1 };
};

} // namespace vrqt::scripting
