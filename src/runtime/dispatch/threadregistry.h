// Which kernel thread id a QThread has, and which QThread and event
// dispatcher a thread id names. Qt does not tell a thread's kernel id, so
// the registry learns it on the thread itself: when module code runs there,
// or by a probe that the thread's own dispatcher runs the first time
// another thread asks. An entry goes when its thread finishes or its
// QThread is destroyed, so that a reused id is never taken for the thread
// that had it before.
#pragma once

#include <QMetaObject>

#include "platform/automation.h"

class QThread;

// The kernel thread id of a QThread, 0 when it cannot be learnt. For a
// thread not yet known the calling thread waits up to one slice
// (CallTimeoutMs) for the probe to run in the thread's event processing.
// The thread must not end meanwhile: callers name the thread of an object
// they hold. Any thread.
DWORD ThreadIdOfQThread(const QThread *thread);

// Records the calling thread's QThread and kernel id. The calling thread;
// takes the registry lock.
void NoteCurrentThread();

// Connects slot directly to the awake() and aboutToBlock() signals of the
// event dispatcher of the thread id, into hookHandles[0] and [1]. The
// registry lock is held meanwhile, so that the dispatcher, whose
// destruction waits for that lock, lives through the connection. False,
// with both handles empty, when the id names no known thread with a
// dispatcher or a connection failed. Any thread.
bool ConnectDispatcherHooks(DWORD threadId, void (*slot)(), QMetaObject::Connection (&hookHandles)[2]);

// Wakes the event dispatcher of the thread id; false when there is none.
// Any thread; takes the registry lock.
bool WakeThreadDispatcher(DWORD threadId);

// How many threads the registry knows; for tests. Any thread.
int KnownThreadCount();
