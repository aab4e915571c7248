// The locked scope of a thread: while the thread's marker, the named event
// "ZKTLE<process id>P<thread id>", exists, calls carried to that thread do
// not run, cookies addressed to it are revoked on the sender's thread, and
// its callers wait without limit. That the event exists is the whole
// message: it is never signalled or waited on. Since the name is what
// counts, a marker made by any code in the process acts on this module.
#pragma once

#include <string>

#include "platform/automation.h"

// The marker's name for a thread of this process, as formatted into a
// buffer of 32 wide characters.
std::u16string ThreadLockMarkerName(DWORD threadId);

// Whether the thread's marker exists. Markers come only from code of this
// process (their names carry its id), so the process's own table of names
// answers, without the system call OpenEventW makes for names held
// elsewhere. Any thread; takes the platform's named-event lock.
bool ThreadLockMarkerExists(DWORD threadId);

// Puts the calling thread in a locked scope for its lifetime. The calling
// thread; takes markersLock.
class ThreadLockScope
{
public:
    ThreadLockScope();
    ~ThreadLockScope();
    ThreadLockScope(const ThreadLockScope &) = delete;
    ThreadLockScope &operator=(const ThreadLockScope &) = delete;

    // Whether this scope made the marker; false when the thread was in a
    // locked scope already.
    bool created() const { return madeMarker; }

private:
    bool madeMarker = false;
};
