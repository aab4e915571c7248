// What the dispatch tests share: waits that keep the GUI thread's event loop
// turning, host threads that make calls, worker threads with event loops,
// and the slice length set for a test.
#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

#include <atomic>
#include <functional>
#include <thread>

#include "../../qt_support.h"
#include "runtime/dispatch/execution.h"
#include "runtime/dispatch/threadhook.h"
#include "runtime/dispatch/threadregistry.h"
#include "runtime/dispatch/windowcontext.h"

extern "C" void vrqtDispatchTestStoreNull();

namespace dispatchtest {

// Faults: a store to address 0.
void faultingCall(void *argument);

inline bool waitUntil(const std::function<bool()> &condition, int limitMs = 10000)
{
    return qttest::waitUntil(condition, limitMs);
}

// Waits until condition holds or the limit passes without turning the
// calling thread's loop, so that calls to it stay pending; the condition's
// last value.
inline bool waitHoldingTheLoop(const std::function<bool()> &condition, int limitMs = 10000)
{
    QDeadlineTimer deadline(limitMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return condition();
        QThread::yieldCurrentThread();
    }
    return true;
}

// Sets the slice length for a scope.
class ScopedCallTimeout
{
public:
    explicit ScopedCallTimeout(DWORD milliseconds) : previous(CallTimeoutMs.exchange(milliseconds)) {}
    ~ScopedCallTimeout() { CallTimeoutMs.store(previous); }

private:
    DWORD previous;
};

// A call made on a host thread of its own, which a test joins.
class HostCall
{
public:
    HostCall(DWORD target, ExecuteFunction function, void *argument)
        : thread([this, target, function, argument] {
              result.store(ExecuteInThread(target, function, argument) ? 1 : 0);
              finished.store(true);
          })
    {
    }
    ~HostCall() { join(); }
    void join()
    {
        if (thread.joinable())
            thread.join();
    }
    bool waitFinished(int limitMs = 10000)
    {
        const bool done = waitUntil([this] { return finished.load(); }, limitMs);
        if (done)
            join();
        return done;
    }

    std::atomic<int> result{ -1 };
    std::atomic<bool> finished{ false };

private:
    std::thread thread;
};

// A QThread running its own event loop, and its kernel id.
class WorkerThread
{
public:
    WorkerThread()
    {
        context.moveToThread(&thread);
        thread.start();
        // Its loop turns from here on.
        run([] {});
    }
    ~WorkerThread() { stop(); }
    void stop()
    {
        thread.quit();
        thread.wait(10000);
    }
    DWORD id() { return ThreadIdOfQThread(&thread); }
    // Inside its loop: run waits for the work, post does not.
    void run(const std::function<void()> &work)
    {
        QMetaObject::invokeMethod(&context, work, Qt::BlockingQueuedConnection);
    }
    void post(const std::function<void()> &work)
    {
        QMetaObject::invokeMethod(&context, work, Qt::QueuedConnection);
    }

    QThread thread;
    QObject context; // lives in the worker: what work is posted to
};

// The GUI thread's id as the library knows it: ids come from the registry,
// which learns them on the threads themselves. On the GUI thread.
inline DWORD guiThreadId()
{
    return ThreadIdOfQThread(QThread::currentThread());
}

// Calls that count where they ran.
struct CallRecord {
    std::atomic<int> runs{ 0 };
    std::atomic<DWORD> ranOn{ 0 };
};

inline void recordCall(void *argument)
{
    auto *record = static_cast<CallRecord *>(argument);
    record->ranOn.store(GetCurrentThreadId());
    record->runs.fetch_add(1);
}

inline void expectNothingOutstanding()
{
    EXPECT_EQ(0u, WindowContext().HookRecordCount());
    EXPECT_EQ(0u, WindowContext().PendingCallCount());
    EXPECT_EQ(0, CThreadHook::LiveCount());
}

} // namespace dispatchtest
