// A module call that crosses threads against Qt doing the same work: from a
// host thread, SetWidgetFocus through the module's boundary against
// setFocus through a BlockingQueuedConnection, focus moving between two
// line edits on both sides. Also the probe the call starts with, on an
// object never confirmed and on one confirmed before.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QLineEdit>
#include <QTimer>
#include <QVBoxLayout>

#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "percentiles.h"
#include "host/modulehost.h"
#include "interfaces/objects.h"

using vrqt::host::ModuleHost;
using vrqt::host::Ref;

namespace {

struct Window {
    QWidget window;
    QLineEdit *edits[2];

    Window()
    {
        auto *layout = new QVBoxLayout(&window);
        for (QLineEdit *&edit : edits) {
            edit = new QLineEdit(&window);
            layout->addWidget(edit);
        }
        window.show();
        QApplication::processEvents();
    }
};

Window *shown = nullptr;
IvrQtWidgetsHelper *widgets = nullptr;
IvrQtObjectsHelper *objects = nullptr;

void throughModule(QWidget *widget)
{
    widgets->SetWidgetFocus(widget, VARIANT_TRUE);
}

void throughBlockingQueuedConnection(QWidget *widget)
{
    QMetaObject::invokeMethod(widget, [widget] { widget->setFocus(Qt::OtherFocusReason); },
                              Qt::BlockingQueuedConnection);
}

using bench::Clock;
using bench::microseconds;
using bench::percentile;

// Both calls in turn, each timed alone, so that both see the same machine
// at the same moments.
void BM_SetWidgetFocusPercentiles(benchmark::State &state)
{
    std::vector<double> moduleTimes;
    std::vector<double> queued;
    int turn = 0;
    for (auto _ : state) {
        // Each side goes first every other time, and each call finds the
        // GUI thread asleep, as a host's call does: one right after another
        // would find it still awake from the first.
        const bool moduleFirst = turn % 2 == 0;
        QWidget *widget = shown->edits[turn++ % 2];
        for (int side = 0; side < 2; ++side) {
            const bool module = (side == 0) == moduleFirst;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            const Clock::time_point start = Clock::now();
            if (module)
                throughModule(widget);
            else
                throughBlockingQueuedConnection(widget);
            (module ? moduleTimes : queued).push_back(microseconds(Clock::now() - start));
        }
    }
    const double moduleP50 = percentile(moduleTimes, 0.50);
    const double moduleP99 = percentile(moduleTimes, 0.99);
    const double queuedP50 = percentile(queued, 0.50);
    const double queuedP99 = percentile(queued, 0.99);
    state.counters["module_p50_us"] = moduleP50;
    state.counters["module_p99_us"] = moduleP99;
    state.counters["qt_p50_us"] = queuedP50;
    state.counters["qt_p99_us"] = queuedP99;
    state.counters["p50_ratio"] = queuedP50 > 0 ? moduleP50 / queuedP50 : 0;
    state.counters["p99_ratio"] = queuedP99 > 0 ? moduleP99 / queuedP99 : 0;
    std::printf("SetWidgetFocus over %zu pairs: module p50 %.2f us, p99 %.2f us; "
                "BlockingQueuedConnection p50 %.2f us, p99 %.2f us; ratio p50 %.3f, p99 %.3f\n",
                moduleTimes.size(), moduleP50, moduleP99, queuedP50, queuedP99, moduleP50 / queuedP50,
                moduleP99 / queuedP99);
}
BENCHMARK(BM_SetWidgetFocusPercentiles)->Iterations(10000)->UseRealTime();

// IsWidget on a widget the calling thread has confirmed, and on a widget of
// a fresh object each time (the whole probe).
void BM_ProbeConfirmed(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(objects->IsWidget(shown->edits[0]));
}
BENCHMARK(BM_ProbeConfirmed)->UseRealTime();

void BM_ProbeNeverConfirmed(benchmark::State &state)
{
    // Heap addresses of objects destroyed meanwhile: each is new to the
    // probe, since Qt has said the last one at that address is gone.
    for (auto _ : state) {
        state.PauseTiming();
        auto *object = new QObject;
        state.ResumeTiming();
        benchmark::DoNotOptimize(objects->IsQObject(object));
        state.PauseTiming();
        delete object;
        state.ResumeTiming();
    }
}
BENCHMARK(BM_ProbeNeverConfirmed)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    benchmark::Initialize(&argc, argv);
    QApplication application(argc, argv);
    Window window;
    shown = &window;
    ModuleHost host;
    if (!host.load()) {
        std::fprintf(stderr, "the module could not be loaded: %s\n", host.error().c_str());
        return 1;
    }
    Ref<IvrQtWidgetsHelper> widgetsHelper = host.widgets();
    Ref<IvrQtObjectsHelper> objectsHelper = host.objects();
    widgets = widgetsHelper.get();
    objects = objectsHelper.get();
    // The calls come from a host thread while the GUI thread turns its
    // event loop.
    std::thread caller;
    QTimer::singleShot(0, [&] {
        caller = std::thread([] {
            benchmark::RunSpecifiedBenchmarks();
            QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
        });
    });
    application.exec();
    caller.join();
    widgetsHelper.reset();
    objectsHelper.reset();
    host.unload();
    benchmark::Shutdown();
    return 0;
}
