// Threads as kernel objects: what a thread handle refers to, the word the
// thread sleeps on while it waits, and its queue of calls (the stand-in for
// user APCs and for calls into its apartment). Internal to the platform
// library.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>

#include "platform/waitable.h"

namespace platform {

class ThreadRecord : public Waitable {
public:
    static constexpr Type kType = Type::Thread;

    // hooked: the thread itself made or adopted the record, so its end is
    // reported by its thread-exit hook; otherwise it is observed in /proc.
    ThreadRecord(DWORD id, bool hooked, unsigned long long startTime);

    DWORD id() const { return m_id; }
    WakeupWord &wakeup() { return m_wakeup; }

    bool signalledLocked() override;
    bool needsPolling() const override { return !m_hooked.load(std::memory_order_acquire); }
    // Takes lock().
    bool hasEnded();

    // Any thread; takes the queue lock. False when the thread has ended.
    bool queueCall(PAPCFUNC function, ULONG_PTR data);
    bool hasQueuedCalls() const { return m_queuedCount.load(std::memory_order_acquire) != 0; }
    // On the record's own thread only: runs the queued calls in order until
    // none is left, including calls queued meanwhile. True when any ran.
    bool runQueuedCalls();

private:
    friend struct ThreadAttachment;
    friend std::shared_ptr<ThreadRecord> attachThread(DWORD id);

    struct QueuedCall {
        PAPCFUNC function;
        ULONG_PTR data;
    };

    // On the thread itself, from its exit hook. Takes lock(), then the
    // queue lock, then the registry lock, one after another.
    void markEnded();

    const DWORD m_id;
    const unsigned long long m_startTime; // of the kernel task; 0 when hooked at creation
    std::atomic<bool> m_hooked;
    bool m_ended = false; // guarded by lock()
    WakeupWord m_wakeup;

    std::mutex m_queueLock;
    std::deque<QueuedCall> m_queue; // guarded by m_queueLock
    std::atomic<size_t> m_queuedCount{ 0 };
    bool m_queueClosed = false; // guarded by m_queueLock
};

// The calling thread's record, made (and its exit hook set) on first use.
ThreadRecord &currentThreadRecord();

// The record of a live thread of this process, made when needed; null when
// no such thread lives. Any thread; takes the registry lock.
std::shared_ptr<ThreadRecord> threadRecordFor(DWORD id);
// Keeps a record with queued calls alive until its thread adopts it.
void keepUntilAdopted(const std::shared_ptr<ThreadRecord> &record);

} // namespace platform
