// The hook record of one target thread: the stand-in for a thread's window
// hooks is a pair of direct connections to its event dispatcher's awake()
// and aboutToBlock() signals, which exist only while the record does. The
// record also queues the global-interface-table cookies to be revoked on
// that thread. Held by shared ownership; the context counts its users.
#pragma once

#include <QMetaObject>

#include <atomic>
#include <deque>

#include "platform/automation.h"

class CThreadHook
{
public:
    // Hooks hookProc into the thread's event processing; both handles stay
    // empty when the thread cannot be hooked. Any thread; never under one of
    // the context's locks.
    CThreadHook(DWORD threadId, void (*hookProc)());
    // Unhooks. Any thread; never under one of the context's locks.
    ~CThreadHook();
    CThreadHook(const CThreadHook &) = delete;
    CThreadHook &operator=(const CThreadHook &) = delete;

    // Both hooks set and still connected: a hook whose dispatcher has been
    // destroyed meanwhile reads as not set. Any thread.
    bool Installed() const;

    // Hooks installed now in the process, for tests. Any thread.
    static int LiveCount();

    DWORD revokeDepth = 0;        // plain: touched only by the thread itself
    CRITICAL_SECTION queueLock;   // protects cookies
    QMetaObject::Connection hookHandles[2]; // [0] awake(), [1] aboutToBlock()
    std::deque<DWORD> cookies;    // oldest first
    std::atomic<DWORD> users{ 0 };

private:
    bool hooked = false; // the hooks were set, whether or not still connected
};
