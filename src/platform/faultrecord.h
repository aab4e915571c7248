// What a fault signal means in Windows terms. Internal to the platform
// library; everything here is async-signal-safe.
#pragma once

#include <signal.h>
#include <ucontext.h>

#include "platform/system.h"

namespace platform {

// Fills record as Windows fills the record of a hardware exception: the
// code from the signal and its si_code (and, where Linux folds several
// Windows codes into one, from the faulting instruction), the parameters of
// an access violation, and the instruction pointer. stackLow is the lowest
// address of the thread's stack (0 when unknown), to tell a stack overflow.
void describeFault(int signal, const siginfo_t *info, const ucontext_t *context, uintptr_t stackLow,
                   EXCEPTION_RECORD *record);

// Reads memory of this process without faulting; false when any of it is
// not readable.
bool readOwnMemory(uintptr_t address, void *buffer, size_t length);

} // namespace platform
