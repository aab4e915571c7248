// Runs a call once on a thread of its own, named "zkAsyncMethodExecutor",
// that keeps this library loaded while it runs and lets go of it as its
// very last act, so that a host may unload the library meanwhile. Nothing
// in the module calls it yet: it is a library facility.
#pragma once

#include "runtime/dispatch/windowcontext.h"

// Starts function(argument) on a new thread with an 8 MiB stack. The new
// thread's id, or 0 when it could not be started. With threadHandle, the
// thread's handle is handed over (the caller closes it), else closed; it is
// null on failure. A fault inside the function is swallowed. Any thread.
DWORD StartAsyncMethod(ExecuteFunction function, void *argument, HANDLE *threadHandle = nullptr);

// One more load reference on this library, or null when its code lies in
// the main program, which cannot be unloaded. Any thread.
HMODULE LockOwnModule();
// This library's allocation base (its module handle), cached. Any thread.
HMODULE GetOwnModuleBase();

// Names the calling thread for debuggers. The kernel keeps 15 bytes of a
// thread's name: "zkAsyncMethodExecutor" shows as "zkAsyncMethodEx".
void SetThreadDebugName(const char *name);

// The debugger name of executor threads.
extern const char AsyncExecutorThreadName[];
