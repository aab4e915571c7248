// The round trip of an empty call from a host thread to the GUI thread:
// through ExecuteInThread (the thread hook) against Qt's own
// BlockingQueuedConnection between the same two threads, measured in the
// same run. The GUI thread runs its event loop meanwhile.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QThread>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "percentiles.h"
#include "runtime/dispatch/execution.h"
#include "runtime/dispatch/threadlockscope.h"
#include "runtime/dispatch/threadregistry.h"
#include "runtime/dispatch/windowcontext.h"

namespace {

DWORD guiThread = 0;
QObject *guiContext = nullptr; // lives on the GUI thread

void emptyCall(void *)
{
}

void throughThreadHook()
{
    ExecuteInThread(guiThread, emptyCall, nullptr);
}

void throughBlockingQueuedConnection()
{
    QMetaObject::invokeMethod(guiContext, [] {}, Qt::BlockingQueuedConnection);
}

using bench::Clock;
using bench::microseconds;
using bench::percentile;

void BM_ExecuteInThread(benchmark::State &state)
{
    for (auto _ : state)
        throughThreadHook();
}
BENCHMARK(BM_ExecuteInThread)->UseRealTime();

void BM_BlockingQueuedConnection(benchmark::State &state)
{
    for (auto _ : state)
        throughBlockingQueuedConnection();
}
BENCHMARK(BM_BlockingQueuedConnection)->UseRealTime();

// Both round trips taken in turn, each timed alone, so that both see the
// same machine at the same moments: their percentiles and the ratios.
void BM_RoundTripPercentiles(benchmark::State &state)
{
    std::vector<double> hook;
    std::vector<double> queued;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        throughThreadHook();
        const Clock::time_point middle = Clock::now();
        throughBlockingQueuedConnection();
        const Clock::time_point end = Clock::now();
        hook.push_back(microseconds(middle - start));
        queued.push_back(microseconds(end - middle));
    }
    const double hookP50 = percentile(hook, 0.50);
    const double hookP99 = percentile(hook, 0.99);
    const double queuedP50 = percentile(queued, 0.50);
    const double queuedP99 = percentile(queued, 0.99);
    state.counters["hook_p50_us"] = hookP50;
    state.counters["hook_p99_us"] = hookP99;
    state.counters["qt_p50_us"] = queuedP50;
    state.counters["qt_p99_us"] = queuedP99;
    state.counters["p50_ratio"] = queuedP50 > 0 ? hookP50 / queuedP50 : 0;
    state.counters["p99_ratio"] = queuedP99 > 0 ? hookP99 / queuedP99 : 0;
    std::printf("round trip over %zu pairs: thread hook p50 %.2f us, p99 %.2f us; "
                "BlockingQueuedConnection p50 %.2f us, p99 %.2f us; ratio p50 %.3f, p99 %.3f\n",
                hook.size(), hookP50, hookP99, queuedP50, queuedP99, hookP50 / queuedP50, hookP99 / queuedP99);
}
BENCHMARK(BM_RoundTripPercentiles)->Iterations(50000)->UseRealTime();

// What the target thread pays on every call, beside the wake-up: the look
// at its lock marker (a name no event of this process has) and the fault
// guard around the function.
void BM_TargetMarkerCheck(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(ThreadLockMarkerExists(GetCurrentThreadId()));
}
BENCHMARK(BM_TargetMarkerCheck)->UseRealTime();

void BM_TargetFaultGuard(benchmark::State &state)
{
    int runs = 0;
    for (auto _ : state)
        RunGuarded([&runs] { ++runs; });
    benchmark::DoNotOptimize(runs);
}
BENCHMARK(BM_TargetFaultGuard)->UseRealTime();

// What the caller pays on every call and Qt's round trip does not: the
// hook on the GUI thread installed and removed (two connections made and
// cut), and the call's two events and the target's thread handle.
void BM_CallerHookInstallAndRemove(benchmark::State &state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(WindowContext().AcquireThreadHook(guiThread));
        WindowContext().ReleaseThreadHook(guiThread);
    }
}
BENCHMARK(BM_CallerHookInstallAndRemove)->UseRealTime();

void BM_CallerEventsAndThreadHandle(benchmark::State &state)
{
    // After its first call the GUI thread is known to the platform, so
    // that opening it reads no /proc file.
    throughThreadHook();
    for (auto _ : state) {
        HANDLE handles[3] = { CreateEventW(nullptr, TRUE, FALSE, nullptr), CreateEventW(nullptr, TRUE, FALSE, nullptr),
                              OpenThread(SYNCHRONIZE, FALSE, guiThread) };
        for (HANDLE handle : handles)
            CloseHandle(handle);
    }
}
BENCHMARK(BM_CallerEventsAndThreadHandle)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    benchmark::Initialize(&argc, argv);
    QApplication application(argc, argv);
    QObject context;
    guiContext = &context;
    guiThread = ThreadIdOfQThread(QThread::currentThread());
    // The benchmarks run on a host thread while the GUI thread turns its
    // event loop.
    std::thread host;
    QTimer::singleShot(0, [&] {
        host = std::thread([] {
            benchmark::RunSpecifiedBenchmarks();
            QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
        });
    });
    application.exec();
    host.join();
    benchmark::Shutdown();
    return 0;
}
