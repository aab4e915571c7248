// Finding an object by a lone name, as `get counterButton text` does,
// against Qt finding the same objects with findChildren: both visit every
// object of the application, since a name must name exactly one. The tree
// is about the gallery's size: 600 objects, widgets and plain objects,
// half of them named. Also an exact path, which visits one step's
// children only.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QVBoxLayout>

#include <memory>

#include "host/agent/objectpath.h"

namespace {

constexpr int kPanels = 20;
constexpr int kPerPanel = 14; // a label and a plain object each: 600 objects with the layouts

struct Application {
    QMainWindow window;
    QLabel *target = nullptr;

    Application()
    {
        window.setObjectName(QStringLiteral("mainWindow"));
        auto *central = new QWidget(&window);
        central->setObjectName(QStringLiteral("central"));
        auto *layout = new QVBoxLayout(central);
        for (int panel = 0; panel < kPanels; ++panel) {
            auto *box = new QWidget(central);
            box->setObjectName(QStringLiteral("panel%1").arg(panel));
            auto *inner = new QVBoxLayout(box);
            for (int index = 0; index < kPerPanel; ++index) {
                auto *label = new QLabel(box);
                if (index % 2 == 0)
                    label->setObjectName(QStringLiteral("label%1_%2").arg(panel).arg(index));
                inner->addWidget(label);
                new QObject(box);
            }
            layout->addWidget(box);
        }
        window.setCentralWidget(central);
        target = central->findChild<QLabel *>(QStringLiteral("label10_4"));
        window.show();
        QApplication::processEvents();
    }
};

Application *application = nullptr;

void Lookup_LoneName(benchmark::State &state)
{
    const QString name = QStringLiteral("label10_4");
    for (auto _ : state) {
        const vrqt::agent::ObjectLookup lookup = vrqt::agent::FindObject(name, nullptr);
        if (lookup.object != application->target)
            state.SkipWithError("the lone name found something else");
        benchmark::DoNotOptimize(lookup.object);
    }
}

void Lookup_QtFindChildren(benchmark::State &state)
{
    const QString name = QStringLiteral("label10_4");
    for (auto _ : state) {
        // Every root, as a search of the whole application must.
        QObjectList found = qApp->findChildren<QObject *>(name);
        for (QWidget *top : QApplication::topLevelWidgets()) {
            if (!top->parent())
                found += top->findChildren<QObject *>(name);
        }
        if (found.size() != 1 || found.first() != application->target)
            state.SkipWithError("findChildren found something else");
        benchmark::DoNotOptimize(found);
    }
}

void Lookup_ExactPath(benchmark::State &state)
{
    const QString path = QStringLiteral("/mainWindow/central/panel10/label10_4");
    for (auto _ : state) {
        const vrqt::agent::ObjectLookup lookup = vrqt::agent::FindObject(path, nullptr);
        if (lookup.object != application->target)
            state.SkipWithError("the path found something else");
        benchmark::DoNotOptimize(lookup.object);
    }
}

} // namespace

BENCHMARK(Lookup_LoneName);
BENCHMARK(Lookup_QtFindChildren);
BENCHMARK(Lookup_ExactPath);

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication qt(argc, argv);
    Application made;
    application = &made;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
