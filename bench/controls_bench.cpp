// The control helpers against Qt itself in one run: the text and rectangle
// of every row of a 2,000-row tree widget and table widget, read through the
// helpers as a host reads them (a tree path for each row, a BSTR for each
// text, the rectangle mapped to the window) and straight from Qt (text(),
// visualItemRect()). Also the agent's whole `items` request on that tree,
// which `vrqt items` answers with.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QJsonArray>
#include <QTableWidget>
#include <QTreeWidget>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "host/agent/guiexecutor.h"
#include "host/agent/itemrequests.h"
#include "host/agent/moduleview.h"
#include "host/agent/objectdelivery.h"
#include "host/modulehost.h"
#include "host/scripting/variants.h"
#include "interfaces/controls.h"

using vrqt::host::ModuleHost;
using vrqt::host::Ref;

namespace {

constexpr int kRows = 2000;

struct Widgets {
    QTreeWidget tree;
    QTableWidget table{ kRows, 2 };

    Widgets()
    {
        for (int row = 0; row < kRows; ++row) {
            new QTreeWidgetItem(&tree, { QStringLiteral("row %1").arg(row) });
            table.setItem(row, 0, new QTableWidgetItem(QStringLiteral("cell %1").arg(row)));
        }
        tree.resize(400, 600);
        table.resize(400, 600);
        tree.show();
        table.show();
        QApplication::processEvents();
    }
};

struct Helpers {
    ModuleHost host;
    Ref<IvrQtTreeViewHelper> tree;
    Ref<IvrQtTableViewHelper> table;
    std::vector<VARIANT> paths; // one path of one index for each row

    bool load()
    {
        if (!host.load())
            return false;
        tree = host.objects().query<IvrQtTreeWidgetHelper>(IID_IvrQtTreeWidgetHelper).query<IvrQtTreeViewHelper>(IID_IvrQtTreeViewHelper);
        table = host.objects().query<IvrQtTableWidgetHelper>(IID_IvrQtTableWidgetHelper).query<IvrQtTableViewHelper>(IID_IvrQtTableViewHelper);
        for (LONG row = 0; row < kRows; ++row) {
            VARIANT path;
            VariantInit(&path);
            SAFEARRAY *array = SafeArrayCreateVector(VT_VARIANT, 0, 1);
            VARIANT step;
            V_VT(&step) = VT_I4;
            V_I4(&step) = row;
            LONG first = 0;
            SafeArrayPutElement(array, &first, &step);
            V_VT(&path) = VT_ARRAY | VT_VARIANT;
            V_ARRAY(&path) = array;
            paths.push_back(path);
        }
        return tree && table;
    }

    ~Helpers()
    {
        for (VARIANT &path : paths)
            VariantClear(&path);
        tree.reset();
        table.reset();
        host.unload();
    }
};

Widgets *widgets = nullptr;
Helpers *helpers = nullptr;

// Each returns a sum of what it read, so that nothing is optimised away and
// both sides can be checked to read the same rows.
long long TreeQt()
{
    long long sum = 0;
    for (int row = 0; row < kRows; ++row) {
        QTreeWidgetItem *item = widgets->tree.topLevelItem(row);
        sum += item->text(0).size() + widgets->tree.visualItemRect(item).height();
    }
    return sum;
}

long long TreeHelpers()
{
    long long sum = 0;
    QWidget *tree = &widgets->tree;
    for (int row = 0; row < kRows; ++row) {
        BSTR text = nullptr;
        int failedAt = -1, x = 0, y = 0, width = 0, height = 0;
        helpers->tree->GetItemText(tree, helpers->paths[std::size_t(row)], 0, &text, &failedAt);
        helpers->tree->GetItemRect(tree, helpers->paths[std::size_t(row)], 0, &x, &y, &width, &height, &failedAt);
        sum += SysStringLen(text) + height;
        SysFreeString(text);
    }
    return sum;
}

long long TableQt()
{
    long long sum = 0;
    for (int row = 0; row < kRows; ++row) {
        QTableWidgetItem *item = widgets->table.item(row, 0);
        sum += item->text().size() + widgets->table.visualItemRect(item).height();
    }
    return sum;
}

long long TableHelpers()
{
    long long sum = 0;
    QWidget *table = &widgets->table;
    for (int row = 0; row < kRows; ++row) {
        BSTR text = nullptr;
        int x = 0, y = 0, width = 0, height = 0;
        helpers->table->GetCellText(table, row, 0, &text);
        helpers->table->GetCellRect(table, row, 0, &x, &y, &width, &height);
        sum += SysStringLen(text) + height;
        SysFreeString(text);
    }
    return sum;
}

using Reader = long long (*)();

void Run(benchmark::State &state, Reader reader, Reader peer)
{
    long long last = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(last = reader());
    if (last != peer())
        state.SkipWithError("the helpers and Qt read different rows");
}

BENCHMARK_CAPTURE(Run, TreeQt, &TreeQt, &TreeQt)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Run, TreeHelpers, &TreeHelpers, &TreeQt)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Run, TableQt, &TableQt, &TableQt)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Run, TableHelpers, &TableHelpers, &TableQt)->Unit(benchmark::kMillisecond);

double Milliseconds(Reader reader)
{
    const auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(reader());
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

// Both sides of each pair in alternating rounds, so that both see the
// machine at the same moments; the median round of each and their ratio.
void BM_Ratios(benchmark::State &state)
{
    const struct {
        const char *name;
        Reader helpers, qt;
    } pairs[] = { { "tree", &TreeHelpers, &TreeQt }, { "table", &TableHelpers, &TableQt } };
    constexpr int rounds = 31;
    for (auto _ : state) {
        for (const auto &pair : pairs) {
            std::vector<double> host, qt;
            for (int round = 0; round < rounds; ++round) {
                host.push_back(Milliseconds(pair.helpers));
                qt.push_back(Milliseconds(pair.qt));
            }
            const double ratio = Median(host) / Median(qt);
            state.counters[std::string(pair.name) + "_ratio"] = ratio;
            std::printf("%-5s %d rows: helpers %6.2f ms, Qt %6.2f ms, ratio %.2f\n", pair.name, kRows, Median(host), Median(qt), ratio);
        }
    }
}
BENCHMARK(BM_Ratios)->Iterations(1)->Unit(benchmark::kMillisecond);

// The agent's `items` request on the 2,000-row tree: keys, states and
// rectangles of every row, as `vrqt items` gets them (without the socket).
void BM_ItemsRequestOnTree(benchmark::State &state)
{
    vrqt::agent::GuiExecutor executor;
    vrqt::agent::ObjectDelivery delivery(executor, std::chrono::milliseconds(1000));
    vrqt::agent::ModuleView module(delivery);
    vrqt::agent::ItemRequests requests(module);
    const QJsonObject params{ { QStringLiteral("object"), QLatin1Char('@') + vrqt::scripting::AddressText(&widgets->tree) } };
    int listed = 0;
    for (auto _ : state) {
        const vrqt::agent::Reply reply = requests.items(params);
        listed = reply.result.toObject().value(QStringLiteral("items")).toArray().size();
    }
    if (listed != kRows)
        state.SkipWithError("the request did not list every row");
    module.unload();
}
BENCHMARK(BM_ItemsRequestOnTree)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    benchmark::Initialize(&argc, argv);
    QApplication application(argc, argv);
    Widgets shown;
    widgets = &shown;
    {
        Helpers loaded;
        if (!loaded.load()) {
            std::fprintf(stderr, "the helpers could not be had: %s\n", loaded.host.error().c_str());
            return 1;
        }
        helpers = &loaded;
        benchmark::RunSpecifiedBenchmarks();
        helpers = nullptr;
    }
    widgets = nullptr;
    benchmark::Shutdown();
    return 0;
}
