// Many host threads call the GUI thread at once while it paints and handles
// input: every call runs exactly once, and nothing is left behind.
#include <QKeyEvent>
#include <QMouseEvent>
#include <QTimer>
#include <QWidget>

#include <memory>
#include <vector>

#include "dispatchsupport.h"
#include "runtime/dispatch/threadlockscope.h"

using namespace dispatchtest;

namespace {

constexpr int hostThreads = 8;
constexpr int callsPerThread = 10000;

// Counts what the GUI thread paints and receives.
class BusyWidget : public QWidget
{
public:
    int paints = 0;
    int keys = 0;
    int clicks = 0;

protected:
    void paintEvent(QPaintEvent *) override { ++paints; }
    void keyPressEvent(QKeyEvent *) override { ++keys; }
    void mousePressEvent(QMouseEvent *) override { ++clicks; }
};

TEST(Stress, EightHostThreadsCallTheBusyGuiThreadAndEveryCallRunsOnce)
{
    BusyWidget widget;
    widget.resize(100, 100);
    widget.show();
    ASSERT_TRUE(waitUntil([&] { return widget.isVisible(); }));

    // Work of its own for the GUI thread meanwhile.
    QTimer traffic;
    QObject::connect(&traffic, &QTimer::timeout, &widget, [&widget] {
        widget.repaint();
        QCoreApplication::postEvent(&widget, new QKeyEvent(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, "a"));
        QCoreApplication::postEvent(&widget, new QMouseEvent(QEvent::MouseButtonPress, QPointF(5, 5), QPointF(5, 5), Qt::LeftButton,
                                                             Qt::LeftButton, Qt::NoModifier));
    });
    traffic.start(1);

    const DWORD gui = guiThreadId();
    std::vector<CallRecord> callSlots(hostThreads * callsPerThread);
    std::atomic<int> failures{ 0 };
    std::atomic<int> finishedThreads{ 0 };
    std::vector<std::thread> hosts;
    for (int host = 0; host < hostThreads; ++host) {
        hosts.emplace_back([&, host] {
            for (int call = 0; call < callsPerThread; ++call) {
                if (!ExecuteInThread(gui, recordCall, &callSlots[host * callsPerThread + call]))
                    failures.fetch_add(1);
            }
            finishedThreads.fetch_add(1);
        });
    }
    const bool allFinished = waitUntil([&] { return finishedThreads.load() == hostThreads; }, 600000);
    traffic.stop();
    for (std::thread &host : hosts)
        host.join();
    ASSERT_TRUE(allFinished);

    EXPECT_EQ(0, failures.load());
    int wrongCount = 0;
    int wrongThread = 0;
    for (const CallRecord &slot : callSlots) {
        wrongCount += slot.runs.load() != 1;
        wrongThread += slot.ranOn.load() != gui;
    }
    EXPECT_EQ(0, wrongCount);
    EXPECT_EQ(0, wrongThread);
    // The GUI thread did its own work too.
    EXPECT_GT(widget.paints, 0);
    EXPECT_GT(widget.keys, 0);
    EXPECT_GT(widget.clicks, 0);
    expectNothingOutstanding();
    EXPECT_EQ(0u, WindowContext().LockMarkerCount());
    EXPECT_FALSE(ThreadLockMarkerExists(gui));
}

} // namespace
