// One call carried to another thread. It lives on the caller's stack for
// the length of the call; the target thread takes it out of the context's
// list before it runs it.
#pragma once

#include <atomic>

#include "runtime/dispatch/windowcontext.h"

struct PendingCall {
    ExecuteFunction function; // may be null
    ULONGLONG reserved;       // always 0; carried and never read, deliberately
    void *argument;
    std::atomic<DWORD> state; // 0 until function has returned normally, then 1
    HANDLE doneEvent;         // set after the call has ended, well or badly
    HANDLE startedEvent;      // set just before the call begins
    DWORD targetThread;
};

// Runs the call inside the fault guard: state is 1 when the function
// returned normally (a null function counts as success), 0 when a fault or
// an exception ended it. No record of the fault is kept. The target thread.
void RunPendingCall(PendingCall &call);
