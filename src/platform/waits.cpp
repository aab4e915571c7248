// Waits for events and threads: WaitForSingleObject(Ex),
// WaitForMultipleObjects(Ex), SleepEx and CoWaitForMultipleHandles.
//
// Every object keeps its own lock and the list of threads sleeping on it;
// every thread sleeps on its own futex word. There is no lock shared by all
// waits: a signal takes the lock of one object and wakes the threads attached
// to it, each of which looks again. A wait first tries to take its objects
// without attaching; only when it must sleep does it attach, look once more,
// and sleep.
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <functional>

#include "platform/threadobjects.h"

#define COWAIT_INPUTAVAILABLE 0x4
#define COWAIT_DISPATCH_CALLS 0x8
#define COWAIT_DISPATCH_WINDOW_MESSAGES 0x10

namespace platform {

// The bump and the look at m_sleeping, like the owner's mark and its look
// at the counter (inside the futex call), are sequentially consistent:
// either the waker sees the owner asleep, or the owner sees the bump.
bool WakeupWord::bump()
{
    m_value.fetch_add(1, std::memory_order_seq_cst);
    return m_sleeping.load(std::memory_order_seq_cst);
}

void WakeupWord::wake()
{
    if (bump())
        wakeSleeper(&m_value);
}

void wakeSleeper(std::atomic<uint32_t> *futex)
{
    syscall(SYS_futex, futex, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

DeferredWakeups::~DeferredWakeups()
{
    for (size_t index = 0; index < m_count; ++index)
        wakeSleeper(m_sleepers[index]);
}

void DeferredWakeups::add(WakeupWord &word)
{
    if (!word.bump())
        return;
    if (m_count < kCapacity)
        m_sleepers[m_count++] = word.futex();
    else
        wakeSleeper(word.futex());
}

void WakeupWord::sleep(uint32_t seen, const timespec *deadline)
{
    m_sleeping.store(true, std::memory_order_seq_cst);
    // FUTEX_WAIT_BITSET takes an absolute CLOCK_MONOTONIC deadline.
    syscall(SYS_futex, &m_value, FUTEX_WAIT_BITSET_PRIVATE, seen, deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
    m_sleeping.store(false, std::memory_order_relaxed);
}

void Waitable::detachLocked(WakeupWord *word)
{
    auto found = std::find(m_waiters.begin(), m_waiters.end(), word);
    if (found != m_waiters.end()) {
        *found = m_waiters.back();
        m_waiters.pop_back();
    }
}

void Waitable::wakeWaitersLocked(DeferredWakeups &wakeups)
{
    for (WakeupWord *word : m_waiters)
        wakeups.add(*word);
}

namespace {

// How a wait treats the calls queued for the waiting thread.
enum class CallPolicy {
    Ignore,          // not alertable: they stay queued
    RunAndReturn,    // alertable: run them, the wait ends with WAIT_IO_COMPLETION
    RunAndKeepWaiting // serving the apartment: run them, wait on to the same deadline
};

constexpr long kPollMilliseconds = 10;

// The objects of one wait, kept alive while it lasts (a handle may be
// closed meanwhile, as on Windows).
struct WaitSet {
    std::array<KernelObjectRef, MAXIMUM_WAIT_OBJECTS> references;
    std::array<Waitable *, MAXIMUM_WAIT_OBJECTS> objects;  // the first count: in the caller's order
    std::array<Waitable *, MAXIMUM_WAIT_OBJECTS> distinct; // the first distinctCount: by address, once each
    DWORD count = 0;
    DWORD distinctCount = 0;
    bool waitAll = false;
    bool polling = false;
};

// Fills set from the caller's handles; WAIT_FAILED with the last error set
// when they cannot be waited for, else WAIT_OBJECT_0.
DWORD collectHandles(DWORD count, const HANDLE *handles, bool waitAll, WaitSet &set)
{
    if (count == 0 || count > MAXIMUM_WAIT_OBJECTS) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    if (!handles) {
        SetLastError(ERROR_NOACCESS);
        return WAIT_FAILED;
    }
    for (DWORD index = 0; index < count; ++index) {
        KernelObjectRef object = referenceHandle(handles[index], SYNCHRONIZE);
        if (!object)
            return WAIT_FAILED;
        Waitable *waitable = object->waitable();
        if (!waitable) {
            SetLastError(ERROR_INVALID_HANDLE);
            return WAIT_FAILED;
        }
        set.references[index] = std::move(object);
        set.objects[index] = waitable;
        set.polling = set.polling || waitable->needsPolling();
    }
    set.count = count;
    set.waitAll = waitAll;
    std::copy_n(set.objects.begin(), count, set.distinct.begin());
    std::sort(set.distinct.begin(), set.distinct.begin() + count, std::less<Waitable *>());
    set.distinctCount = DWORD(std::unique(set.distinct.begin(), set.distinct.begin() + count) - set.distinct.begin());
    // Windows takes an object twice in a wait for any, never in a wait for all.
    if (waitAll && set.distinctCount != count) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    return WAIT_OBJECT_0;
}

// Takes what the wait asks for if it is there now: WAIT_OBJECT_0 + index
// (the lowest signalled index for a wait for any), else WAIT_TIMEOUT.
// Takes the objects' locks, for a wait for all all at once in address order.
DWORD trySatisfy(WaitSet &set)
{
    if (!set.waitAll) {
        for (DWORD index = 0; index < set.count; ++index) {
            Waitable *object = set.objects[index];
            std::lock_guard<std::mutex> guard(object->lock());
            if (object->signalledLocked()) {
                object->acquireLocked();
                return WAIT_OBJECT_0 + index;
            }
        }
        return WAIT_TIMEOUT;
    }
    for (DWORD index = 0; index < set.distinctCount; ++index)
        set.distinct[index]->lock().lock();
    bool ready = true;
    for (DWORD index = 0; index < set.distinctCount && ready; ++index)
        ready = set.distinct[index]->signalledLocked();
    for (DWORD index = 0; index < set.distinctCount; ++index) {
        if (ready)
            set.distinct[index]->acquireLocked();
        set.distinct[index]->lock().unlock();
    }
    return ready ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

// Keeps the waiting thread's word on the objects' lists while it exists.
class Attachment {
public:
    Attachment(WaitSet &set, WakeupWord &word) : m_set(set), m_word(word) {}
    Attachment(const Attachment &) = delete;
    Attachment &operator=(const Attachment &) = delete;
    ~Attachment()
    {
        if (m_attached)
            forEach([this](Waitable *object) { object->detachLocked(&m_word); });
    }
    bool attached() const { return m_attached; }
    void attach()
    {
        forEach([this](Waitable *object) { object->attachLocked(&m_word); });
        m_attached = true;
    }

private:
    template <typename Action>
    void forEach(Action action)
    {
        for (DWORD index = 0; index < m_set.distinctCount; ++index) {
            Waitable *object = m_set.distinct[index];
            std::lock_guard<std::mutex> guard(object->lock());
            action(object);
        }
    }

    WaitSet &m_set;
    WakeupWord &m_word;
    bool m_attached = false;
};

timespec monotonicNow()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

timespec later(timespec time, long milliseconds)
{
    time.tv_sec += milliseconds / 1000;
    time.tv_nsec += (milliseconds % 1000) * 1000000L;
    if (time.tv_nsec >= 1000000000L) {
        time.tv_sec += 1;
        time.tv_nsec -= 1000000000L;
    }
    return time;
}

bool before(const timespec &a, const timespec &b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

// The wait itself, on the calling thread: WAIT_OBJECT_0 + index,
// WAIT_IO_COMPLETION or WAIT_TIMEOUT. A queued call that throws ends the
// wait with its exception.
DWORD waitFor(WaitSet &set, DWORD milliseconds, CallPolicy policy)
{
    ThreadRecord &self = currentThreadRecord();
    WakeupWord &word = self.wakeup();
    const bool limited = milliseconds != INFINITE;
    const timespec deadline = limited ? later(monotonicNow(), long(milliseconds)) : timespec{};
    Attachment attachment(set, word);
    for (;;) {
        const uint32_t seen = word.current();
        DWORD result = trySatisfy(set);
        // As on Windows, signalled objects win over queued calls.
        if (result == WAIT_TIMEOUT && policy != CallPolicy::Ignore && self.hasQueuedCalls()) {
            self.runQueuedCalls();
            if (policy == CallPolicy::RunAndKeepWaiting)
                continue;
            result = WAIT_IO_COMPLETION;
        }
        if (result != WAIT_TIMEOUT)
            return result;
        const timespec now = monotonicNow();
        if (limited && !before(now, deadline))
            return WAIT_TIMEOUT;
        if (!attachment.attached()) {
            // Look once more after attaching: a signal given between the
            // first look and the attachment woke nobody.
            attachment.attach();
            continue;
        }
        if (set.polling) {
            timespec wake = later(now, kPollMilliseconds);
            if (limited && before(deadline, wake))
                wake = deadline;
            word.sleep(seen, &wake);
        } else {
            word.sleep(seen, limited ? &deadline : nullptr);
        }
    }
}

DWORD waitForHandles(DWORD count, const HANDLE *handles, bool waitAll, DWORD milliseconds, CallPolicy policy)
{
    WaitSet set;
    if (collectHandles(count, handles, waitAll, set) == WAIT_FAILED)
        return WAIT_FAILED;
    return waitFor(set, milliseconds, policy);
}

CallPolicy alertablePolicy(BOOL alertable)
{
    return alertable ? CallPolicy::RunAndReturn : CallPolicy::Ignore;
}

} // namespace
} // namespace platform

using namespace platform;

/// WaitForSingleObject: waits until an event or thread is signalled.
///   handle [in]: an event or thread handle with SYNCHRONIZE.
///   milliseconds [in]: the time limit; 0 only looks; INFINITE waits for ever.
/// Returns WAIT_OBJECT_0 (an auto-reset event is reset by it), WAIT_TIMEOUT,
/// or WAIT_FAILED with ERROR_INVALID_HANDLE (also for a handle that cannot
/// be waited for, such as a file mapping) or ERROR_ACCESS_DENIED.
/// Takes the object's lock.
PLATFORM_API DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds)
{
    return waitForHandles(1, &handle, false, milliseconds, CallPolicy::Ignore);
}

/// WaitForSingleObjectEx: WaitForSingleObject that, when alertable, also
/// ends when calls have been queued for the thread (QueueUserAPC): it runs
/// them all and returns WAIT_IO_COMPLETION. A signalled object wins over
/// queued calls.
///   handle [in], milliseconds [in]: as WaitForSingleObject.
///   alertable [in]: whether queued calls end the wait.
/// Returns as WaitForSingleObject, or WAIT_IO_COMPLETION.
PLATFORM_API DWORD WaitForSingleObjectEx(HANDLE handle, DWORD milliseconds, BOOL alertable)
{
    return waitForHandles(1, &handle, false, milliseconds, alertablePolicy(alertable));
}

/// WaitForMultipleObjects: waits until one or all of several objects are
/// signalled.
///   count [in]: 1 to MAXIMUM_WAIT_OBJECTS.
///   handles [in]: event or thread handles with SYNCHRONIZE.
///   waitAll [in]: TRUE to wait until all are signalled at the same time;
///     only then does the wait take them (auto-reset events reset together).
///   milliseconds [in]: the time limit, or INFINITE.
/// Returns WAIT_OBJECT_0 + the lowest signalled index (WAIT_OBJECT_0 for
/// waitAll), WAIT_TIMEOUT, or WAIT_FAILED with ERROR_INVALID_PARAMETER (count
/// 0 or above 64, or one object twice with waitAll), ERROR_NOACCESS (null
/// handles), ERROR_INVALID_HANDLE or ERROR_ACCESS_DENIED.
/// Takes the objects' locks, for waitAll all of them in address order.
PLATFORM_API DWORD WaitForMultipleObjects(DWORD count, const HANDLE *handles, BOOL waitAll, DWORD milliseconds)
{
    return waitForHandles(count, handles, waitAll != FALSE, milliseconds, CallPolicy::Ignore);
}

/// WaitForMultipleObjectsEx: WaitForMultipleObjects that, when alertable,
/// runs the calls queued for the thread and returns WAIT_IO_COMPLETION.
///   count, handles, waitAll, milliseconds [in]: as WaitForMultipleObjects.
///   alertable [in]: whether queued calls end the wait.
/// Returns as WaitForMultipleObjects, or WAIT_IO_COMPLETION.
PLATFORM_API DWORD WaitForMultipleObjectsEx(DWORD count, const HANDLE *handles, BOOL waitAll, DWORD milliseconds,
                                            BOOL alertable)
{
    return waitForHandles(count, handles, waitAll != FALSE, milliseconds, alertablePolicy(alertable));
}

/// SleepEx: suspends the thread; when alertable, calls queued for it end
/// the sleep after they have run.
///   milliseconds [in]: the time; INFINITE sleeps until calls arrive (or for
///     ever when not alertable).
///   alertable [in]: whether queued calls run and end the sleep.
/// Returns 0 when the time is over, WAIT_IO_COMPLETION when calls ran.
PLATFORM_API DWORD SleepEx(DWORD milliseconds, BOOL alertable)
{
    if (!alertable) {
        Sleep(milliseconds);
        return 0;
    }
    WaitSet nothing;
    const DWORD result = waitFor(nothing, milliseconds, CallPolicy::RunAndReturn);
    return result == WAIT_IO_COMPLETION ? WAIT_IO_COMPLETION : 0;
}

/// CoWaitForMultipleHandles: waits for handles while serving the thread:
/// calls queued for the waiting thread (QueueUserAPC) run during the wait,
/// which then goes on to the same deadline. This stands in for the COM modal
/// loop that keeps an apartment answering: two threads that wait for each
/// other while queueing calls to each other do not deadlock.
///   flags [in]: COWAIT_WAITALL, COWAIT_ALERTABLE (queued calls end the wait
///     with index WAIT_IO_COMPLETION); COWAIT_INPUTAVAILABLE and the dispatch
///     flags are accepted and have nothing to act on here.
///   timeout [in]: milliseconds, or INFINITE.
///   count [in], handles [in]: the handles, as WaitForMultipleObjects.
///   index [out]: the signalled index (0 for COWAIT_WAITALL), or
///     WAIT_IO_COMPLETION; set to 0 first.
/// Returns S_OK; RPC_S_CALLPENDING on timeout; E_INVALIDARG for a null index
/// or handles, unknown flags or more than 64 handles; RPC_E_NO_SYNC for no
/// handles; HRESULT_FROM_WIN32 of the wait's error for bad handles.
PLATFORM_API HRESULT CoWaitForMultipleHandles(DWORD flags, DWORD timeout, ULONG count, LPHANDLE handles,
                                              LPDWORD index)
{
    constexpr DWORD knownFlags = COWAIT_WAITALL | COWAIT_ALERTABLE | COWAIT_INPUTAVAILABLE | COWAIT_DISPATCH_CALLS
        | COWAIT_DISPATCH_WINDOW_MESSAGES;
    if (!index)
        return E_INVALIDARG;
    *index = 0;
    if (!handles || (flags & ~knownFlags))
        return E_INVALIDARG;
    if (count == 0)
        return RPC_E_NO_SYNC;
    if (count > MAXIMUM_WAIT_OBJECTS)
        return E_INVALIDARG;
    WaitSet set;
    if (collectHandles(count, handles, (flags & COWAIT_WAITALL) != 0, set) == WAIT_FAILED)
        return HRESULT_FROM_WIN32(GetLastError());
    const CallPolicy policy = (flags & COWAIT_ALERTABLE) ? CallPolicy::RunAndReturn : CallPolicy::RunAndKeepWaiting;
    const DWORD result = waitFor(set, timeout, policy);
    if (result == WAIT_TIMEOUT)
        return RPC_S_CALLPENDING;
    *index = result;
    return S_OK;
}
