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
    // Any thread: bumps the counter; true when the owner sleeps and must
    // be woken in the kernel (wakeSleeper with futex()).
    bool bump();
    std::atomic<uint32_t> *futex() { return &m_value; }
    // On the owning thread: sleeps while the counter still holds seen, until
    // woken or deadline (CLOCK_MONOTONIC; null waits without limit). May
    // return early.
    void sleep(uint32_t seen, const timespec *deadline);

private:
    std::atomic<uint32_t> m_value{ 0 };
    std::atomic<bool> m_sleeping{ false };
};

// Wakes a sleeping owner in the kernel. The word may be gone by then: a
// wake-up for an address where nobody sleeps does nothing, and whoever
// sleeps there now takes it as the spurious wake-up futex users expect.
void wakeSleeper(std::atomic<uint32_t> *futex);

// The sleepers a signal must wake, woken when this goes out of scope.
// Declared before the guard of the signalled object's lock, it wakes them
// after that lock is released: a thread woken while the lock is held would
// go for it at once and sleep again.
class DeferredWakeups {
public:
    DeferredWakeups() = default;
    ~DeferredWakeups();
    DeferredWakeups(const DeferredWakeups &) = delete;
    DeferredWakeups &operator=(const DeferredWakeups &) = delete;

    // Bumps word; an owner that sleeps is woken later (at once when there
    // are too many to remember).
    void add(WakeupWord &word);

private:
    static constexpr size_t kCapacity = 8;
    std::atomic<uint32_t> *m_sleepers[kCapacity];
    size_t m_count = 0;
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
    // With lock() held: has every attached waiter look again, woken by
    // wakeups once the lock is released.
    void wakeWaitersLocked(DeferredWakeups &wakeups);

private:
    std::mutex m_lock;
    std::vector<WakeupWord *> m_waiters; // guarded by m_lock
};

} // namespace platform
