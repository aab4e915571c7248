// The agent inside real programs, spoken to line by line: what it answers,
// what it refuses, and that the program runs on and ends cleanly.
#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>

#include <unistd.h>

#include "agentharness.h"
#include "host/protocol/protocol.h"

using namespace std::chrono_literals;
using vrqt::protocol::Deadline;
using vrqt::testing::AgentHarness;
using vrqt::testing::targetPath;
namespace error = vrqt::protocol::error;

namespace {

// Requests that need no module; the module is pointed at nothing, so that
// these tests show the agent alone.
const std::vector<std::string> kNoModule{ "VRQT_MODULE=/nonexistent/libvrqtproxy.so" };

void start(AgentHarness &harness, const std::vector<std::string> &command = { targetPath("hostwindow") })
{
    std::string failure;
    ASSERT_TRUE(harness.start(command, kNoModule, &failure)) << failure;
}

// Quit ends the program cleanly, and then the conversation.
void quit(AgentHarness &harness, int id)
{
    const auto response = harness.call(id, QStringLiteral("quit"));
    ASSERT_TRUE(response);
    EXPECT_TRUE(response->ok);
    EXPECT_EQ(response->id, QJsonValue(id));
    ASSERT_TRUE(harness.program().waitUntil(Deadline::after(30s))) << "the program did not end after quit";
    EXPECT_TRUE(harness.program().status().clean()) << harness.program().status().describe();
    EXPECT_FALSE(harness.nextLine(30s));
    EXPECT_EQ(harness.lastStatus(), vrqt::protocol::Channel::Status::Closed);
}

// The next line, as a response.
vrqt::protocol::Response nextResponse(AgentHarness &harness)
{
    const std::optional<std::string> line = harness.nextLine(30s);
    vrqt::protocol::Response response;
    QString reason;
    EXPECT_TRUE(line) << vrqt::protocol::describe(harness.lastStatus());
    EXPECT_TRUE(line && vrqt::protocol::parseResponse(*line, &response, &reason)) << reason.toStdString();
    return response;
}

} // namespace

TEST(Agent, HelloNamesTheProcessAndTheRequests)
{
    AgentHarness harness;
    ASSERT_NO_FATAL_FAILURE(start(harness));
    const auto hello = harness.call(1, QStringLiteral("hello"));
    ASSERT_TRUE(hello);
    ASSERT_TRUE(hello->ok);
    const QJsonObject facts = hello->result.toObject();
    EXPECT_EQ(facts.value(QStringLiteral("protocol")).toInt(), vrqt::protocol::kVersion);
    EXPECT_EQ(facts.value(QStringLiteral("pid")).toInt(), harness.program().pid());
    EXPECT_TRUE(facts.value(QStringLiteral("widgets")).toBool());
    EXPECT_EQ(facts.value(QStringLiteral("program")).toString().toStdString(), targetPath("hostwindow"));
    EXPECT_EQ(facts.value(QStringLiteral("module")).toString(), QStringLiteral("/nonexistent/libvrqtproxy.so"));
    quit(harness, 2);
}

TEST(Agent, RefusesMalformedRequestsAndStaysUp)
{
    AgentHarness harness;
    ASSERT_NO_FATAL_FAILURE(start(harness));
    struct Row {
        const char *name;
        std::string line;
        const char *code;
        QJsonValue id;
    } rows[] = {
        { "not JSON", "hello?\n", error::kParse, QJsonValue() },
        { "an array", "[1]\n", error::kInvalidRequest, QJsonValue() },
        { "no request name", "{\"id\":3}\n", error::kInvalidRequest, 3 },
        { "a bad id", "{\"id\":[],\"request\":\"hello\"}\n", error::kInvalidRequest, QJsonValue() },
        { "an unknown request", "{\"id\":\"x\",\"request\":\"dance\"}\n", error::kUnknownRequest, QStringLiteral("x") },
        { "params of the wrong kind", "{\"id\":6,\"request\":\"tree\",\"params\":7}\n", error::kInvalidRequest, 6 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(harness.sendLine(row.line));
        const vrqt::protocol::Response response = nextResponse(harness);
        EXPECT_FALSE(response.ok);
        EXPECT_EQ(response.error.code.toStdString(), row.code);
        EXPECT_FALSE(response.error.message.isEmpty());
        EXPECT_EQ(response.id, row.id);
    }
    EXPECT_FALSE(harness.program().finished()) << "the program runs on";
    // Requests sent together are answered in order.
    ASSERT_TRUE(harness.sendLine("{\"id\":1,\"request\":\"hello\"}\n{\"id\":2,\"request\":\"hello\"}\r\n{\"id\":3,\"request\":\"nope\"}\n"));
    for (int id = 1; id <= 3; ++id) {
        SCOPED_TRACE(id);
        const vrqt::protocol::Response response = nextResponse(harness);
        EXPECT_EQ(response.id, QJsonValue(id));
        EXPECT_EQ(response.ok, id != 3);
    }
    quit(harness, 8);
}

TEST(Agent, ALineBeyondTheLimitEndsTheConversationButNotTheProgram)
{
    AgentHarness harness;
    ASSERT_NO_FATAL_FAILURE(start(harness));
    const std::string chunk(1024 * 1024, ' ');
    bool sent = true;
    for (std::size_t total = 0; sent && total <= vrqt::protocol::kMaximumLineLength; total += chunk.size())
        sent = harness.sendLine(chunk);
    EXPECT_EQ(nextResponse(harness).error.code, QLatin1String(error::kLineTooLong));
    EXPECT_FALSE(harness.nextLine(30s));
    EXPECT_FALSE(harness.program().finished()) << "the program runs on without the agent";
    harness.program().signal(SIGTERM);
    EXPECT_TRUE(harness.program().waitUntil(Deadline::after(30s)));
}

TEST(Agent, TheProgramsOwnChildrenInheritNoAgent)
{
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString file = folder.filePath(QStringLiteral("environment"));
    AgentHarness harness;
    ASSERT_NO_FATAL_FAILURE(start(harness, { targetPath("hostwindow"), "--environment-file", file.toStdString() }));
    // The program writes the file before its event loop runs; "status" is
    // answered from that loop, so the file is complete once it is.
    ASSERT_TRUE(harness.call(1, QStringLiteral("status")));
    QFile written(file);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    const QByteArray text = written.readAll();
    EXPECT_TRUE(text.contains("\nVRQT_AGENT_SOCKET=\n")) << text.toStdString();
    EXPECT_TRUE(text.startsWith("LD_PRELOAD=")) << text.toStdString();
    EXPECT_FALSE(text.contains("libvrqthost")) << text.toStdString();
    quit(harness, 2);
}

TEST(Agent, AQtProgramWithoutWidgetsIsServedButHasNoTree)
{
    AgentHarness harness;
    ASSERT_NO_FATAL_FAILURE(start(harness, { targetPath("coreprogram") }));
    const auto hello = harness.call(1, QStringLiteral("hello"));
    ASSERT_TRUE(hello);
    EXPECT_FALSE(hello->result.toObject().value(QStringLiteral("widgets")).toBool(true));
    const auto status = harness.call(2, QStringLiteral("status"));
    ASSERT_TRUE(status);
    ASSERT_TRUE(status->ok);
    EXPECT_FALSE(status->result.toObject().value(QStringLiteral("mainWidgetShown")).toBool(true));
    const auto tree = harness.call(3, QStringLiteral("tree"));
    ASSERT_TRUE(tree);
    EXPECT_EQ(tree->error.code, QLatin1String(error::kNoWidgets));
    quit(harness, 4);
}
