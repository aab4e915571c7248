// Waits that keep the waiting thread serving: CoWaitForMultipleHandles with
// flags 0, which runs the calls queued for the waiting thread meanwhile.
// While a thread waits here it is marked as serving, so that a call carried
// to it (windowcontext.h) also reaches it through its queue, not only
// through its event loop, which does not run while it waits: two threads
// that call each other do not deadlock.
#pragma once

#include "platform/automation.h"

// CoWaitForMultipleHandles(0, ...) with the calling thread marked as
// serving; it first runs the calls already carried to the thread. The
// calling thread.
HRESULT PumpingWait(DWORD timeout, ULONG count, HANDLE *handles, DWORD *index);

// Queues a call that serves the calls carried to the thread, if it is
// inside PumpingWait now. The queued call may run later, at the thread's
// next wait that serves its queue, when its wait ended meanwhile. Any
// thread; takes the waiters lock.
void WakePumpingWaiter(DWORD threadId);
// How many queued calls of WakePumpingWaiter have not run yet: while there
// are any, threads may still call into this library. Any thread.
int QueuedWakeups();

// The index of the handle that fired, or WAIT_TIMEOUT (258) on timeout and
// on every failure. The calling thread.
DWORD WaitForHandlesPumping(DWORD count, HANDLE *handles, DWORD timeout);
// 0 when the handle fired, or WAIT_TIMEOUT (258) on timeout and on every
// failure. The calling thread.
DWORD WaitForHandlePumping(HANDLE handle, DWORD timeout);
// Serves what is queued for the calling thread once, and returns: a wait of
// 0 ms on an event that is never signalled. The HRESULT of that wait.
HRESULT PumpMessagesOnce();
