// The framing: bytes in, lines out, whatever the chunks.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/protocol/linebuffer.h"

using vrqt::protocol::LineBuffer;

namespace {

std::vector<std::string> feed(LineBuffer &buffer, const std::vector<std::string> &chunks)
{
    std::vector<std::string> lines;
    for (const std::string &chunk : chunks) {
        buffer.append(chunk.data(), chunk.size());
        while (std::optional<std::string> line = buffer.takeLine())
            lines.push_back(*line);
    }
    return lines;
}

} // namespace

TEST(LineBuffer, SplitsChunksIntoLines)
{
    struct Row {
        const char *name;
        std::vector<std::string> chunks;
        std::vector<std::string> lines;
        bool partialLeft;
    } rows[] = {
        { "one line", { "{\"id\":1}\n" }, { "{\"id\":1}" }, false },
        { "a line across three chunks", { "ab", "cd", "ef\n" }, { "abcdef" }, false },
        { "carriage return before the newline", { "a\r\n" }, { "a" }, false },
        { "carriage return inside a line stays", { "a\rb\n" }, { "a\rb" }, false },
        { "a complete line, then a partial one", { "a\nbc" }, { "a" }, true },
        { "newline arrives alone", { "abc", "\n" }, { "abc" }, false },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        LineBuffer buffer;
        EXPECT_EQ(feed(buffer, row.chunks), row.lines);
        EXPECT_EQ(buffer.hasPartialLine(), row.partialLeft);
        EXPECT_FALSE(buffer.overflowed());
    }
}

TEST(LineBuffer, LinesAtTheLimitPassAndLongerOnesOverflow)
{
    struct Row {
        const char *name;
        std::vector<std::string> chunks;
        bool overflowed;
    } rows[] = {
        { "exactly the limit", { "12345678\n" }, false },
        { "one past the limit, terminated", { "123456789\n" }, true },
        { "past the limit across chunks", { "12345", "67890" }, true },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        LineBuffer buffer(8);
        const std::vector<std::string> lines = feed(buffer, row.chunks);
        EXPECT_EQ(buffer.overflowed(), row.overflowed);
        EXPECT_EQ(lines.empty(), row.overflowed);
    }
}

TEST(LineBuffer, TakesNothingAfterAnOverflow)
{
    LineBuffer buffer(4);
    const std::string text = "123456\nok\n";
    buffer.append(text.data(), text.size());
    EXPECT_FALSE(buffer.takeLine());
    EXPECT_TRUE(buffer.overflowed());
    buffer.append("x\n", 2);
    EXPECT_FALSE(buffer.takeLine());
}
