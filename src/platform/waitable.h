// Objects a thread can wait for, and the word a waiting thread sleeps on.
// Internal to the platform library.
#pragma once

#include <time.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/handles.h"

namespace platform {

// A counter a thread sleeps on (a futex) until another thread bumps it. A
// waiter reads the counter before it looks at the state it waits for, so a
// bump that comes after the look ends the sleep at once.
class WakeupWord {
public:
    uint32_t current() const { return m_value.load(std::memory_order_acquire); }
    // Any thread. Enters the kernel only when the owner sleeps.
    void wake();
    // On the owning thread: sleeps while the counter still holds seen, until
    // woken or deadline (CLOCK_MONOTONIC; null waits without limit). May
    // return early.
    void sleep(uint32_t seen, const timespec *deadline);

private:
    std::atomic<uint32_t> m_value{ 0 };
    std::atomic<bool> m_sleeping{ false };
};

// A kernel object with a signalled state. Its state and its list of
// sleeping waiters are guarded by its own lock; a wait for several objects
// takes their locks in address order.
class Waitable : public KernelObject {
public:
    using KernelObject::KernelObject;

    Waitable *waitable() override { return this; }
    std::mutex &lock() { return m_lock; }

    // With lock() held: whether a wait would be satisfied now.
    virtual bool signalledLocked() = 0;
    // With lock() held, after signalledLocked: what a satisfied wait takes
    // (an auto-reset event resets).
    virtual void acquireLocked() {}
    // True when the state can change without anybody calling wakeWaiters
    // (the end of a thread that was never seen by this library), so that
    // sleepers must look again now and then.
    virtual bool needsPolling() const { return false; }

    // With lock() held.
    void attachLocked(WakeupWord *word) { m_waiters.push_back(word); }
    void detachLocked(WakeupWord *word);

protected:
    // With lock() held: wakes every attached waiter to look again.
    void wakeWaitersLocked();

private:
    std::mutex m_lock;
    std::vector<WakeupWord *> m_waiters; // guarded by m_lock
};

} // namespace platform
