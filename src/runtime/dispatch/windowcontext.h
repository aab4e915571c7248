// Carries calls to the thread that owns a window or a thread id: the
// function runs inside that thread's own event processing (nested and modal
// loops included), through a hook that exists only while calls for that
// thread are outstanding, and the caller blocks until it has run, has
// failed or can no longer run.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <vector>

#include "platform/automation.h"

typedef void (*ExecuteFunction)(void *argument);
typedef void (*ExecuteFunction2)(void *first, void *second);
typedef HWND (*WindowResolverFunction)(HWND window, ExecuteFunction function, void *argument);

struct PendingCall;
class CThreadHook;

// Length in milliseconds of one wait slice of a crossing call; read afresh
// before each slice, set to 0 by the tear-down.
extern std::atomic<DWORD> CallTimeoutMs;

// Build-time switch: when true no worker thread is started. Nothing in the
// module sets it.
constexpr bool SingleThreadBuild = false;

class CzkWindowContext
{
public:
    CzkWindowContext();
    ~CzkWindowContext();
    CzkWindowContext(const CzkWindowContext &) = delete;
    CzkWindowContext &operator=(const CzkWindowContext &) = delete;

    // Any thread. True when function(argument) ran to its normal end on the
    // target thread; false at once when the target cannot be hooked, false
    // when it did not take the call within a slice (outside a locked
    // scope), when the function faulted, or when the target ended first.
    bool ExecuteOnOtherThread(DWORD targetThread, ExecuteFunction function, void *argument);

    // Has cookie revoked from the global interface table on the thread that
    // registered it; on the calling thread when that thread is the caller,
    // is 0, is in a locked scope or cannot be hooked. Any thread.
    void RevokeCookieInThread(DWORD threadId, DWORD cookie);

    // The process's main window, or null: the first visible top-level native
    // window that is no popup, else the first visible one; cached while it
    // stays a visible window. Any thread.
    HWND FindMainWindow();

    // Runs the calls pending for the thread, in arrival order, then revokes
    // the cookies queued for it. Nothing runs while the thread is in a
    // locked scope. The thread threadId, from its hook or its wait.
    void ProcessPendingCalls(DWORD threadId);

    // Gives the thread's hook record with one more user, installing the
    // hooks when the thread has none; empty when it cannot be hooked. Any
    // thread; takes hooksLock, never while installing.
    std::shared_ptr<CThreadHook> AcquireThreadHook(DWORD threadId);
    // Counts one user less; the last one takes the record out and unhooks,
    // outside hooksLock. Any thread.
    void ReleaseThreadHook(DWORD threadId);

    // The calling thread's marker, for ThreadLockScope: created and entered
    // when this context has none for the thread yet. Take markersLock.
    bool AddLockMarker(DWORD threadId);
    void RemoveLockMarker(DWORD threadId);

    // The exit handler's work: from now on calls run on their callers;
    // waits up to twice CallTimeoutMs for target threads with calls in
    // flight, polling every 10 ms; then frees the tables. The calling
    // thread; takes hooksLock.
    void TearDown();

    // For tests: the hook record's users (0 without a record), the number
    // of hook records, of calls no target has taken, of markers. Any thread.
    DWORD HookUsers(DWORD threadId);
    size_t HookRecordCount();
    size_t PendingCallCount();
    size_t LockMarkerCount();

    // Once true every call runs at once on the caller's thread.
    std::atomic<bool> closing{ false };

private:
    void PostWakeup(DWORD threadId);
    bool WithdrawCall(PendingCall *call);
    PendingCall *TakePendingCall(DWORD threadId);
    bool HasWork(DWORD threadId);
    void RevokeQueuedCookies(DWORD threadId);

    std::map<DWORD, std::shared_ptr<CThreadHook>> hooks;
    CRITICAL_SECTION hooksLock;
    std::vector<PendingCall *> pendingCalls;
    CRITICAL_SECTION pendingLock;
    std::map<DWORD, HANDLE> lockMarkers;
    CRITICAL_SECTION markersLock;
    std::atomic<bool> tornDown{ false };
    // pendingCalls.size(), and the cookies queued in all hook records:
    // written under their locks, read without, so that a visit of a hook
    // that finds nothing to do takes no lock.
    std::atomic<size_t> pendingCount{ 0 };
    std::atomic<size_t> queuedCookies{ 0 };
};

// The one instance, made before the library's lifetime object.
CzkWindowContext &WindowContext();

// Runs the calls carried to the calling thread, as its hook does; nothing
// once the context has been torn down. The calling thread, from its hook
// or from a wait that serves it.
void ServeCallsOfCurrentThread();

// Revokes cookie from the process's global interface table on the calling
// thread; every fault inside is swallowed. The failure of getting the
// table, else S_OK.
HRESULT RevokeCookie(DWORD cookie);
