// Calls carried from host threads to the GUI thread and to worker threads:
// the exchange itself, what ends a call, and the hook's life.
#include <pthread.h>

#include <QDialog>
#include <QMenu>
#include <QTimer>

#include "dispatchsupport.h"

using namespace dispatchtest;

namespace {

TEST(Crossing, NullFunctionCrossesAndAFunctionRunsOnTheTarget)
{
    HostCall call(guiThreadId(), nullptr, nullptr);
    // Hooked and pending, not answered until the loop turns.
    ASSERT_TRUE(waitHoldingTheLoop([] { return WindowContext().PendingCallCount() == 1; }));
    EXPECT_EQ(1u, WindowContext().HookUsers(guiThreadId()));
    EXPECT_EQ(1, CThreadHook::LiveCount());
    EXPECT_FALSE(call.finished.load());
    ASSERT_TRUE(call.waitFinished());
    EXPECT_EQ(1, call.result.load());
    expectNothingOutstanding();

    CallRecord record;
    HostCall second(guiThreadId(), recordCall, &record);
    ASSERT_TRUE(second.waitFinished());
    EXPECT_EQ(1, second.result.load());
    EXPECT_EQ(1, record.runs.load());
    EXPECT_EQ(guiThreadId(), record.ranOn.load());

    // Aimed at the calling thread: inline, no hook.
    EXPECT_TRUE(ExecuteInThread(guiThreadId(), recordCall, &record));
    EXPECT_EQ(2, record.runs.load());
    EXPECT_TRUE(ExecuteInThread(guiThreadId(), nullptr, nullptr));
    expectNothingOutstanding();
}

TEST(Crossing, ThreadWithoutEventDispatcherFailsAtOnceWithNothingQueued)
{
    // A plain thread that Qt knows (it asked for its QThread) but that has
    // never had an event loop.
    std::atomic<DWORD> plainId{ 0 };
    std::atomic<bool> release{ false };
    std::thread plain([&] {
        plainId.store(ThreadIdOfQThread(QThread::currentThread()));
        while (!release.load())
            QThread::yieldCurrentThread();
    });
    ASSERT_TRUE(waitUntil([&] { return plainId.load() != 0; }));

    struct Row {
        const char *name;
        DWORD target;
    };
    const Row rows[] = {
        { "known thread without dispatcher", plainId.load() },
        { "no thread of that id", 0x7FFFFFF0u },
        { "thread id 0", 0 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        CallRecord record;
        HostCall call(row.target, recordCall, &record);
        // Joined without turning the GUI thread's loop: nothing may wait.
        call.join();
        EXPECT_EQ(0, call.result.load());
        EXPECT_EQ(0, record.runs.load());
        expectNothingOutstanding();
    }
    release.store(true);
    plain.join();
}

// Blocks the GUI thread's first call until a second call is outstanding.
struct TwoCallers {
    std::atomic<int> runs{ 0 };
    std::atomic<DWORD> usersSeen{ 0 };
    std::atomic<int> hooksSeen{ 0 };
};

void holdUntilSecondCaller(void *argument)
{
    auto *state = static_cast<TwoCallers *>(argument);
    if (state->runs.fetch_add(1) == 0) {
        QDeadlineTimer deadline(10000);
        while (WindowContext().HookUsers(GetCurrentThreadId()) < 2 && !deadline.hasExpired())
            QThread::yieldCurrentThread();
        state->usersSeen.store(WindowContext().HookUsers(GetCurrentThreadId()));
        state->hooksSeen.store(CThreadHook::LiveCount());
    }
}

TEST(Crossing, TwoCallersShareOneHookThatGoesAfterTheSecondCall)
{
    TwoCallers state;
    HostCall first(guiThreadId(), holdUntilSecondCaller, &state);
    ASSERT_TRUE(waitHoldingTheLoop([] { return WindowContext().PendingCallCount() == 1; }));
    HostCall second(guiThreadId(), holdUntilSecondCaller, &state);
    ASSERT_TRUE(first.waitFinished());
    ASSERT_TRUE(second.waitFinished());
    EXPECT_EQ(1, first.result.load());
    EXPECT_EQ(1, second.result.load());
    EXPECT_EQ(2, state.runs.load());
    EXPECT_EQ(2u, state.usersSeen.load());
    EXPECT_EQ(1, state.hooksSeen.load());
    expectNothingOutstanding();
}

TEST(Crossing, BusyTargetHasTheCallWithdrawnUnrun)
{
    struct Row {
        const char *name;
        DWORD slice;
    };
    // A slice of 0 returns at once.
    const Row rows[] = { { "slice of 50 ms", 50 }, { "slice of 0", 0 } };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        ScopedCallTimeout slice(row.slice);
        CallRecord record;
        {
            HostCall call(guiThreadId(), recordCall, &record);
            // The GUI thread does not turn its loop until the call has ended.
            call.join();
            EXPECT_EQ(0, call.result.load());
        }
        EXPECT_EQ(0, record.runs.load());
        expectNothingOutstanding();
        // Nothing runs later either.
        QCoreApplication::processEvents();
        EXPECT_EQ(0, record.runs.load());
    }
}

// The modal loops of a dialog and of a menu serve calls.
struct ModalCall {
    QWidget *modal;
    std::atomic<bool> ranInsideModal{ false };
};

void closeModal(void *argument)
{
    auto *call = static_cast<ModalCall *>(argument);
    call->ranInsideModal.store(call->modal->isVisible());
    call->modal->close();
}

TEST(Crossing, TargetInsideAModalLoopServesTheCall)
{
    auto *dialog = new QDialog;
    auto *menu = new QMenu;
    menu->addAction("entry");
    const struct {
        const char *name;
        QWidget *modal;
        std::function<void()> exec;
    } rows[] = {
        { "dialog", dialog, [dialog] { dialog->exec(); } },
        { "menu", menu, [menu] { menu->exec(QPoint(20, 20)); } },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        ModalCall state{ row.modal };
        std::unique_ptr<HostCall> call;
        QTimer::singleShot(0, [&] { call = std::make_unique<HostCall>(guiThreadId(), closeModal, &state); });
        row.exec(); // returns when the call has closed it
        ASSERT_TRUE(call);
        ASSERT_TRUE(call->waitFinished());
        EXPECT_EQ(1, call->result.load());
        EXPECT_TRUE(state.ranInsideModal.load());
        delete row.modal;
    }
    expectNothingOutstanding();
}

TEST(Crossing, FaultInsideTheFunctionFailsTheCallAndTheTargetGoesOn)
{
    HostCall faulting(guiThreadId(), faultingCall, nullptr);
    ASSERT_TRUE(faulting.waitFinished());
    EXPECT_EQ(0, faulting.result.load());

    CallRecord record;
    HostCall after(guiThreadId(), recordCall, &record);
    ASSERT_TRUE(after.waitFinished());
    EXPECT_EQ(1, after.result.load());
    EXPECT_EQ(1, record.runs.load());
    expectNothingOutstanding();
}

struct EndingCall {
    std::atomic<bool> started{ false };
};

void endThreadInsideCall(void *argument)
{
    static_cast<EndingCall *>(argument)->started.store(true);
    pthread_exit(nullptr);
}

TEST(Crossing, TargetEndingWhileRunningTheCallReleasesTheCallerWithFalse)
{
    WorkerThread worker;
    const DWORD target = worker.id();
    ASSERT_NE(0u, target);
    EndingCall state;
    HostCall call(target, endThreadInsideCall, &state);
    ASSERT_TRUE(call.waitFinished(20000));
    EXPECT_TRUE(state.started.load());
    EXPECT_EQ(0, call.result.load());
    EXPECT_TRUE(worker.thread.wait(10000));
    expectNothingOutstanding();
}

// The calling thread waits, serving: the target may call back into it.
struct CallBack {
    DWORD caller;
    CallRecord inner;
    std::atomic<bool> innerResult{ false };
};

void callBackIntoCaller(void *argument)
{
    auto *state = static_cast<CallBack *>(argument);
    state->innerResult.store(ExecuteInThread(state->caller, recordCall, &state->inner));
}

TEST(Crossing, TargetThatCallsBackIntoItsWaitingCallerDoesNotDeadlock)
{
    WorkerThread worker;
    const DWORD target = worker.id();
    ASSERT_NE(0u, target);
    // The GUI thread calls the worker and waits; the worker's call calls the
    // GUI thread, whose loop does not turn meanwhile.
    CallBack state{ guiThreadId(), {}, { false } };
    EXPECT_TRUE(ExecuteInThread(target, callBackIntoCaller, &state));
    EXPECT_TRUE(state.innerResult.load());
    EXPECT_EQ(1, state.inner.runs.load());
    EXPECT_EQ(guiThreadId(), state.inner.ranOn.load());
    expectNothingOutstanding();
}

} // namespace
