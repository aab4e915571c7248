// Waits, modal loops and a held-up GUI thread, through the agent's protocol
// in a program started with it: conditions checked as the program's events
// arrive, time-outs that say what they saw, a call that opens a modal
// dialog, and answers that still come while the GUI thread is busy.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QJsonDocument>

#include <thread>
#include <QJsonArray>

#include "programtest.h"
#include "host/agent/waits.h"
#include "host/protocol/protocol.h"

using namespace vrqt::testing;
using vrqt::agent::Satisfies;

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

using Waits = ProgramTest;

// Requests sent before the GUI thread runs its event loop are read by the
// agent's own thread, which hands the reading to the GUI thread through
// that loop: a moment for it once the window is up.
void letTheGuiThreadRead()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
}

} // namespace

TEST(WaitConditions, CompareNumbersAsNumbersAndTheRestAsText)
{
    struct Row {
        QJsonValue actual;
        const char *op;
        const char *wanted;
        bool holds;
    } rows[] = {
        { 10, ">=", "9", true },      { 10, "<", "9", false },        { 10, "==", "10.0", true },
        { str("10"), ">", "9", false }, // text: "10" sorts before "9"
        { true, "==", "true", true }, { false, "!=", "true", true },   { str("StrongFocus"), "==", "StrongFocus", true },
        { str("Saved a.txt"), "~", "a.txt", true }, { str("x"), "==", "\"x\"", true }, { QJsonValue(), "==", "null", true },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.op) + " " + row.wanted);
        EXPECT_EQ(Satisfies(row.actual, str(row.op), str(row.wanted)), row.holds);
    }
    bool known = true;
    Satisfies(1, str("=~"), str("1"), &known);
    EXPECT_FALSE(known);
}

TEST_F(Waits, AValueThatChangesOnATimerAndAnObjectThatAppearsLate)
{
    ASSERT_NO_FATAL_FAILURE(start({ targetPath("hostwindow"), "--ticker", "--late-dialog", "700" }));
    QElapsedTimer took;
    took.start();
    const auto ticked = call("wait", { { str("object"), str("ticker") }, { str("member"), str("value") }, { str("operator"), str(">=") },
                                       { str("value"), str("3") }, { str("timeout"), 10000 } });
    ASSERT_TRUE(ticked && ticked->ok) << ticked->error.message.toStdString();
    EXPECT_GE(ticked->result.toObject().value(str("value")).toInt(), 3);
    const auto appeared = call("wait", { { str("object"), str("lateDialog") }, { str("member"), str("visible") }, { str("timeout"), 10000 } });
    ASSERT_TRUE(appeared && appeared->ok) << appeared->error.message.toStdString();
    EXPECT_GE(took.elapsed(), 600) << "the dialog is made 700 ms after start";

    const auto missed = call("wait", { { str("object"), str("ticker") }, { str("member"), str("value") }, { str("operator"), str("<") },
                                       { str("value"), str("0") }, { str("timeout"), 300 } });
    ASSERT_TRUE(missed);
    EXPECT_EQ(missed->error.code, str("timed-out"));
    EXPECT_TRUE(missed->error.message.contains(str("the last value seen was"))) << missed->error.message.toStdString();
    const auto nobody = call("wait", { { str("object"), str("nowhere") }, { str("timeout"), 200 } });
    ASSERT_TRUE(nobody);
    EXPECT_TRUE(nobody->error.message.contains(str("no object \"nowhere\""))) << nobody->error.message.toStdString();
    const auto bad = call("wait", { { str("object"), str("ticker") }, { str("operator"), str(">") }, { str("value"), str("1") } });
    ASSERT_TRUE(bad);
    EXPECT_EQ(bad->error.code, str("invalid-params"));

    // A timer every 100 ms never leaves 250 ms of quiet.
    const auto busy = call("settle", { { str("quiet"), 250 }, { str("timeout"), 1000 } });
    ASSERT_TRUE(busy && busy->ok) << (busy ? busy->error.message.toStdString() : "no answer");
    EXPECT_FALSE(busy->result.toObject().value(str("settled")).toBool());
}

TEST_F(Waits, ACallThatOpensAModalDialogAnswersAndTheDialogStaysReachable)
{
    ASSERT_NO_FATAL_FAILURE(start({ VRQT_TEST_GALLERY }));
    const auto settled = call("settle", { { str("quiet"), 50 }, { str("timeout"), 5000 } });
    ASSERT_TRUE(settled && settled->ok) << (settled ? settled->error.message.toStdString() : "no answer");
    EXPECT_TRUE(settled->result.toObject().value(str("settled")).toBool());
    QElapsedTimer took;
    took.start();
    const auto opened = call("call", { { str("object"), str("actionAbout") }, { str("method"), str("trigger") }, { str("arguments"), QJsonArray() } });
    ASSERT_TRUE(opened && opened->ok) << opened->error.message.toStdString();
    EXPECT_TRUE(opened->result.toObject().value(str("modal")).toBool());
    EXPECT_LT(took.elapsed(), 5000) << "answered while the dialog is open, not after a time-out";
    const auto title = call("get", { { str("object"), str("QMessageBox") }, { str("member"), str("windowTitle") } });
    ASSERT_TRUE(title && title->ok) << title->error.message.toStdString();
    EXPECT_EQ(title->result.toObject().value(str("value")).toString(), str("About vrQt Gallery"));
    const auto closed = call("call", { { str("object"), str("QMessageBox") }, { str("method"), str("accept") }, { str("arguments"), QJsonArray() } });
    ASSERT_TRUE(closed && closed->ok) << closed->error.message.toStdString();
    EXPECT_FALSE(closed->result.toObject().value(str("modal")).toBool());
    // The box deletes itself once closed.
    const auto gone = call("wait", { { str("object"), str("QMessageBox") }, { str("gone"), true }, { str("timeout"), 5000 } });
    ASSERT_TRUE(gone && gone->ok) << (gone ? gone->error.message.toStdString() : "no answer");
    const auto still = call("wait", { { str("object"), str("galleryWindow") }, { str("gone"), true }, { str("timeout"), 50 } });
    ASSERT_TRUE(still);
    EXPECT_EQ(still->error.code, QLatin1String(vrqt::protocol::error::kTimedOut));
    EXPECT_TRUE(still->error.message.contains(str("still there"))) << still->error.message.toStdString();
}

TEST_F(Waits, AHeldUpGuiThreadStillAnswersHelloAndBusyInOrder)
{
    ASSERT_NO_FATAL_FAILURE(start({ targetPath("hostwindow"), "--stall-buttons" }));
    letTheGuiThreadRead();
    const QJsonObject caption{ { str("object"), str("caption") }, { str("member"), str("text") } };
    auto limited = [](QJsonObject params, int limit) {
        params.insert(str("timeout"), limit);
        return params;
    };
    auto click = [&](const char *button, int limit) {
        return call("call", limited({ { str("object"), str(button) }, { str("method"), str("click") }, { str("arguments"), QJsonArray() } }, limit));
    };
    // The GUI thread is held for 3 s, by a request's own work or just after
    // it: "hello" still comes, and work for the GUI thread is "busy" at its
    // limit.
    for (const char *button : { "stallButton", "laterStallButton" }) {
        SCOPED_TRACE(button);
        QElapsedTimer held;
        held.start();
        const auto clicked = click(button, 200);
        ASSERT_TRUE(clicked);
        const bool later = std::string(button) == "laterStallButton";
        EXPECT_EQ(clicked->ok, later) << clicked->error.message.toStdString();
        if (later)
            std::this_thread::sleep_for(std::chrono::milliseconds(100)); // the hold begins
        const auto hello = call("hello");
        ASSERT_TRUE(hello && hello->ok);
        const auto text = call("get", limited(caption, 200));
        ASSERT_TRUE(text);
        EXPECT_EQ(text->error.code, QLatin1String(vrqt::protocol::error::kBusy));
        EXPECT_LT(held.elapsed(), 2800) << "the answers waited for the GUI thread";
        // Free again: no late answer comes between (call checks the ids).
        const auto after = call("get", limited(caption, 10000));
        ASSERT_TRUE(after && after->ok) << (after ? after->error.message.toStdString() : "no answer");
        EXPECT_EQ(after->result.toObject().value(str("value")).toString(), str("Caption"));
        letTheGuiThreadRead();
    }

    // Requests sent together are answered in order.
    const QByteArray get = QJsonDocument(QJsonObject{ { str("request"), str("get") }, { str("params"), caption } }).toJson(QJsonDocument::Compact);
    ASSERT_TRUE(harness.sendLine("{\"id\":100," + get.mid(1).toStdString() + "\n{\"id\":101,\"request\":\"hello\"}\n{\"id\":102," + get.mid(1).toStdString() + "\n"));
    for (int expected = 100; expected <= 102; ++expected) {
        const std::optional<std::string> line = harness.nextLine(std::chrono::seconds(30));
        vrqt::protocol::Response response;
        QString reason;
        ASSERT_TRUE(line && vrqt::protocol::parseResponse(*line, &response, &reason)) << reason.toStdString();
        EXPECT_EQ(response.id, QJsonValue(expected));
        EXPECT_TRUE(response.ok) << response.error.message.toStdString();
    }
}

TEST_F(Waits, AnswersLargerThanTheSocketTakesReachAReaderThatComesLate)
{
    ASSERT_NO_FATAL_FAILURE(start({ VRQT_TEST_GALLERY }));
    letTheGuiThreadRead();
    const std::string tree = "\"request\":\"tree\",\"params\":{\"objects\":true}}\n";
    ASSERT_TRUE(harness.sendLine("{\"id\":1000," + tree + "{\"id\":1001," + tree + "{\"id\":1002," + tree + "{\"id\":1003,\"request\":\"hello\"}\n"));
    // The socket takes a part; the rest waits for this reader.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    std::size_t received = 0;
    for (int expected = 1000; expected <= 1003; ++expected) {
        const std::optional<std::string> line = harness.nextLine(std::chrono::seconds(30));
        ASSERT_TRUE(line);
        received += line->size();
        vrqt::protocol::Response response;
        QString reason;
        ASSERT_TRUE(vrqt::protocol::parseResponse(*line, &response, &reason)) << reason.toStdString();
        EXPECT_EQ(response.id, QJsonValue(expected));
        EXPECT_TRUE(response.ok) << response.error.message.toStdString();
    }
    EXPECT_GT(received, std::size_t(400 * 1024)) << "more than the socket's buffer holds";
}
