// The protocol's edges against the agent inside a real program: lines that
// are no JSON, ids at the edge of a double, and a request of exactly the
// longest line followed by "\r\n".
#include <gtest/gtest.h>

#include "agentharness.h"
#include "host/protocol/protocol.h"

using namespace std::chrono_literals;
using vrqt::protocol::Deadline;
using vrqt::testing::AgentHarness;
using vrqt::testing::targetPath;
namespace error = vrqt::protocol::error;

namespace {

vrqt::protocol::Response answer(AgentHarness &harness, const std::string &line)
{
    vrqt::protocol::Response response;
    QString reason;
    EXPECT_TRUE(harness.sendLine(line));
    const std::optional<std::string> received = harness.nextLine(60s);
    EXPECT_TRUE(received && vrqt::protocol::parseResponse(*received, &response, &reason)) << reason.toStdString();
    return response;
}

} // namespace

TEST(AgentEdges, RefusesWhatIsNoJsonAndEchoesExactIds)
{
    AgentHarness harness;
    std::string failure;
    ASSERT_TRUE(harness.start({ targetPath("hostwindow") }, { "VRQT_MODULE=/nonexistent/libvrqtproxy.so" }, &failure)) << failure;
    struct Row {
        const char *name;
        std::string line;
        const char *code; // null: answered
        QJsonValue id;
    } rows[] = {
        { "\\x41 in a string", "{\"id\":1,\"request\":\"hello\",\"params\":{\"a\":\"\\x41\"}}\n", error::kParse, QJsonValue() },
        { "a raw control character", "{\"id\":2,\"request\":\"hel\x01lo\"}\n", error::kParse, QJsonValue() },
        { "the largest exact id", "{\"id\":9007199254740992,\"request\":\"hello\"}\n", nullptr, 9007199254740992.0 },
        { "an id a double rounds", "{\"id\":9007199254740993,\"request\":\"hello\"}\n", error::kInvalidRequest, QJsonValue() },
        { "a long unknown request", "{\"id\":5,\"request\":\"" + std::string(100000, 'q') + "\"}\n", error::kUnknownRequest, 5 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const vrqt::protocol::Response response = answer(harness, row.line);
        EXPECT_EQ(response.ok, row.code == nullptr);
        if (row.code) {
            EXPECT_EQ(response.error.code, QLatin1String(row.code));
            EXPECT_LT(response.error.message.size(), 1100) << "a message quotes at most an excerpt";
        }
        EXPECT_EQ(response.id, row.id);
    }

    // Exactly the longest line, then "\r\n": a request like any other.
    const std::string head = "{\"id\":7,\"request\":\"hello\",\"params\":{\"padding\":\"";
    const std::string tail = "\"}}";
    std::string longest = head + std::string(vrqt::protocol::kMaximumLineLength - head.size() - tail.size(), ' ') + tail;
    ASSERT_EQ(longest.size(), vrqt::protocol::kMaximumLineLength);
    const vrqt::protocol::Response response = answer(harness, longest + "\r\n");
    EXPECT_TRUE(response.ok) << response.error.code.toStdString() << ": " << response.error.message.toStdString();
    EXPECT_EQ(response.id, QJsonValue(7));

    ASSERT_TRUE(harness.call(8, QStringLiteral("quit")));
    ASSERT_TRUE(harness.program().waitUntil(Deadline::after(30s)));
    EXPECT_TRUE(harness.program().status().clean()) << harness.program().status().describe();
}
