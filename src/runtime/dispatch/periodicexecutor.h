// Runs a call again and again on a thread of its own, with a pause of the
// interval before each run, counted from the end of the run before, until
// it is stopped from outside or by the call itself. Nothing in the module
// calls it yet: it is a library facility.
#pragma once

#include <atomic>

#include "runtime/dispatch/windowcontext.h"

struct PeriodicExecutor {
    ExecuteFunction function;
    void *argument;
    HANDLE stopEvent;             // asks the worker to end
    HANDLE doneEvent;             // the worker has left its loop
    DWORD intervalMs;
    std::atomic<DWORD> threadId;  // the worker's id, 0 when it could not be started
    bool detached;                // the worker owns the executor and frees it itself
};

// Builds an executor into *place and starts its worker. False, changing
// nothing, for a null place or function or an interval of INFINITE. A
// worker that could not be started does not make the result false: its
// executor never runs anything. Any thread.
bool StartPeriodicExecutor(ExecuteFunction function, void *argument, DWORD intervalMs, PeriodicExecutor **place);

// Takes the executor out of *place (which becomes null) and stops it. From
// another thread it waits, serving, for the run in progress to end and
// frees the executor; from inside the function it only asks the worker to
// end, which frees the executor after the run. A null place or executor is
// ignored.
void StopPeriodicExecutor(PeriodicExecutor **place);
