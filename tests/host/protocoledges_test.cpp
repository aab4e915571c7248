// The protocol's edges: JSON that Qt's reader takes but JSON forbids, ids a
// double cannot hold, and lines at the length limit. The agent reads every
// line through these.
#include <gtest/gtest.h>

#include "host/protocol/linebuffer.h"
#include "host/protocol/message.h"
#include "host/protocol/protocol.h"

using namespace vrqt::protocol;

namespace {

std::string request(const std::string &id, const std::string &extra = "")
{
    return "{\"id\":" + id + ",\"request\":\"hello\"" + extra + "}";
}

} // namespace

TEST(ProtocolEdges, OnlyJsonBecomesARequest)
{
    struct Row {
        const char *name;
        std::string line;
        const char *code; // null: accepted
    } rows[] = {
        { "an escape JSON lacks", request("1", ",\"params\":{\"a\":\"\\x41\"}"), error::kParse },
        { "a raw tab in a string", request("1", ",\"params\":{\"a\":\"x\ty\"}"), error::kParse },
        { "a raw escape character", request("1", ",\"params\":{\"a\":\"\x1b[2J\"}"), error::kParse },
        { "a fraction without a leading digit", request("1", ",\"params\":{\"a\":.5}"), error::kParse },
        { "a point without digits after it", request("1", ",\"params\":{\"a\":1.}"), error::kParse },
        { "a leading zero", request("1", ",\"params\":{\"a\":01}"), error::kParse },
        { "a byte order mark", "\xEF\xBB\xBF" + request("1"), error::kParse },
        { "text after the object", request("1") + " x", error::kParse },
        { "nested beyond the limit", request("1", ",\"params\":{\"a\":" + std::string(2000, '[') + std::string(2000, ']') + "}"),
          error::kParse },
        { "a member named twice", "{\"id\":1,\"id\":2,\"request\":\"hello\"}", error::kParse },
        { "every escape JSON has", request("1", ",\"params\":{\"a\":\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u00e9\\ud83d\\ude00\"}"), nullptr },
        { "white space JSON allows", " \t\r\n" + request("1") + "\n ", nullptr },
        { "an exponent inside params", request("1", ",\"params\":{\"a\":-1.5e+3}"), nullptr },
        { "an escaped member name", "{\"\\u0069d\":1,\"request\":\"hello\"}", nullptr },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        Request parsed;
        Error error;
        EXPECT_EQ(parseRequest(row.line, &parsed, &error), row.code == nullptr) << error.message.toStdString();
        if (row.code) {
            EXPECT_EQ(error.code, QLatin1String(row.code));
            EXPECT_TRUE(error.message.contains(QStringLiteral("at offset"))) << error.message.toStdString();
        }
    }
}

TEST(ProtocolEdges, AnIdIsAStringOrAnIntegerADoubleHoldsExactly)
{
    struct Row {
        const char *id;
        bool accepted;
    } rows[] = {
        { "9007199254740992", true }, { "-9007199254740992", true }, { "\"9007199254740993\"", true }, { "9007199254740993", false },
        { "-9007199254740993", false }, { "90071992547409920", false }, { "1.0", false }, { "1e2", false },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.id);
        Request parsed;
        Error error;
        EXPECT_EQ(parseRequest(request(row.id), &parsed, &error), row.accepted);
        if (!row.accepted) {
            EXPECT_EQ(error.code, QLatin1String(error::kInvalidRequest));
            EXPECT_TRUE(parsed.id.isNull()) << "a refused id is not echoed";
        }
    }
}

TEST(ProtocolEdges, ALineOfExactlyTheLimitMayEndInReturnAndNewline)
{
    constexpr std::size_t limit = 16;
    const std::string full(limit, 'x');
    struct Row {
        const char *name;
        std::vector<std::string> chunks;
        bool accepted;
    } rows[] = {
        { "the limit and \\n", { full + "\n" }, true },
        { "the limit and \\r\\n", { full + "\r\n" }, true },
        { "the limit and \\r\\n in two chunks", { full + "\r", "\n" }, true },
        { "the limit and \\r\\n byte by byte", { full, "\r", "\n" }, true },
        { "one more and \\n", { full + "y\n" }, false },
        { "one more and \\r\\n", { full + "y\r\n" }, false },
        { "the limit, \\r and more", { full + "\r", "y\n" }, false },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        LineBuffer buffer(limit);
        std::optional<std::string> line;
        for (const std::string &chunk : row.chunks) {
            buffer.append(chunk.data(), chunk.size());
            if (!line)
                line = buffer.takeLine();
        }
        EXPECT_EQ(line.has_value(), row.accepted);
        EXPECT_EQ(buffer.overflowed(), !row.accepted);
        if (line) {
            EXPECT_EQ(*line, full);
        }
    }
}
