#include "runtime/dispatch/pumpingwait.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "runtime/dispatch/windowcontext.h"

namespace {

struct Waiter {
    DWORD threadId;
    int depth;
};

// Threads inside PumpingWait, with their depth (waits nest when a call run
// inside a wait waits itself). Few threads wait at once: a short list,
// which keeps its storage, so that a wait allocates nothing.
std::mutex waitersLock;
std::vector<Waiter> waiters; // guarded by waitersLock
std::atomic<int> waitingThreads{ 0 };
std::atomic<int> queuedWakeups{ 0 };

// With waitersLock held.
std::vector<Waiter>::iterator findWaiter(DWORD threadId)
{
    return std::find_if(waiters.begin(), waiters.end(),
                        [threadId](const Waiter &waiter) { return waiter.threadId == threadId; });
}

// The calling thread; takes waitersLock.
void markServing(DWORD threadId, int change)
{
    std::lock_guard<std::mutex> guard(waitersLock);
    auto found = findWaiter(threadId);
    if (found == waiters.end())
        found = waiters.insert(waiters.end(), Waiter{ threadId, 0 });
    found->depth += change;
    if (found->depth <= 0) {
        *found = waiters.back();
        waiters.pop_back();
    }
    waitingThreads.fetch_add(change);
}

// The waiting thread, inside a wait that serves its queue.
void runQueuedWakeup(ULONG_PTR)
{
    queuedWakeups.fetch_sub(1);
    ServeCallsOfCurrentThread();
}

std::atomic<HANDLE> neverSignalled{ nullptr };

void closeNeverSignalled()
{
    if (HANDLE event = neverSignalled.exchange(nullptr))
        CloseHandle(event);
}

} // namespace

HRESULT PumpingWait(DWORD timeout, ULONG count, HANDLE *handles, DWORD *index)
{
    const DWORD self = GetCurrentThreadId();
    markServing(self, +1);
    // What arrived before the thread was marked got no queued wake-up: a
    // wait serves what waits for its thread first.
    ServeCallsOfCurrentThread();
    const HRESULT hr = CoWaitForMultipleHandles(COWAIT_DEFAULT, timeout, count, handles, index);
    markServing(self, -1);
    return hr;
}

void WakePumpingWaiter(DWORD threadId)
{
    // Most targets are not waiting: no lock then.
    if (waitingThreads.load() == 0)
        return;
    std::lock_guard<std::mutex> guard(waitersLock);
    if (findWaiter(threadId) == waiters.end())
        return;
    // The thread is inside its wait and leaves it only after taking this
    // lock, so the handle opens.
    if (HANDLE thread = OpenThread(THREAD_SET_CONTEXT, FALSE, threadId)) {
        queuedWakeups.fetch_add(1);
        if (!QueueUserAPC(runQueuedWakeup, thread, 0))
            queuedWakeups.fetch_sub(1);
        CloseHandle(thread);
    }
}

int QueuedWakeups()
{
    return queuedWakeups.load();
}

DWORD WaitForHandlesPumping(DWORD count, HANDLE *handles, DWORD timeout)
{
    DWORD index = 0;
    const HRESULT hr = PumpingWait(timeout, count, handles, &index);
    return SUCCEEDED(hr) ? index : WAIT_TIMEOUT;
}

DWORD WaitForHandlePumping(HANDLE handle, DWORD timeout)
{
    return WaitForHandlesPumping(1, &handle, timeout);
}

HRESULT PumpMessagesOnce()
{
    HANDLE event = neverSignalled.load();
    if (!event) {
        HANDLE made = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        if (neverSignalled.compare_exchange_strong(event, made)) {
            event = made;
            std::atexit(closeNeverSignalled);
        } else {
            CloseHandle(made);
        }
    }
    DWORD index = 0;
    return PumpingWait(0, 1, &event, &index);
}
