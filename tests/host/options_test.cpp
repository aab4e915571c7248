// The command lines of vrqt's commands.
#include <gtest/gtest.h>

#include "host/cli/agentlibrary.h"
#include "host/cli/options.h"

using namespace vrqt::cli;
using namespace std::chrono_literals;

TEST(TreeOptions, ReadsOptionsAndTheProgram)
{
    struct Row {
        const char *name;
        std::vector<std::string> arguments;
        bool valid;
        bool json;
        std::chrono::milliseconds timeout;
        std::vector<std::string> program;
    } rows[] = {
        { "program only", { "--", "prog" }, true, false, 30s, { "prog" } },
        { "without the separator", { "prog", "-x" }, true, false, 30s, { "prog", "-x" } },
        { "json", { "--json", "--", "prog" }, true, true, 30s, { "prog" } },
        { "timeout as a separate word", { "--timeout", "5", "--", "prog" }, true, false, 5s, { "prog" } },
        { "timeout with equals", { "--timeout=2.5", "--", "prog" }, true, false, 2500ms, { "prog" } },
        { "tiny timeout rounds up", { "--timeout", "0.0001", "--", "prog" }, true, false, 1ms, { "prog" } },
        { "options after the separator belong to the program", { "--", "prog", "--json" }, true, false, 30s, { "prog", "--json" } },
        { "no program", { "--json" }, false, false, 30s, {} },
        { "nothing after the separator", { "--" }, false, false, 30s, {} },
        { "empty program name", { "--", "" }, false, false, 30s, {} },
        { "unknown option", { "--deep", "--", "prog" }, false, false, 30s, {} },
        { "timeout without value", { "--timeout" }, false, false, 30s, {} },
        { "timeout zero", { "--timeout", "0", "--", "prog" }, false, false, 30s, {} },
        { "timeout negative", { "--timeout", "-1", "--", "prog" }, false, false, 30s, {} },
        { "timeout not a number", { "--timeout", "soon", "--", "prog" }, false, false, 30s, {} },
        { "timeout with trailing text", { "--timeout", "5s", "--", "prog" }, false, false, 30s, {} },
        { "timeout beyond a day", { "--timeout", "86401", "--", "prog" }, false, false, 30s, {} },
        { "timeout of a day", { "--timeout", "86400", "--", "prog" }, true, false, 86400s, { "prog" } },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        CommandOptions options;
        std::string error;
        EXPECT_EQ(parseCommandLine("tree", row.arguments, &options, &error), row.valid) << error;
        if (!row.valid) {
            EXPECT_FALSE(error.empty());
            continue;
        }
        EXPECT_EQ(options.json, row.json);
        EXPECT_EQ(options.timeout, row.timeout);
        EXPECT_EQ(options.program, row.program);
    }
}

TEST(TreeOptions, HelpNeedsNoProgram)
{
    CommandOptions options;
    std::string error;
    ASSERT_TRUE(parseCommandLine("tree", { "--help" }, &options, &error)) << error;
    EXPECT_TRUE(options.help);
    EXPECT_NE(usage().find("vrqt tree"), std::string::npos);
}

TEST(AgentLibrary, PreloadPutsTheAgentBeforeWhatWasPreloaded)
{
    auto endsWith = [](const std::string &text, const std::string &end) {
        return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
    };
    EXPECT_TRUE(endsWith(preloadWithAgent("/lib/libvrqthost.so", nullptr), "/lib/libvrqthost.so"));
    EXPECT_TRUE(endsWith(preloadWithAgent("/lib/libvrqthost.so", ""), "/lib/libvrqthost.so"));
    EXPECT_TRUE(endsWith(preloadWithAgent("/lib/libvrqthost.so", "/opt/other.so"), "/lib/libvrqthost.so:/opt/other.so"));
}
