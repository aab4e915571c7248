// vrqt record against real input: the gallery runs as a session, vrqt
// record as a child, and the X server's test extension clicks, double
// clicks, turns the wheel and presses keys. Each action must come out as
// exactly the expected line, in order. How long each line took from its
// input is printed, never asserted (docs/performance.md).
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QFileInfo>
#include <QProcess>

#include <X11/keysym.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <thread>
#include <unistd.h>

#include "vrqtrig.h"
#include "xtestpointer.h"

using namespace std::chrono_literals;
using namespace realinput;

namespace {

// What one line must say. An empty key, a null value or a doubleClick of
// -1 is not looked at.
struct Expected
{
    Expected(QString objectEnd, QString event, QString key = {}, QJsonValue value = QJsonValue::Undefined, int doubleClick = -1,
             int input = 0)
        : objectEnd(std::move(objectEnd)), event(std::move(event)), key(std::move(key)), value(std::move(value)),
          doubleClick(doubleClick), input(input)
    {
    }
    QString objectEnd;
    QString event;
    QString key;
    QJsonValue value;
    int doubleClick;
    int input; // which input of its step caused it
    QString viewEnd; // a scroll bar's view, when not empty
};

struct Step
{
    std::string what;
    // Finds its points, then gives its input; stamps each input (click,
    // key, wheel turn) just before sending it. False when it found no point.
    std::function<bool(std::vector<Clock::time_point> &)> input;
    std::vector<Expected> lines;
};

QString mismatch(const Expected &expected, const QJsonObject &action)
{
    QStringList wrong;
    const QString object = action.value(QLatin1String("object")).toString();
    if (!object.endsWith(QLatin1Char('/') + expected.objectEnd))
        wrong << QStringLiteral("object");
    if (action.value(QLatin1String("event")).toString() != expected.event)
        wrong << QStringLiteral("event");
    if (!expected.key.isEmpty() && action.value(QLatin1String("key")).toString() != expected.key)
        wrong << QStringLiteral("key");
    if (!expected.value.isUndefined() && action.value(QLatin1String("value")) != expected.value)
        wrong << QStringLiteral("value");
    if (!expected.viewEnd.isEmpty() && !action.value(QLatin1String("view")).toString().endsWith(QLatin1Char('/') + expected.viewEnd))
        wrong << QStringLiteral("view");
    if (expected.doubleClick >= 0 && action.value(QLatin1String("doubleClick")).toBool() != (expected.doubleClick == 1))
        wrong << QStringLiteral("doubleClick");
    return wrong.join(QLatin1Char(' '));
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// One connection for the whole run: an X server without clients resets
// itself, and refuses connections while it does, between two tests.
XTestPointer &SharedInput()
{
    static XTestPointer pointer;
    return pointer;
}

class RecordUnderRealInput : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (qEnvironmentVariable("QT_QPA_PLATFORM") != QLatin1String("xcb"))
            GTEST_SKIP() << "needs QT_QPA_PLATFORM=xcb";
        if (!input.available())
            GTEST_SKIP() << "needs an X server with the test extension (run under xvfb-run); DISPLAY=" << qgetenv("DISPLAY").toStdString();
        // Sessions of this run only.
        char pattern[] = "/tmp/vrqt-realinput-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        runtime = pattern;
        previousRuntime = qgetenv("XDG_RUNTIME_DIR");
        qputenv("XDG_RUNTIME_DIR", runtime.toLocal8Bit());
    }
    void TearDown() override
    {
        if (runtime.isEmpty())
            return;
        qputenv("XDG_RUNTIME_DIR", previousRuntime);
        QProcess::execute(QStringLiteral("rm"), { QStringLiteral("-rf"), runtime });
    }

    // Waits until record has taken the session's actions: a program-side
    // change of spin, repeated until its line comes, then spin set back to
    // restore; every line up to the end of that change is read away.
    bool waitUntilRecording(Session &session, LineReader &record, const QString &spin, int restore)
    {
        return waitUntilRecording(record, restore, [&](int value) {
            return session.item({ spin, QStringLiteral("value"), QStringLiteral("set"), QString::number(value) });
        });
    }
    // The same with set, which gives some widget's value a program-side
    // change that the recording reports with value.
    bool waitUntilRecording(LineReader &record, int restore, const std::function<bool(int value)> &set)
    {
        for (int attempt = 0; attempt < 100; ++attempt) {
            if (!set(restore + 1 + attempt % 2))
                return false;
            Line line;
            if (record.next(&line, 300ms))
                break;
        }
        if (!set(restore))
            return false;
        Line line;
        while (record.next(&line, 10s)) {
            const QJsonObject action = QJsonDocument::fromJson(QByteArray::fromStdString(line.text)).object();
            if (action.value(QLatin1String("value")).toDouble() != restore)
                continue;
            // The rest of what the change set off, if it travels on.
            while (record.next(&line, 500ms)) {
            }
            return true;
        }
        return false;
    }

    // Runs the steps, checks each line, and prints the latencies.
    void play(LineReader &record, std::vector<Step> &steps)
    {
        std::vector<double> latencies;
        for (Step &step : steps) {
            std::vector<Clock::time_point> inputs;
            ASSERT_TRUE(step.input(inputs)) << step.what << ": found nothing to act on";
            for (const Expected &expected : step.lines) {
                Line line;
                ASSERT_TRUE(record.next(&line, 10s))
                    << step.what << ": no line for " << expected.event.toStdString() << " of " << expected.objectEnd.toStdString();
                const QJsonObject action = QJsonDocument::fromJson(QByteArray::fromStdString(line.text)).object();
                const QString wrong = mismatch(expected, action);
                EXPECT_TRUE(wrong.isEmpty()) << step.what << ": expected " << expected.event.toStdString() << " of "
                                             << expected.objectEnd.toStdString() << ", wrong " << wrong.toStdString() << " in\n"
                                             << line.text;
                if (qEnvironmentVariableIsSet("VRQT_SHOW_LINES"))
                    std::printf("%s\n", line.text.c_str());
                const double latency = std::chrono::duration<double, std::milli>(line.arrived - inputs.at(std::size_t(expected.input))).count();
                latencies.push_back(latency);
                std::printf("  %-34s %-22s %7.2f ms\n", step.what.c_str(), expected.event.toUtf8().constData(), latency);
            }
        }
        // Exactly these lines: nothing more follows.
        Line extra;
        EXPECT_FALSE(record.next(&extra, 1000ms)) << "a line no input asked for:\n" << extra.text;
        std::printf("latency from input to line over %zu lines: median %.2f ms, max %.2f ms\n", latencies.size(), median(latencies),
                    latencies.empty() ? 0.0 : *std::max_element(latencies.begin(), latencies.end()));
        std::fflush(stdout);
    }

    // An input step: found points, then clicks or keys with stamps.
    std::function<bool(std::vector<Clock::time_point> &)> clickAt(std::function<QPoint()> where, int clicks = 1)
    {
        return [this, where, clicks](std::vector<Clock::time_point> &inputs) {
            const QPoint point = where();
            if (point.isNull())
                return false;
            for (int click = 0; click < clicks; ++click) {
                inputs.push_back(Clock::now());
                input.click(point);
            }
            return true;
        };
    }
    std::function<bool(std::vector<Clock::time_point> &)> keys(std::vector<unsigned long> keysyms)
    {
        return [this, keysyms](std::vector<Clock::time_point> &inputs) {
            for (unsigned long keysym : keysyms) {
                inputs.push_back(Clock::now());
                if (!input.key(keysym))
                    return false;
                // One key's lines before the next key, so that each line
                // is stamped from its own key.
                std::this_thread::sleep_for(150ms);
            }
            return true;
        };
    }

    XTestPointer &input = SharedInput();
    QString runtime;
    QByteArray previousRuntime;
};

} // namespace

TEST_F(RecordUnderRealInput, GalleryClicksKeysAndWheelComeOutAsExpectedLinesInOrder)
{
    Session gallery(QStringLiteral("realinput-gallery"), { QStringLiteral(VRQT_TEST_GALLERY) });
    ASSERT_TRUE(gallery.started()) << gallery.startError().toStdString();
    LineReader record({ QStringLiteral("record"), QStringLiteral("--json"), QStringLiteral("--session"), gallery.name() });
    ASSERT_TRUE(record.running());
    ASSERT_TRUE(waitUntilRecording(gallery, record, QStringLiteral("quantitySpin"), 3)) << "vrqt record never reported";

    const QString list = QStringLiteral("itemList"), table = QStringLiteral("itemTable"), tree = QStringLiteral("itemTree");
    Session *session = &gallery;
    std::vector<Step> steps{
        { "click list row Cherry", clickAt([=] { return session->itemPoint(list, QStringLiteral("Cherry")); }),
          { { list, QStringLiteral("listItemClicked"), QStringLiteral("Cherry"), QStringLiteral("Cherry") } } },
        { "click table cell 2|Price (Notebook)", clickAt([=] { return session->itemPoint(table, QStringLiteral("2|Price")); }),
          { { table, QStringLiteral("tableCellClicked"), QStringLiteral("2|Price"), QJsonValue::Undefined, 0 } } },
        { "double click table cell 3|Price (Eraser)", clickAt([=] { return session->itemPoint(table, QStringLiteral("3|Price")); }, 2),
          // The item views' double click is connected by a signature that
          // does not exist ("dobuleClicked"), so a table reports the first
          // click only; Qt emits no click for the second press.
          { { table, QStringLiteral("tableCellClicked"), QStringLiteral("3|Price"), QJsonValue::Undefined, 0, 0 } } },
        { "double click tree item Archive", clickAt([=] { return session->itemPoint(tree, QStringLiteral("Archive")); }, 2),
          { { tree, QStringLiteral("treeItemClicked"), QStringLiteral("Archive"), QStringLiteral("Archive"), 0, 0 },
            { tree, QStringLiteral("treeItemClicked"), QStringLiteral("Archive"), QStringLiteral("Archive"), 1, 1 },
            { tree, QStringLiteral("treeItemExpanded"), QStringLiteral("Archive"), QStringLiteral("Archive"), -1, 1 } } },
        { "click tab Controls", clickAt([=] { return session->itemPoint(QStringLiteral("pages"), QStringLiteral("Controls")); }),
          { { QStringLiteral("pages"), QStringLiteral("tabSelected"), QStringLiteral("Controls") } } },
        { "click check box Gift wrap", clickAt([=] { return session->widgetPoint(QStringLiteral("giftCheck")); }),
          { { QStringLiteral("giftCheck"), QStringLiteral("checkStateChanged"), QString(), 1 } } },
        { "click combo box Size", clickAt([=] { return session->widgetPoint(QStringLiteral("sizeCombo")); }),
          { { QStringLiteral("sizeCombo"), QStringLiteral("comboPopupOpening") } } },
        { "click combo entry Large", clickAt([=] { return session->itemPoint(QStringLiteral("sizeCombo"), QStringLiteral("Large")); }),
          // Closing is reported for a press on the combo box itself while
          // its popup is up; a choice in the popup is only the activation.
          { { QStringLiteral("sizeCombo"), QStringLiteral("comboItemActivated"), QStringLiteral("Large"), QStringLiteral("Large") } } },
        { "wheel up over price spin box",
          [=](std::vector<Clock::time_point> &inputs) {
              const QPoint point = session->widgetPoint(QStringLiteral("priceSpin"), { 0.3, 0.5 });
              if (point.isNull())
                  return false;
              inputs.push_back(Clock::now());
              input.wheel(point, 1);
              return true;
          },
          { { QStringLiteral("priceSpin"), QStringLiteral("editorValueChanged"), QString(), 20.99 } } },
        { "click quantity spin box text", clickAt([=] { return session->widgetPoint(QStringLiteral("quantitySpin"), { 0.3, 0.5 }); }), {} },
        { "key Up in quantity spin box", keys({ XK_Up }),
          { { QStringLiteral("quantitySpin"), QStringLiteral("editorValueChanged"), QString(), 4 } } },
        { "click volume slider groove", clickAt([=] { return session->widgetPoint(QStringLiteral("volumeSlider"), { 0.97, 0.3 }); }),
          { { QStringLiteral("volumeSlider"), QStringLiteral("sliderValueChanged"), QString(), 50 } } },
        { "keys Right, End on volume slider", keys({ XK_Right, XK_End }),
          { { QStringLiteral("volumeSlider"), QStringLiteral("sliderValueChanged"), QString(), 51, -1, 0 },
            { QStringLiteral("volumeSlider"), QStringLiteral("sliderValueChanged"), QString(), 100, -1, 1 } } },
    };
    play(record, steps);
    EXPECT_EQ(record.interrupt(), 130);
}

// A program that ships with Qt in Debian and that nobody here wrote: Qt's
// sliders example, which names none of its widgets. A click on its check
// box and one on its horizontal scroll bar's arrow come out as lines; the
// arrow's step travels through the example's own connections to every
// slider, scroll bar and dial, and to its value spin box, each of which
// reports the new value.
TEST_F(RecordUnderRealInput, QtSlidersExampleReportsTheUsersClicks)
{
    const QString program = QStringLiteral(VRQT_TEST_SLIDERS);
    if (!QFileInfo::exists(program))
        GTEST_SKIP() << "Qt's sliders example is not installed for this Qt (Debian ships it for Qt 5 only, in qtbase5-examples): "
                     << program.toStdString();
    Session sliders(QStringLiteral("realinput-sliders"), { program });
    ASSERT_TRUE(sliders.started()) << sliders.startError().toStdString();
    LineReader record({ QStringLiteral("record"), QStringLiteral("--json"), QStringLiteral("--session"), sliders.name() });
    ASSERT_TRUE(record.running());
    // The example's value spin box is its third; it starts at 5.
    ASSERT_TRUE(waitUntilRecording(sliders, record, QStringLiteral("QSpinBox[3]"), 5)) << "vrqt record never reported";

    Session *session = &sliders;
    QString checkPath, barPath;
    std::vector<Step> steps{
        { "click check box Inverted appearance", clickAt([=, &checkPath] {
              return session->widgetPoint(
                  [](const QJsonObject &node) {
                      return node.value(QLatin1String("className")).toString() == QLatin1String("QCheckBox")
                          && node.value(QLatin1String("qtText")).toString() == QLatin1String("Inverted appearance");
                  },
                  { 0.5, 0.5 }, &checkPath);
          }),
          { { QStringLiteral("QGroupBox[1]/QCheckBox[1]"), QStringLiteral("checkStateChanged"), QString(), 1 } } },
        { "click right arrow of horizontal scroll bar", clickAt([=, &barPath] {
              return session->widgetPoint(
                  [](const QJsonObject &node) {
                      return node.value(QLatin1String("className")).toString() == QLatin1String("QScrollBar")
                          && node.value(QLatin1String("visible")).toBool() && node.value(QLatin1String("width")).toInt() > node.value(QLatin1String("height")).toInt();
                  },
                  { 0.98, 0.5 }, &barPath);
          }),
          // In Qt's order: each report comes after the example's own slots
          // connected before it, so the innermost change comes first. The
          // shown group is the horizontal one, SlidersGroup[2].
          { { QStringLiteral("SlidersGroup[2]/QSlider[1]"), QStringLiteral("sliderValueChanged"), QString(), 6 },
            { QStringLiteral("QGroupBox[1]/QSpinBox[3]"), QStringLiteral("editorValueChanged"), QString(), 6 },
            { QStringLiteral("SlidersGroup[1]/QDial[1]"), QStringLiteral("sliderValueChanged"), QString(), 6 },
            { QStringLiteral("SlidersGroup[1]/QScrollBar[1]"), QStringLiteral("sliderValueChanged"), QString(), 6 },
            { QStringLiteral("SlidersGroup[1]/QSlider[1]"), QStringLiteral("sliderValueChanged"), QString(), 6 },
            { QStringLiteral("SlidersGroup[2]/QDial[1]"), QStringLiteral("sliderValueChanged"), QString(), 6 },
            { QStringLiteral("SlidersGroup[2]/QScrollBar[1]"), QStringLiteral("sliderValueChanged"), QString(), 6 } } },
    };
    play(record, steps);
    (void)barPath;
    EXPECT_EQ(record.interrupt(), 130);
}

// Qt's dirview example: a QTreeView over a file system model, so no item
// view of a recorded kind; its scroll bars are. A wheel turn over the view
// comes out as the vertical scroll bar's new value, with the view it
// scrolls.
TEST_F(RecordUnderRealInput, QtDirViewExampleReportsAWheelTurnAsItsScrollBar)
{
    const QString program = QStringLiteral(VRQT_TEST_DIRVIEW);
    if (!QFileInfo::exists(program))
        GTEST_SKIP() << "Qt's dirview example is not installed for this Qt (Debian ships it for Qt 5 only, in qtbase5-examples): "
                     << program.toStdString();
    // A folder of many entries, so that the view scrolls.
    Session dirview(QStringLiteral("realinput-dirview"), { program, QStringLiteral("/usr/include") });
    ASSERT_TRUE(dirview.started()) << dirview.startError().toStdString();
    QString barPath;
    const auto verticalBar = [&barPath](const QJsonObject &node) {
        if (node.value(QLatin1String("className")).toString() != QLatin1String("QScrollBar")
            || node.value(QLatin1String("height")).toInt() <= node.value(QLatin1String("width")).toInt())
            return false;
        barPath = node.value(QLatin1String("path")).toString();
        return true;
    };
    dirview.widgetPoint(verticalBar, { 0.5, 0.5 }, nullptr);
    ASSERT_FALSE(barPath.isEmpty());
    // The model reads the folder on a thread of its own: the bar has a
    // range once the rows are in.
    const auto setBar = [&](int value) {
        return runVrqt({ QStringLiteral("set"), QStringLiteral("--session"), dirview.name(), barPath, QStringLiteral("value"),
                         QString::number(value) })
                   .status
            == 0;
    };
    LineReader record({ QStringLiteral("record"), QStringLiteral("--json"), QStringLiteral("--session"), dirview.name() });
    ASSERT_TRUE(record.running());
    ASSERT_TRUE(waitUntilRecording(record, 0, setBar)) << "vrqt record never reported";

    Session *session = &dirview;
    std::vector<Step> steps{
        { "wheel down over the view",
          [=](std::vector<Clock::time_point> &inputs) {
              const QPoint point = session->widgetPoint(
                  [](const QJsonObject &node) { return node.value(QLatin1String("className")).toString() == QLatin1String("QTreeView"); },
                  { 0.5, 0.5 }, nullptr);
              if (point.isNull())
                  return false;
              inputs.push_back(Clock::now());
              input.wheel(point, -1);
              return true;
          },
          { { barPath.mid(barPath.lastIndexOf(QLatin1String("/QTreeView")) + 1), QStringLiteral("sliderValueChanged") } } },
    };
    steps.back().lines.back().viewEnd = QStringLiteral("QTreeView[1]");
    play(record, steps);
    EXPECT_EQ(record.interrupt(), 130);
}
