// What recording costs the application: the same signal emitted on a
// subscribed widget (its listener builds the report and hands it to a sink
// that does minimal work) and on an identical widget nobody subscribed, in
// alternating rounds of one run. The signals: a slider's valueChanged (a
// number) and a table's clicked (a row key and a column key as text, with
// the column record), on a table of 20 rows and one of 1,000: a row's key
// is its header text only when no other row has it, so its cost grows with
// the rows.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QSlider>
#include <QTableWidget>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "host/modulehost.h"
#include "interfaces/events.h"

using vrqt::host::ModuleHost;
using vrqt::host::Ref;

namespace {

constexpr int kEvents = 20000; // a round

// The least a host's sink does: looks at the value and counts.
class CountingSink : public IvrQtEventsSink
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
    {
        *object = riid == IID_IUnknown || riid == IID_IvrQtEventsSink ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE OnEvent(QObject *, const GUID *, const GUID *, VARIANT value, void *) override
    {
        events += V_VT(&value) != VT_EMPTY;
        return S_OK;
    }

    long long events = 0;
};

struct TablePair {
    QTableWidget watched, plain;
    explicit TablePair(int rows) : watched(rows, 2), plain(rows, 2)
    {
        for (QTableWidget *table : { &watched, &plain }) {
            table->setHorizontalHeaderLabels({ "Name", "Size" });
            for (int row = 0; row < rows; ++row)
                table->setVerticalHeaderItem(row, new QTableWidgetItem(QStringLiteral("row %1").arg(row)));
        }
    }
};

struct Setup {
    QSlider watchedSlider, plainSlider;
    TablePair smallTables{ 20 }, largeTables{ 1000 };
    CountingSink sink;
    ModuleHost host;
    Ref<IvrQtEventsNotifier> notifier;

    bool subscribe()
    {
        if (!host.load())
            return false;
        notifier = host.manager().query<IvrQtEventsNotifier>(IID_IvrQtEventsNotifier);
        return notifier && notifier->SetEventSink(&sink) == S_OK
            && notifier->Subscribe(&watchedSlider, SubscriptionSlider) == S_OK
            && notifier->Subscribe(&smallTables.watched, SubscriptionTableWidget) == S_OK
            && notifier->Subscribe(&largeTables.watched, SubscriptionTableWidget) == S_OK;
    }

    ~Setup()
    {
        if (notifier)
            notifier->UnsubscribeAll();
        notifier.reset();
        host.unload();
    }
};

Setup *setup = nullptr;

// One round of emissions; the number of events.
using Emitter = int (*)(bool watched);

int SliderRound(bool watched)
{
    QSlider &slider = watched ? setup->watchedSlider : setup->plainSlider;
    for (int event = 0; event < kEvents; ++event)
        slider.setValue(slider.value() ^ 1);
    return kEvents;
}

int TableRound(TablePair &tables, bool watched, int events)
{
    QTableWidget &table = watched ? tables.watched : tables.plain;
    const QAbstractItemModel *model = table.model();
    for (int event = 0; event < events; ++event)
        emit table.clicked(model->index(event % table.rowCount(), event & 1));
    return events;
}

int SmallTableRound(bool watched)
{
    return TableRound(setup->smallTables, watched, kEvents);
}

int LargeTableRound(bool watched)
{
    return TableRound(setup->largeTables, watched, kEvents / 50);
}

void Run(benchmark::State &state, Emitter emitter, bool watched)
{
    long long events = 0;
    for (auto _ : state)
        events += emitter(watched);
    state.SetItemsProcessed(events);
}

BENCHMARK_CAPTURE(Run, SliderPlain, &SliderRound, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Run, SliderSubscribed, &SliderRound, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Run, TablePlain, &SmallTableRound, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Run, TableSubscribed, &SmallTableRound, true)->Unit(benchmark::kMillisecond);

double NanosecondsPerEvent(Emitter emitter, bool watched, long long *events)
{
    const auto start = std::chrono::steady_clock::now();
    const int emitted = emitter(watched);
    const double elapsed = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
    *events += watched ? emitted : 0;
    return elapsed / emitted;
}

double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

// Both sides in alternating rounds, so that both see the machine at the
// same moments: the median round of each, what a report adds to one
// event, and their ratio.
void BM_Ratios(benchmark::State &state)
{
    const struct {
        const char *name;
        Emitter emitter;
    } emitters[] = { { "slider", &SliderRound }, { "table20", &SmallTableRound }, { "table1000", &LargeTableRound } };
    constexpr int rounds = 31;
    for (auto _ : state) {
        for (const auto &signal : emitters) {
            std::vector<double> subscribed, plain;
            const long long before = setup->sink.events;
            long long expected = 0;
            for (int round = 0; round < rounds; ++round) {
                subscribed.push_back(NanosecondsPerEvent(signal.emitter, true, &expected));
                plain.push_back(NanosecondsPerEvent(signal.emitter, false, &expected));
            }
            if (setup->sink.events - before != expected)
                state.SkipWithError("the sink did not get one report an event");
            const double added = Median(subscribed) - Median(plain);
            state.counters[std::string(signal.name) + "_added_ns"] = added;
            state.counters[std::string(signal.name) + "_ratio"] = Median(subscribed) / Median(plain);
            std::printf("%-9s subscribed %7.0f ns/event, plain %6.0f ns/event, added %6.0f ns, ratio %.2f\n",
                        signal.name, Median(subscribed), Median(plain), added, Median(subscribed) / Median(plain));
        }
    }
}
BENCHMARK(BM_Ratios)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    benchmark::Initialize(&argc, argv);
    QApplication application(argc, argv);
    {
        Setup ready;
        if (!ready.subscribe()) {
            std::fprintf(stderr, "the notifier could not be had: %s\n", ready.host.error().c_str());
            return 1;
        }
        setup = &ready;
        benchmark::RunSpecifiedBenchmarks();
        setup = nullptr;
    }
    benchmark::Shutdown();
    return 0;
}
