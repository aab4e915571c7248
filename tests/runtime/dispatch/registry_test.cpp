// Thread ids learnt for QThreads, and native windows looked up from any
// thread.
#include <QWidget>
#include <QWindow>

#include "dispatchsupport.h"
#include "runtime/dispatch/nativewindow.h"

using namespace dispatchtest;

namespace {

// The kernel id a thread reports of itself, and what the registry says of
// its QThread when asked from elsewhere.
TEST(ThreadRegistry, IdsAreLearntOnTheThreadsThemselves)
{
    QThread *gui = QThread::currentThread();
    std::atomic<DWORD> guiSeenByHost{ 0 };
    std::atomic<bool> done{ false };
    // A host thread that asks first has the GUI thread's dispatcher run the
    // probe.
    std::thread host([&] {
        guiSeenByHost.store(ThreadIdOfQThread(gui));
        done.store(true);
    });
    ASSERT_TRUE(waitUntil([&] { return done.load(); }));
    host.join();
    EXPECT_EQ(GetCurrentThreadId(), guiSeenByHost.load());

    WorkerThread worker;
    DWORD reported = 0;
    worker.run([&] { reported = GetCurrentThreadId(); });
    EXPECT_NE(GetCurrentThreadId(), reported);
    EXPECT_EQ(reported, worker.id());
    EXPECT_EQ(GetCurrentThreadId(), ThreadIdOfQThread(gui));
    EXPECT_EQ(0u, ThreadIdOfQThread(nullptr));
}

TEST(ThreadRegistry, FinishedThreadIsForgottenAndRestartedOneLearntAgain)
{
    WorkerThread worker;
    const DWORD first = worker.id();
    ASSERT_NE(0u, first);
    const int known = KnownThreadCount();
    worker.stop();
    EXPECT_EQ(known - 1, KnownThreadCount());
    // Finished: no dispatcher to probe, no id.
    EXPECT_EQ(0u, worker.id());
    // The call fails at once: nothing to hook.
    HostCall call(first, nullptr, nullptr);
    call.join();
    EXPECT_EQ(0, call.result.load());

    worker.thread.start();
    DWORD reported = 0;
    worker.run([&] { reported = GetCurrentThreadId(); });
    EXPECT_EQ(reported, worker.id());
}

TEST(ThreadRegistry, ThreadWithoutLoopGivesNoId)
{
    // Started, but its loop never turns: the probe waits one slice.
    ScopedCallTimeout slice(20);
    std::atomic<bool> release{ false };
    QThread *busy = QThread::create([&] {
        while (!release.load())
            QThread::yieldCurrentThread();
    });
    busy->start();
    EXPECT_EQ(0u, ThreadIdOfQThread(busy));
    release.store(true);
    EXPECT_TRUE(busy->wait(10000));
    delete busy;
}

// Window queries as a host thread makes them, while the GUI thread turns
// its loop.
template <typename Query>
auto fromHostThread(Query query) -> decltype(query())
{
    decltype(query()) result{};
    std::atomic<bool> done{ false };
    std::thread host([&] {
        result = query();
        done.store(true);
    });
    EXPECT_TRUE(waitUntil([&] { return done.load(); }));
    host.join();
    return result;
}

TEST(NativeWindows, HostThreadsSeeWhatTheGuiThreadSees)
{
    auto window = std::make_unique<QWidget>();
    window->setGeometry(10, 10, 200, 200);
    auto *child = new QWidget(window.get());
    child->setAttribute(Qt::WA_NativeWindow);
    child->setGeometry(5, 5, 50, 50);
    window->show();
    ASSERT_TRUE(waitUntil([&] { return window->isVisible(); }));
    const HWND top = HWND(window->winId());
    const HWND inner = HWND(child->winId());

    struct Row {
        const char *name;
        std::function<qintptr()> query;
        qintptr expected;
    };
    const Row rows[] = {
        { "child is a window", [&] { return qintptr(IsWindow(inner)); }, 1 },
        { "made-up id is none", [&] { return qintptr(IsWindow(HWND(0x7FFFFFF0))); }, 0 },
        { "null is none", [&] { return qintptr(IsWindow(nullptr)); }, 0 },
        { "thread of the window", [&] { return qintptr(GetWindowThreadProcessId(top, nullptr)); },
          qintptr(GetCurrentThreadId()) },
        { "process of the child",
          [&] {
              DWORD process = 0;
              GetWindowThreadProcessId(inner, &process);
              return qintptr(process);
          },
          qintptr(GetCurrentProcessId()) },
        { "parent of the child", [&] { return qintptr(GetParent(inner)); }, qintptr(top) },
        { "parent of the window", [&] { return qintptr(GetParent(top)); }, 0 },
        { "window is visible", [&] { return qintptr(IsWindowVisible(top)); }, 1 },
        { "style of the child", [&] { return qintptr(GetWindowLongW(inner, GWL_STYLE) & WS_CHILD); },
          qintptr(WS_CHILD) },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.expected, row.query());
        EXPECT_EQ(row.expected, fromHostThread(row.query));
    }

    // Destroyed: gone for every thread.
    window.reset();
    EXPECT_FALSE(IsWindow(top));
    EXPECT_FALSE(fromHostThread([&] { return IsWindow(top); }));
    EXPECT_FALSE(fromHostThread([&] { return IsWindow(inner); }));

    // Made after the last look: found.
    QWidget second;
    second.show();
    ASSERT_TRUE(waitUntil([&] { return second.isVisible(); }));
    EXPECT_EQ(GetCurrentThreadId(),
              fromHostThread([&] { return GetWindowThreadProcessId(HWND(second.winId()), nullptr); }));
}

TEST(NativeWindows, WindowsOfABusyGuiThreadAreNotFoundFromHostThreads)
{
    ScopedCallTimeout slice(20);
    QWidget window;
    window.show();
    ASSERT_TRUE(waitUntil([&] { return window.isVisible(); }));
    const HWND id = HWND(window.winId());
    // Not yet in the table, and the GUI thread does not answer.
    BOOL found = TRUE;
    std::thread host([&] { found = IsWindow(id); });
    host.join();
    EXPECT_FALSE(found);
}

} // namespace
