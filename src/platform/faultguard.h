// C++ face of the fault guard: runs any callable under CallWithFaultGuard.
#pragma once

#include <type_traits>
#include <utility>

#include "platform/system.h"

// True when f ran to its end; false when a fault or an exception ended it,
// with the record filled when one is given.
template <typename Function>
bool RunGuarded(Function &&f, EXCEPTION_RECORD *record = nullptr)
{
    using Callable = std::remove_reference_t<Function>;
    auto trampoline = [](void *context) { (*static_cast<Callable *>(context))(); };
    return CallWithFaultGuard(trampoline, const_cast<void *>(static_cast<const void *>(&f)), record) != FALSE;
}
