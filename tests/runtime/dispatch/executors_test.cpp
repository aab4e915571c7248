// Asynchronous methods and periodic executors: their threads, their
// intervals, stopping them, and the library kept loaded while they run.
#include <dlfcn.h>
#include <pthread.h>

#include <string>
#include <vector>

#include "dispatchsupport.h"
#include "runtime/dispatch/asyncexecutor.h"
#include "runtime/dispatch/periodicexecutor.h"
#include "runtime/dispatch/pumpingwait.h"

using namespace dispatchtest;

namespace {

std::string threadName()
{
    char name[32] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    return name;
}

struct OneShot {
    std::atomic<DWORD> ranOn{ 0 };
    std::string name;
    HANDLE ran = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ~OneShot() { CloseHandle(ran); }
};

void recordOneShot(void *argument)
{
    auto *shot = static_cast<OneShot *>(argument);
    shot->name = threadName();
    shot->ranOn.store(GetCurrentThreadId());
    SetEvent(shot->ran);
}

TEST(AsyncMethod, RunsOnceOnANamedThreadOfItsOwn)
{
    OneShot shot;
    HANDLE thread = INVALID_HANDLE_VALUE;
    const DWORD id = StartAsyncMethod(recordOneShot, &shot, &thread);
    ASSERT_NE(0u, id);
    ASSERT_NE(nullptr, thread);
    // The handle is signalled when the thread has ended.
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 10000));
    CloseHandle(thread);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(shot.ran, 0));
    EXPECT_EQ(id, shot.ranOn.load());
    EXPECT_NE(GetCurrentThreadId(), id);
    // What a debugger shows: the kernel keeps 15 bytes of the name.
    EXPECT_EQ("zkAsyncMethodEx", shot.name);
}

TEST(AsyncMethod, FaultEndsTheThreadAsIfTheCallHadReturned)
{
    HANDLE thread = nullptr;
    ASSERT_NE(0u, StartAsyncMethod(faultingCall, nullptr, &thread));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 10000));
    CloseHandle(thread);
    // Without a handle asked for, none is handed out and the thread runs.
    OneShot shot;
    EXPECT_NE(0u, StartAsyncMethod(recordOneShot, &shot));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(shot.ran, 10000));
}

bool libraryLoaded(const char *path)
{
    const std::string name = std::string(path).substr(std::string(path).rfind('/') + 1);
    return GetModuleHandleA(name.c_str()) != nullptr;
}

TEST(AsyncMethod, LibraryStaysLoadedWhileItsThreadRunsAndGoesWithIt)
{
    // The tests link the runtime into the program itself: no reference.
    EXPECT_EQ(GetModuleHandleW(nullptr), GetOwnModuleBase());
    EXPECT_EQ(nullptr, LockOwnModule());
    void *library = dlopen(VRQT_ASYNC_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, library) << dlerror();
    using Start = DWORD (*)(HANDLE, HANDLE *);
    auto start = reinterpret_cast<Start>(dlsym(library, "StartHeldMethod"));
    ASSERT_NE(nullptr, start);
    HANDLE release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE thread = nullptr;
    ASSERT_NE(0u, start(release, &thread));
    // The host's last reference goes; the thread's keeps the library.
    EXPECT_EQ(0, dlclose(library));
    EXPECT_TRUE(libraryLoaded(VRQT_ASYNC_MODULE));
    // The thread gives its reference back as its last act.
    SetEvent(release);
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 10000));
    CloseHandle(thread);
    CloseHandle(release);
    EXPECT_TRUE(waitUntil([] { return !libraryLoaded(VRQT_ASYNC_MODULE); }));
}

// Runs of a periodic function: when each began and ended.
struct Runs {
    std::mutex lock;
    std::vector<std::pair<DWORD, DWORD>> times;
    std::atomic<int> count{ 0 };
    DWORD busyMs = 0;
    int stopAfter = 0;
    PeriodicExecutor *executor = nullptr;
    std::atomic<DWORD> worker{ 0 };
};

void periodicRun(void *argument)
{
    auto *runs = static_cast<Runs *>(argument);
    const DWORD began = GetTickCount();
    if (runs->busyMs) {
        HANDLE never = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        WaitForSingleObject(never, runs->busyMs);
        CloseHandle(never);
    }
    {
        std::lock_guard<std::mutex> guard(runs->lock);
        runs->times.emplace_back(began, GetTickCount());
    }
    runs->worker.store(GetCurrentThreadId());
    if (runs->count.fetch_add(1) + 1 == runs->stopAfter)
        StopPeriodicExecutor(&runs->executor);
}

TEST(PeriodicExecutor, IntervalCountsFromTheEndOfARun)
{
    Runs runs;
    runs.busyMs = 40;
    constexpr DWORD interval = 30;
    ASSERT_TRUE(StartPeriodicExecutor(periodicRun, &runs, interval, &runs.executor));
    ASSERT_TRUE(waitUntil([&] { return runs.count.load() >= 4; }));
    StopPeriodicExecutor(&runs.executor);
    EXPECT_EQ(nullptr, runs.executor);
    std::lock_guard<std::mutex> guard(runs.lock);
    ASSERT_GE(runs.times.size(), 4u);
    for (size_t run = 1; run < runs.times.size(); ++run) {
        SCOPED_TRACE(run);
        // The pause follows the end of the run before, not its start.
        EXPECT_GE(runs.times[run].first - runs.times[run - 1].second, interval - 1);
    }
}

// Waits for the worker thread to end.
void expectWorkerEnds(const Runs &runs)
{
    HANDLE worker = OpenThread(SYNCHRONIZE, FALSE, runs.worker.load());
    if (worker) {
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(worker, 10000));
        CloseHandle(worker);
    }
}

TEST(PeriodicExecutor, StopFromOutsideOrInsideEndsTheRuns)
{
    const struct {
        const char *name;
        DWORD interval;
        int stopAfter; // 0: stopped from outside, during a run
    } rows[] = { { "from outside", 0, 0 }, { "from inside, back to back", 0, 3 }, { "from inside, with an interval", 5, 3 } };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Runs runs;
        runs.stopAfter = row.stopAfter;
        runs.busyMs = row.stopAfter ? 0 : 20;
        ASSERT_TRUE(StartPeriodicExecutor(periodicRun, &runs, row.interval, &runs.executor));
        ASSERT_TRUE(waitUntil([&] { return runs.count.load() >= 3; }));
        if (!row.stopAfter)
            StopPeriodicExecutor(&runs.executor);
        const int stoppedAt = runs.count.load();
        expectWorkerEnds(runs);
        EXPECT_EQ(nullptr, runs.executor);
        EXPECT_EQ(stoppedAt, runs.count.load());
        EXPECT_TRUE(!row.stopAfter || stoppedAt == 3) << stoppedAt;
        // Stopping an empty place is ignored.
        StopPeriodicExecutor(&runs.executor);
        StopPeriodicExecutor(nullptr);
    }
}

TEST(PeriodicExecutor, BadArgumentsChangeNothing)
{
    Runs runs;
    PeriodicExecutor *sentinel = reinterpret_cast<PeriodicExecutor *>(0x1);
    PeriodicExecutor *place = sentinel;
    EXPECT_FALSE(StartPeriodicExecutor(periodicRun, &runs, 10, nullptr));
    EXPECT_FALSE(StartPeriodicExecutor(nullptr, &runs, 10, &place));
    EXPECT_FALSE(StartPeriodicExecutor(periodicRun, &runs, INFINITE, &place));
    EXPECT_EQ(sentinel, place);
    EXPECT_EQ(0, runs.count.load());
}

TEST(PumpingWaits, TimeoutAndEveryFailureReport258)
{
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE closed = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    CloseHandle(closed);
    struct Row {
        const char *name;
        std::function<DWORD()> wait;
        DWORD expected;
    };
    const Row rows[] = {
        { "timeout", [&] { return WaitForHandlePumping(event, 0); }, WAIT_TIMEOUT },
        { "closed handle", [&] { return WaitForHandlePumping(closed, 0); }, WAIT_TIMEOUT },
        { "no handles", [&] { return WaitForHandlesPumping(0, &event, 0); }, WAIT_TIMEOUT },
        { "null handles", [&] { return WaitForHandlesPumping(1, nullptr, 0); }, WAIT_TIMEOUT },
        { "signalled",
          [&] {
              SetEvent(event);
              return WaitForHandlePumping(event, 0);
          },
          0 },
        { "second of two",
          [&] {
              HANDLE pair[2] = { closed, event };
              pair[0] = CreateEventW(nullptr, TRUE, FALSE, nullptr);
              const DWORD index = WaitForHandlesPumping(2, pair, 0);
              CloseHandle(pair[0]);
              return index;
          },
          1 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.expected, row.wait());
    }
    CloseHandle(event);
    EXPECT_EQ(RPC_S_CALLPENDING, PumpMessagesOnce());
}

void countQueued(ULONG_PTR counter)
{
    ++*reinterpret_cast<int *>(counter);
}

TEST(PumpingWaits, WaitsServeTheCallsQueuedForTheThread)
{
    int served = 0;
    HANDLE self = OpenThread(THREAD_SET_CONTEXT, FALSE, GetCurrentThreadId());
    ASSERT_NE(nullptr, self);
    ASSERT_TRUE(QueueUserAPC(countQueued, self, reinterpret_cast<ULONG_PTR>(&served)));
    EXPECT_EQ(RPC_S_CALLPENDING, PumpMessagesOnce());
    EXPECT_EQ(1, served);
    CloseHandle(self);
}

TEST(ThreadDebugName, NameIsCutToWhatTheKernelKeeps)
{
    std::string seen;
    std::thread named([&] {
        SetThreadDebugName("short");
        const std::string first = threadName();
        SetThreadDebugName("a name far longer than fifteen bytes");
        seen = first + "|" + threadName();
        SetThreadDebugName(nullptr);
    });
    named.join();
    EXPECT_EQ("short|a name far long", seen);
}

} // namespace
