// The record request on the gallery: other clients' requests drive the
// widgets as a user would, and every recording client receives each action
// once, in order, with a path and key that lead back to the same object.
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTreeWidget>

#include <cstdlib>
#include <thread>
#include <unistd.h>

#include "../qt_support.h"
#include "agentharness.h"
#include "host/agent/eventsink.h"
#include "host/agent/guiexecutor.h"
#include "host/agent/moduleview.h"
#include "host/agent/recorder.h"
#include "host/scripting/threaddelivery.h"
#include "platform/oleauto.h"
#include "host/cli/recordcommand.h"
#include "host/protocol/protocol.h"

using namespace std::chrono_literals;
using namespace vrqt;
using namespace vrqt::testing;

// Some tests run the recorder in this process, inside a QApplication.
QTTEST_LEAK_SUPPRESSIONS

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

// A second client of the program's session, line by line.
class Client
{
public:
    explicit Client(const std::string &socket)
    {
        std::string error;
        const int descriptor = protocol::connectToListener(socket, &error);
        if (descriptor >= 0)
            channel = std::make_unique<protocol::Channel>(descriptor);
    }
    bool connected() const { return channel != nullptr; }
    // Sends a request and returns its result; null when refused.
    QJsonValue call(const QString &name, const QJsonObject &params = {})
    {
        if (!channel || channel->send(protocol::encodeRequest(nextId++, name, params), protocol::Deadline::after(30s)) != protocol::Channel::Status::Ok)
            return QJsonValue();
        std::string line;
        protocol::Response response;
        QString reason;
        if (channel->receive(&line, protocol::Deadline::after(30s)) != protocol::Channel::Status::Ok
            || !protocol::parseResponse(line, &response, &reason) || !response.ok)
            return QJsonValue();
        return response.result;
    }
    // The next action on a recording connection; empty when none came.
    QJsonObject nextAction(std::chrono::milliseconds limit = 10s)
    {
        std::string line;
        if (!channel || channel->receive(&line, protocol::Deadline::after(limit)) != protocol::Channel::Status::Ok)
            return {};
        return QJsonDocument::fromJson(QByteArray::fromStdString(line)).object().value(str("action")).toObject();
    }
    void close() { channel.reset(); }

private:
    std::unique_ptr<protocol::Channel> channel;
    int nextId = 1;
};

class RecordTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/vrqt-record-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        folder = pattern;
        socket = folder + "/agent.sock";
        std::string error;
        ASSERT_TRUE(harness.start({ VRQT_TEST_GALLERY }, { std::string(protocol::kSessionSocketVariable) + "=" + socket }, &error)) << error;
        for (int attempt = 0; attempt < 300; ++attempt) {
            const auto status = harness.call(attempt, str("status"));
            if (status && status->ok && status->result.toObject().value(str("mainWidgetShown")).toBool())
                return;
            std::this_thread::sleep_for(100ms);
        }
        FAIL() << "the gallery showed no main widget";
    }
    void TearDown() override
    {
        harness.call(-1, str("quit"));
        harness.program().waitUntil(protocol::Deadline::after(10s));
        ::unlink(socket.c_str());
        ::rmdir(folder.c_str());
    }

    // Drives the program through the harness's connection.
    void drive(const char *request, const QJsonObject &params)
    {
        const auto response = harness.call(request, str(request), params);
        ASSERT_TRUE(response && response->ok) << request << " " << (response ? response->error.message.toStdString() : "no answer");
    }

    AgentHarness harness;
    std::string folder;
    std::string socket;
};

QJsonObject object(std::initializer_list<QPair<QString, QJsonValue>> members)
{
    QJsonObject result;
    for (const auto &member : members)
        result.insert(member.first, member.second);
    return result;
}

} // namespace

TEST_F(RecordTest, EveryRecordingClientGetsEachActionInOrderWithPathsThatResolve)
{
    Client first(socket), second(socket);
    ASSERT_TRUE(first.connected() && second.connected());
    const QJsonObject started = first.call(str("record")).toObject();
    EXPECT_TRUE(started.value(str("recording")).toBool());
    EXPECT_GT(started.value(str("subscribed")).toInt(), 20) << "every widget of a recorded kind, hidden pages too";
    EXPECT_EQ(second.call(str("record")).toObject().value(str("clients")).toInt(), 2);

    // Three clicks walk the tri-state check box through all three states.
    for (int click = 0; click < 3; ++click)
        drive("call", object({ { str("object"), str("notifyCheck") }, { str("method"), str("click") } }));
    drive("item", object({ { str("object"), str("quantitySpin") }, { str("key"), str("value") }, { str("action"), str("set") }, { str("value"), str("12") } }));
    drive("set", object({ { str("object"), str("volumeSlider") }, { str("member"), str("value") }, { str("value"), 30 } }));
    drive("item", object({ { str("object"), str("itemTree") }, { str("key"), str("Archive|2023") }, { str("action"), str("expand") } }));
    drive("call", object({ { str("object"), str("pinToolButton") }, { str("method"), str("click") } }));

    struct Expected {
        const char *event;
        const char *member;
    } expected[] = { { "checkStateChanged", "state" }, { "checkStateChanged", "state" }, { "checkStateChanged", "state" },
                     { "editorValueChanged", "value" }, { "sliderValueChanged", "value" }, { "treeItemExpanded", "key" },
                     { "toolButtonToggled", "value" } };
    std::vector<QJsonObject> seen;
    for (const Expected &row : expected) {
        const QJsonObject action = first.nextAction();
        SCOPED_TRACE(QJsonDocument(action).toJson().toStdString());
        EXPECT_EQ(action.value(str("event")).toString(), str(row.event));
        EXPECT_TRUE(action.contains(str(row.member)));
        EXPECT_TRUE(action.value(str("object")).toString().startsWith(str("/galleryWindow/")));
        EXPECT_EQ(second.nextAction(), action) << "both clients get the same line";
        seen.push_back(action);
    }
    QStringList states;
    for (int at = 0; at < 3; ++at)
        states << seen[at].value(str("state")).toString();
    states.sort();
    EXPECT_EQ(states, (QStringList{ str("checked"), str("partial"), str("unchecked") }));
    EXPECT_EQ(seen[3].value(str("value")).toInt(), 12);
    EXPECT_EQ(seen[4].value(str("value")).toInt(), 30);
    EXPECT_EQ(seen[4].value(str("kind")).toString(), str("slider"));
    EXPECT_EQ(seen[5].value(str("key")).toString(), str("Archive|2023"));
    EXPECT_TRUE(seen[6].value(str("value")).toBool());

    // The printed path and key act on the same item again.
    const QJsonObject again = harness.call(1, str("item"), object({ { str("object"), seen[5].value(str("object")) }, { str("key"), seen[5].value(str("key")) },
                                                                     { str("action"), str("collapse") } }))->result.toObject();
    EXPECT_FALSE(again.value(str("expanded")).toBool(true));
    EXPECT_EQ(first.nextAction().value(str("event")).toString(), str("treeItemCollapsed"));
    EXPECT_EQ(second.nextAction().value(str("event")).toString(), str("treeItemCollapsed"));
    const auto name = harness.call(2, str("get"), object({ { str("object"), seen[6].value(str("object")) }, { str("member"), str("objectName") } }));
    ASSERT_TRUE(name && name->ok);
    EXPECT_EQ(name->result.toObject().value(str("value")).toString(), str("pinToolButton"));

    // One client leaving takes nothing from the other; when the last one
    // has left, a new one starts the subscriptions afresh.
    first.close();
    drive("call", object({ { str("object"), str("pinToolButton") }, { str("method"), str("click") } }));
    EXPECT_FALSE(second.nextAction().value(str("value")).toBool(true));
    second.close();
    std::this_thread::sleep_for(500ms);
    Client third(socket);
    EXPECT_GT(third.call(str("record")).toObject().value(str("subscribed")).toInt(), 20);
    drive("set", object({ { str("object"), str("volumeSlider") }, { str("member"), str("value") }, { str("value"), 40 } }));
    EXPECT_EQ(third.nextAction().value(str("value")).toInt(), 40);
}

TEST(RecordText, ActionsReadAsOneLineWithTheKeyAVrqtItemTakes)
{
    const QJsonObject cell{ { str("time"), str("2024-06-14T12:30:00.123") }, { str("object"), str("/w/itemTable") },
                            { str("event"), str("tableCellClicked") }, { str("value"), str("Apple") },
                            { str("key"), str("Apple|Price") }, { str("column"), str("Price") }, { str("doubleClick"), true } };
    EXPECT_EQ(cli::renderActionText(cell), "12:30:00.123 /w/itemTable tableCellClicked key=\"Apple|Price\" column=Price double-click");
    const QJsonObject slider{ { str("time"), str("2024-06-14T12:30:01.000") }, { str("object"), str("/w/a b") },
                              { str("event"), str("sliderValueChanged") }, { str("value"), 7 }, { str("view"), str("/w/list") } };
    EXPECT_EQ(cli::renderActionText(slider), "12:30:01.000 \"/w/a b\" sliderValueChanged value=7 view=/w/list");
    const QJsonObject check{ { str("time"), str("2024-06-14T12:30:02.000") }, { str("object"), str("/w/c") },
                             { str("event"), str("checkStateChanged") }, { str("value"), 2 }, { str("state"), str("partial") } };
    EXPECT_EQ(cli::renderActionText(check), "12:30:02.000 /w/c checkStateChanged state=partial");
}

// The recorder's own process for the tests that run it in place: a
// QApplication kept to the end.
void EnsureApplication()
{
    static int argc = 1;
    static char name[] = "host_record_tests";
    static char *argv[] = { name, nullptr };
    if (!QCoreApplication::instance())
        new QApplication(argc, argv);
}

// A VARIANT as the module reports a key: a text or an index.
struct Reported
{
    explicit Reported(const QString &text)
    {
        V_VT(&value) = VT_BSTR;
        V_BSTR(&value) = SysAllocStringLen(reinterpret_cast<const OLECHAR *>(text.utf16()), UINT(text.size()));
    }
    explicit Reported(int index)
    {
        V_VT(&value) = VT_I4;
        V_I4(&value) = index;
    }
    ~Reported() { VariantClear(&value); }
    VARIANT value;
};

// A tree's events carry the module's path text: the bare key of a top-level
// item (its text, or its index when the text is blank or repeated), or the
// elements joined by "|" with nothing escaped. The line's key must be the
// one `vrqt items` prints and `vrqt item` takes. Before, an index was lost
// (an empty key) and a text holding "|" or a backslash came out unescaped.
TEST(RecordTreeKeys, TreeEventsCarryTheKeyThatItemsPrints)
{
    EnsureApplication();
    QTreeWidget tree;
    auto *plain = new QTreeWidgetItem(&tree, { str("Inbox") });
    new QTreeWidgetItem(&tree, { str("Copy") });
    new QTreeWidgetItem(&tree, { str("Copy") });
    auto *piped = new QTreeWidgetItem(&tree, { str("a|b") });
    new QTreeWidgetItem(piped, { str("x") });
    new QTreeWidgetItem(piped, { str("x") });
    auto *deep = new QTreeWidgetItem(piped, { str("c\\d") });
    new QTreeWidgetItem(deep, { str("[e]") });
    new QTreeWidgetItem(plain, { str("a") });
    auto keyOf = [&](const VARIANT &value) {
        return agent::DescribeAction(&tree, SubscriptionTreeWidget, EventTreeItemExpanded, value, nullptr).value(str("key")).toString().toStdString();
    };
    EXPECT_EQ(keyOf(Reported(str("Inbox")).value), "Inbox");
    EXPECT_EQ(keyOf(Reported(2).value), "[2]") << "the second Copy, by index";
    EXPECT_EQ(keyOf(Reported(str("a|b")).value), "a\\|b");
    EXPECT_EQ(keyOf(Reported(str("a|b|[1]")).value), "a\\|b|[1]");
    EXPECT_EQ(keyOf(Reported(str("a|b|c\\d|[e]")).value), "a\\|b|c\\\\d|\\[e]");
    EXPECT_EQ(keyOf(Reported(str("Inbox|a")).value), "Inbox|a") << "Inbox's own a, not the top-level a|b";
    EXPECT_EQ(keyOf(Reported(str("gone|away")).value), "gone|away") << "a path the tree no longer has stays as it came";

    // A click gives the same key, with its column.
    Reported column(str("Name"));
    ColumnClickRecord record{};
    record.columnKey = column.value;
    record.doubleClick = 1;
    const QJsonObject clicked = agent::DescribeAction(&tree, SubscriptionTreeWidget, EventTreeItemClicked, Reported(str("a|b|[0]")).value, &record);
    EXPECT_EQ(clicked.value(str("key")).toString().toStdString(), "a\\|b|[0]");
    EXPECT_TRUE(clicked.value(str("doubleClick")).toBool());
}

// A recording reply that never takes its connection over leaves no client
// behind: the GUI thread ran the request after the serving thread had
// answered "busy", or the answer could not be sent. Before, such a client
// stayed registered for good, its lines piled up unread and the
// subscriptions never ended.
TEST(RecorderClients, AReplyThatNeverTookTheConnectionOverLeavesNoClient)
{
    EnsureApplication();
    struct InPlace final : scripting::ThreadDelivery
    {
        HRESULT deliver(QObject *, std::function<HRESULT()> work) override { return work(); }
    } delivery;
    agent::GuiExecutor executor;
    agent::ModuleView module(delivery);
    QWidget window;
    new QCheckBox(str("box"), &window);
    window.show();
    {
        agent::Recorder recorder(executor, module);
        {
            const agent::Reply late = recorder.record({});
            ASSERT_TRUE(late.ok) << late.error.message.toStdString();
            ASSERT_TRUE(bool(late.takeOver));
            EXPECT_EQ(late.result.toObject().value(str("clients")).toInt(), 1);
            EXPECT_GE(late.result.toObject().value(str("subscribed")).toInt(), 1);
        }
        // The removal the dropped reply queued.
        QCoreApplication::processEvents();
        const agent::Reply next = recorder.record({});
        ASSERT_TRUE(next.ok);
        EXPECT_EQ(next.result.toObject().value(str("clients")).toInt(), 1) << "the dropped reply's client is gone";
        EXPECT_TRUE(next.result.toObject().contains(str("subscribed"))) << "so this client starts the recording afresh";
    }
    module.unload();
}
