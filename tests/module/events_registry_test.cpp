// Subscriptions and the notifier: one listener an object, identifiers that
// replace or end a subscription, the host's sink and its references, the
// order and thread of reports, the connections each listener makes as Qt
// sees them, and watched objects that die.
#include <QHeaderView>
#include <QListWidget>
#include <QSlider>
#include <QTabBar>
#include <QTabWidget>

#include <algorithm>
#include <functional>
#include <new>

#include "events_support.h"

using namespace eventtest;

namespace {

using Registry = EventsTest;

// Counts the connections made to its signals.
struct CountingSlider : QSlider {
    int connections = 0;
    void connectNotify(const QMetaMethod &) override { ++connections; }
};

// What Qt says while action runs.
std::string said;
std::string qtSays(const std::function<void()> &action)
{
    said.clear();
    const QtMessageHandler previous = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &text) { said += text.toStdString() + "\n"; });
    action();
    qInstallMessageHandler(previous);
    return said;
}

// The connections out of object as "signal -> Receiver::name slot", from
// Qt's own account of them.
Lines connectionsOf(QObject *object)
{
    Lines connections;
    std::string signal;
    for (const QString &line : QString::fromStdString(qtSays([object] { object->dumpObjectInfo(); })).split('\n')) {
        if (line.trimmed().startsWith("signal: "))
            signal = line.trimmed().mid(8).toStdString();
        else if (line.trimmed().startsWith("--> "))
            connections.push_back(signal + " -> " + line.trimmed().mid(4).toStdString());
    }
    return connections;
}

bool contains(const Lines &lines, const std::string &line)
{
    return std::count(lines.begin(), lines.end(), line) == 1;
}

} // namespace

TEST_F(Registry, OneListenerAnObjectReplacedByAnotherIdentifierEndedByAnUnknownOne)
{
    CountingSlider slider;
    const auto reportsAfterAChange = [&] {
        slider.setValue(slider.value() + 1);
        return sink.reports.size();
    };
    subscribe(&slider, SubscriptionSlider);
    const int connected = slider.connections;
    subscribe(&slider, SubscriptionSlider);
    EXPECT_EQ(connected, slider.connections) << "the same subscription leaves its listener as it is";
    EXPECT_EQ(1u, reportsAfterAChange());
    subscribe(&slider, SubscriptionScrollBar);
    EXPECT_EQ(2u, reportsAfterAChange());
    EXPECT_EQ(SubscriptionScrollBar, sink.reports.back().subscription);
    for (const GUID *unknown : { &GUID_NULL, &SubscriptionObjectController }) {
        subscribe(&slider, *unknown);
        EXPECT_EQ(2u, reportsAfterAChange());
        subscribe(&slider, SubscriptionSlider);
        EXPECT_EQ(3u, reportsAfterAChange());
        sink.reports.pop_back();
    }
    QSlider neverSubscribed;
    subscribe(&neverSubscribed, GUID_NULL);
    neverSubscribed.setValue(3);
    EXPECT_EQ(2u, sink.reports.size());
}

TEST_F(Registry, BadAddressesAreRefusedAndADeadObjectsAddressIsANewObject)
{
    alignas(QSlider) unsigned char storage[sizeof(QSlider)];
    auto *first = new (storage) QSlider;
    subscribe(first, SubscriptionSlider);
    first->~QSlider();
    for (const void *bad : { static_cast<const void *>(storage), static_cast<const void *>(nullptr),
                             reinterpret_cast<const void *>(8) })
        EXPECT_EQ(E_INVALIDARG, notifier->Subscribe(static_cast<QObject *>(const_cast<void *>(bad)), SubscriptionSlider));

    auto *second = new (storage) QSlider;
    subscribe(second, SubscriptionSlider);
    second->setValue(4);
    EXPECT_EQ(Lines{ "Slider I4 4 / null" }, sink.lines());
    second->~QSlider();
}

TEST_F(Registry, TheSinkIsTheHostsUntilReplacedAndReportsArriveInOrderOnTheEmittingThread)
{
    QSlider slider, other;
    subscribe(&slider, SubscriptionSlider);
    subscribe(&other, SubscriptionScrollBar);
    const ULONG held = sink.references;
    EXPECT_EQ(S_OK, notifier->SetEventSink(&sink));
    EXPECT_EQ(held, sink.references);
    EXPECT_EQ(E_FAIL, notifier->SetEventSink(nullptr));
    vrqt::host::UnloadRecorder notASink;
    EXPECT_EQ(E_FAIL, notifier->SetEventSink(&notASink));
    EXPECT_EQ(1u, notASink.references);

    EXPECT_EQ((Lines{ "Slider I4 4 / null", "Slider I4 9 / null", "Slider I4 5 / null" }), linesOf([&] {
                  slider.setValue(4), other.setValue(9), slider.setValue(5);
              }));
    EXPECT_EQ(&other, sink.reports.at(1).sender);
    EXPECT_EQ(QThread::currentThread(), sink.reports.at(1).thread);

    RecordingSink next;
    EXPECT_EQ(S_OK, notifier->SetEventSink(&next));
    EXPECT_EQ(held - 1, sink.references);
    EXPECT_EQ(Lines{}, linesOf([&] { slider.setValue(6); }));
    EXPECT_EQ(Lines{ "Slider I4 6 / null" }, next.lines());

    EXPECT_EQ(S_OK, notifier->UnsubscribeAll());
    EXPECT_EQ(S_OK, notifier->UnsubscribeAll());
    slider.setValue(7);
    EXPECT_EQ(1u, next.reports.size());
    EXPECT_EQ(S_OK, notifier->SetEventSink(&sink));
}

TEST_F(ModuleTest, ReportsBeforeTheSinkAreDroppedAndDeathsOfUnknownObjectsChangeNothing)
{
    const auto notifier = host.manager().query<IvrQtEventsNotifier>(IID_IvrQtEventsNotifier);
    const auto internal = notifier.query<IvrQtEventsNotifierInternal>(IID_IvrQtEventsNotifierInternal);
    ASSERT_TRUE(internal);
    QSlider slider;
    ASSERT_EQ(S_OK, notifier->Subscribe(&slider, SubscriptionSlider));
    slider.setValue(1);
    VARIANT nothing;
    VariantInit(&nothing);
    EXPECT_EQ(E_UNEXPECTED, internal->OnObjectEvent(&slider, &SubscriptionSlider, &EventSliderValueChanged, nothing, nullptr));
    for (QObject *unknown : { reinterpret_cast<QObject *>(&nothing), static_cast<QObject *>(nullptr) })
        EXPECT_EQ(S_OK, internal->OnObjectDestroyed(unknown));
    EXPECT_EQ(S_OK, notifier->UnsubscribeAll());
}

TEST_F(Registry, ListenersConnectAsQtSeesThemAndTheMisspeltDoubleClickIsRefused)
{
    QListWidget list;
    QHeaderView header(Qt::Horizontal);
    QTabWidget tabs;
    const std::string warnings = qtSays([&] { subscribe(&list, SubscriptionListWidget); });
    EXPECT_NE(std::string::npos, warnings.find("No such signal QListWidget::dobuleClicked(QModelIndex)")) << warnings;
    subscribe(&header, SubscriptionHeaderView);
    subscribe(&tabs, SubscriptionTabWidget);

    const Lines listOut = connectionsOf(&list), headerOut = connectionsOf(&header);
    EXPECT_TRUE(contains(listOut, "clicked(QModelIndex) -> CQListWidgetListener::unnamed handleClicked(QModelIndex)"));
    EXPECT_TRUE(contains(listOut, "destroyed(QObject*) -> CQListWidgetListener::unnamed handleDestroyed(QObject*)"));
    EXPECT_TRUE(contains(headerOut, "sectionPressed(int) -> CQHeaderViewListener::unnamed handleSectionClicked(int)"));
    EXPECT_TRUE(contains(headerOut, "sectionDoubleClicked(int) -> CQHeaderViewListener::unnamed handleSectionDoubleClicked(int)"));
    EXPECT_EQ(3u, headerOut.size());
    // The tab bar's listener has no meta-object of its own.
    EXPECT_TRUE(contains(connectionsOf(tabs.tabBar()),
                         "destroyed(QObject*) -> CQObjectChildListener::unnamed handleDestroyed(QObject*)"));
}

TEST_F(Registry, WatchedObjectsAndTabBarsThatDieLeaveNothingBehind)
{
    struct TabWidget : QTabWidget {
        using QTabWidget::setTabBar; // deletes the bar it replaces
    };
    auto *slider = new QSlider;
    auto *tabs = new TabWidget;
    subscribe(slider, SubscriptionSlider);
    subscribe(tabs, SubscriptionTabWidget);
    tabs->setTabBar(new QTabBar);
    tabs->addTab(new QWidget, "One");
    tabs->show();
    sendMouse(tabs->tabBar(), tabs->tabBar()->tabRect(0).center());
    EXPECT_EQ(Lines{}, sink.lines());
    delete slider;
    delete tabs;
    EXPECT_EQ(S_OK, notifier->UnsubscribeAll());
}
