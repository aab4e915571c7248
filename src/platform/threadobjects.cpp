// Thread records, their registry by thread id, the thread-exit hook, and
// OpenThread, GetExitCodeThread and QueueUserAPC.
//
// A thread that waits, or that is handed a queue, gets a record with an exit
// hook (a thread_local whose destructor runs when the thread ends), so its end
// is known at once. A thread opened by id that never entered this library is
// observed instead: its entry in /proc/self/task, with its start time so that
// a reused id is not mistaken for it.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <unordered_map>

#include "platform/threadobjects.h"

#define THREAD_QUERY_LIMITED_INFORMATION 0x0800

namespace platform {
namespace {

struct ThreadRegistry {
    std::mutex lock;
    std::unordered_map<DWORD, std::weak_ptr<ThreadRecord>> records; // guarded by lock
    // Records of threads that have calls queued but have not waited here
    // yet, kept until the thread adopts its record; guarded by lock.
    std::unordered_map<DWORD, std::shared_ptr<ThreadRecord>> queuedBeforeAdoption;
};

// Deliberately never destroyed: threads end during and after static teardown.
ThreadRegistry &registry()
{
    static ThreadRegistry *instance = new ThreadRegistry;
    return *instance;
}

// The start time (clock ticks since boot) of a task of this process; false
// when the task does not exist.
bool taskStartTime(DWORD id, unsigned long long &startTime)
{
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%u/stat", id);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    char text[1024];
    const ssize_t length = read(fd, text, sizeof text - 1);
    close(fd);
    if (length <= 0)
        return false;
    text[length] = '\0';
    // The command name may hold spaces and parentheses: fields are counted
    // from the last ')'. The start time is field 22; the state after ')' is 3.
    const char *field = std::strrchr(text, ')');
    if (!field)
        return false;
    for (int number = 2; number < 22 && field; ++number)
        field = std::strchr(field + 1, ' ');
    return field && std::sscanf(field, " %llu", &startTime) == 1;
}

void forgetRecord(DWORD id, const ThreadRecord *record)
{
    ThreadRegistry &threads = registry();
    std::lock_guard<std::mutex> guard(threads.lock);
    auto found = threads.records.find(id);
    if (found == threads.records.end())
        return;
    auto current = found->second.lock();
    if (!current || current.get() == record)
        threads.records.erase(found);
}

} // namespace

ThreadRecord::ThreadRecord(DWORD id, bool hooked, unsigned long long startTime)
    : Waitable(Type::Thread), m_id(id), m_startTime(startTime), m_hooked(hooked)
{
}

bool ThreadRecord::signalledLocked()
{
    if (!m_ended && !m_hooked.load(std::memory_order_acquire)) {
        unsigned long long startTime = 0;
        if (!taskStartTime(m_id, startTime) || startTime != m_startTime)
            m_ended = true;
    }
    return m_ended;
}

bool ThreadRecord::hasEnded()
{
    std::lock_guard<std::mutex> guard(lock());
    return signalledLocked();
}

bool ThreadRecord::queueCall(PAPCFUNC function, ULONG_PTR data)
{
    {
        std::lock_guard<std::mutex> guard(m_queueLock);
        if (m_queueClosed)
            return false;
        m_queue.push_back(QueuedCall{ function, data });
        m_queuedCount.store(m_queue.size(), std::memory_order_release);
    }
    m_wakeup.wake();
    return true;
}

bool ThreadRecord::runQueuedCalls()
{
    bool ran = false;
    while (hasQueuedCalls()) {
        std::deque<QueuedCall> batch;
        {
            std::lock_guard<std::mutex> guard(m_queueLock);
            batch.swap(m_queue);
            m_queuedCount.store(0, std::memory_order_release);
        }
        ran = true;
        while (!batch.empty()) {
            const QueuedCall call = batch.front();
            batch.pop_front();
            try {
                call.function(call.data);
            } catch (...) {
                // The exception leaves the wait, as it would on Windows; the
                // calls behind it stay queued, in order, for the next wait.
                std::lock_guard<std::mutex> guard(m_queueLock);
                m_queue.insert(m_queue.begin(), batch.begin(), batch.end());
                m_queuedCount.store(m_queue.size(), std::memory_order_release);
                throw;
            }
        }
    }
    return ran;
}

void ThreadRecord::markEnded()
{
    {
        DeferredWakeups wakeups;
        std::lock_guard<std::mutex> guard(lock());
        m_ended = true;
        wakeWaitersLocked(wakeups);
    }
    {
        // Calls still queued for an ended thread are dropped, as on Windows.
        std::lock_guard<std::mutex> guard(m_queueLock);
        m_queueClosed = true;
        m_queue.clear();
        m_queuedCount.store(0, std::memory_order_release);
    }
    forgetRecord(m_id, this);
}

// The calling thread's record, adopting one made by OpenThread for it.
std::shared_ptr<ThreadRecord> attachThread(DWORD id)
{
    ThreadRegistry &threads = registry();
    std::lock_guard<std::mutex> guard(threads.lock);
    std::weak_ptr<ThreadRecord> &slot = threads.records[id];
    std::shared_ptr<ThreadRecord> record = slot.lock();
    threads.queuedBeforeAdoption.erase(id);
    // An earlier thread with the same id shows a different start time, and
    // so reads as ended here.
    if (record && !record->hasEnded()) {
        record->m_hooked.store(true, std::memory_order_release);
        return record;
    }
    record = std::make_shared<ThreadRecord>(id, true, 0);
    slot = record;
    return record;
}

// The exit hook: its destructor runs on the thread as the thread ends.
struct ThreadAttachment {
    std::shared_ptr<ThreadRecord> record;
    ~ThreadAttachment()
    {
        if (record)
            record->markEnded();
        ended = true;
    }
    static thread_local bool ended;
};

thread_local bool ThreadAttachment::ended = false;

ThreadRecord &currentThreadRecord()
{
    static thread_local ThreadAttachment attachment;
    if (ThreadAttachment::ended) {
        // Code run by later thread-exit hooks still gets a record to sleep
        // on; it is kept for the rest of the thread's short life.
        static thread_local ThreadRecord *late = nullptr;
        if (!late)
            late = new ThreadRecord(GetCurrentThreadId(), true, 0);
        return *late;
    }
    if (!attachment.record)
        attachment.record = attachThread(GetCurrentThreadId());
    return *attachment.record;
}

// A call queued to a thread that has not waited here yet lives in the
// record OpenThread made; closing the last handle must not lose it (on
// Windows closing a handle cancels nothing), so the registry keeps the
// record until the thread adopts it.
void keepUntilAdopted(const std::shared_ptr<ThreadRecord> &record)
{
    if (!record->needsPolling())
        return;
    ThreadRegistry &threads = registry();
    std::lock_guard<std::mutex> guard(threads.lock);
    threads.queuedBeforeAdoption[record->id()] = record;
}

std::shared_ptr<ThreadRecord> threadRecordFor(DWORD id)
{
    ThreadRegistry &threads = registry();
    std::lock_guard<std::mutex> guard(threads.lock);
    auto found = threads.records.find(id);
    if (found != threads.records.end()) {
        std::shared_ptr<ThreadRecord> record = found->second.lock();
        if (record && !record->hasEnded())
            return record;
    }
    unsigned long long startTime = 0;
    if (!taskStartTime(id, startTime))
        return nullptr;
    auto record = std::make_shared<ThreadRecord>(id, false, startTime);
    threads.records[id] = record;
    return record;
}

} // namespace platform

using namespace platform;

/// OpenThread: a handle to a live thread of this process.
///   access [in]: the rights wanted (THREAD_ALL_ACCESS, SYNCHRONIZE, ...).
///   inherit [in]: ignored; nothing inherits handles here.
///   threadId [in]: the thread's id (GetCurrentThreadId on that thread).
/// Returns the handle; NULL with ERROR_INVALID_PARAMETER when no thread of
/// this process has that id.
/// Differs from Windows: threads of other processes cannot be opened.
/// Any thread; takes the thread registry lock.
PLATFORM_API HANDLE OpenThread(DWORD access, BOOL inherit, DWORD threadId)
{
    (void)inherit;
    std::shared_ptr<ThreadRecord> record = threadId != 0 ? threadRecordFor(threadId) : nullptr;
    if (!record) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return openHandle(std::move(record), grantedAccess(KernelObject::Type::Thread, access));
}

/// GetExitCodeThread: whether a thread still runs.
///   thread [in]: a thread handle with THREAD_QUERY_INFORMATION or
///     THREAD_QUERY_LIMITED_INFORMATION.
///   exitCode [out]: STILL_ACTIVE while the thread lives, then 0.
/// Returns TRUE; FALSE with ERROR_INVALID_HANDLE, ERROR_ACCESS_DENIED, or
/// ERROR_NOACCESS for a null exitCode.
/// Differs from Windows: a thread's exit code is not known here; an ended
/// thread reports 0.
/// Takes the thread record's lock.
PLATFORM_API BOOL GetExitCodeThread(HANDLE thread, DWORD *exitCode)
{
    DWORD access = 0;
    auto record = referenceHandleOf<ThreadRecord>(thread, 0, &access);
    if (!record)
        return FALSE;
    if (!(access & (THREAD_QUERY_INFORMATION | THREAD_QUERY_LIMITED_INFORMATION))) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    if (!exitCode) {
        SetLastError(ERROR_NOACCESS);
        return FALSE;
    }
    *exitCode = record->hasEnded() ? 0 : STILL_ACTIVE;
    return TRUE;
}

/// QueueUserAPC: queues a call for a thread. It runs on that thread the next
/// time it waits alertably (WaitForSingleObjectEx, WaitForMultipleObjectsEx
/// or SleepEx with alertable TRUE) or in CoWaitForMultipleHandles; calls run
/// in the order they were queued.
///   function [in]: the call; data [in]: its argument.
///   thread [in]: a thread handle with THREAD_SET_CONTEXT.
/// Returns nonzero; 0 with ERROR_INVALID_HANDLE or ERROR_ACCESS_DENIED,
/// ERROR_INVALID_PARAMETER for a null function, ERROR_GEN_FAILURE when the
/// thread has ended (its queue is gone).
/// Differs from Windows: a null function is refused rather than queued.
/// Any thread; takes the target's queue lock.
PLATFORM_API DWORD QueueUserAPC(PAPCFUNC function, HANDLE thread, ULONG_PTR data)
{
    auto record = referenceHandleOf<ThreadRecord>(thread, THREAD_SET_CONTEXT);
    if (!record)
        return 0;
    if (!function) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if (record->hasEnded() || !record->queueCall(function, data)) {
        SetLastError(ERROR_GEN_FAILURE);
        return 0;
    }
    keepUntilAdopted(record);
    return 1;
}
