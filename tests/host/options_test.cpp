// The command lines of vrqt's commands.
#include <gtest/gtest.h>

#include <QJsonDocument>

#include "host/cli/agentlibrary.h"
#include "host/cli/options.h"
#include "host/cli/scriptcommand.h"

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
        { "json", { "--json", "--", "prog" }, true, true, 30s, { "prog" } },
        { "timeout with equals", { "--timeout=2.5", "--", "prog" }, true, false, 2500ms, { "prog" } },
        { "tiny timeout rounds up", { "--timeout", "0.0001", "--", "prog" }, true, false, 1ms, { "prog" } },
        { "options after the separator belong to the program", { "--", "prog", "--json" }, true, false, 30s, { "prog", "--json" } },
        { "no program", { "--json" }, false, false, 30s, {} },
        { "empty program name", { "--", "" }, false, false, 30s, {} },
        { "unknown option", { "--deep", "--", "prog" }, false, false, 30s, {} },
        { "timeout zero", { "--timeout", "0", "--", "prog" }, false, false, 30s, {} },
        { "timeout not a number", { "--timeout", "soon", "--", "prog" }, false, false, 30s, {} },
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

TEST(ScriptOptions, ReadOperandsBeforeTheSeparator)
{
    using Words = std::vector<std::string>;
    struct Row {
        const char *name;
        const char *command;
        Words arguments;
        bool valid;
        Words operands;
        const char *params; // the request's params as compact JSON; for a refusal, what its message says
    } rows[] = {
        { "get", "get", { "--json", "okButton", "text", "--", "prog" }, true, { "okButton", "text" },
          R"({"member":"text","object":"okButton"})" },
        { "set with a value like an option", "set", { "counter", "clickCount", "-5", "--", "prog" }, true,
          { "counter", "clickCount", "-5" }, R"({"member":"clickCount","object":"counter","value":"-5"})" },
        { "call without arguments", "call", { "counter", "reset", "--", "prog" }, true, { "counter", "reset" },
          R"({"arguments":[],"method":"reset","object":"counter"})" },
        { "call with arguments", "call", { "counter", "describe", "\"a b\"", "2", "--", "prog" }, true,
          { "counter", "describe", "\"a b\"", "2" }, R"({"arguments":["\"a b\"","2"],"method":"describe","object":"counter"})" },
        { "describe an object", "describe", { "counter", "--", "prog" }, true, { "counter" }, R"({"object":"counter"})" },
        { "describe through a member", "describe", { "counter", "parent", "--", "prog" }, true, { "counter", "parent" },
          R"({"member":"parent","object":"counter"})" },
        { "get without a member", "get", { "okButton", "--", "prog" }, false, {}, "vrqt get [--json]" },
        { "no separator", "get", { "okButton", "text", "prog" }, false, {}, "\"--\" and the program" },
        { "an unknown option", "get", { "--deep", "okButton", "text", "--", "prog" }, false, {}, "\"--deep\"" },
        { "--gone elsewhere", "get", { "--gone", "okButton", "text", "--", "prog" }, false, {}, "does not go with get" },
        { "an option after the operands", "get", { "okButton", "text", "--session", "s1" }, false, {}, "options go before the operands, and \"--session\"" },
        { "a value like an option", "set", { "edit", "text", "--jsonish", "--", "prog" }, true, { "edit", "text", "--jsonish" },
          R"({"member":"text","object":"edit","value":"--jsonish"})" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        CommandOptions options;
        std::string error;
        ASSERT_EQ(parseCommandLine(row.command, row.arguments, &options, &error), row.valid) << error;
        if (!row.valid) {
            EXPECT_NE(error.find(row.params), std::string::npos) << error;
            continue;
        }
        EXPECT_EQ(options.operands, row.operands);
        EXPECT_EQ(options.program, Words{ "prog" });
        EXPECT_EQ(QJsonDocument(scriptRequestParams(options)).toJson(QJsonDocument::Compact).toStdString(), row.params);
    }
    std::string error;
    CommandOptions options;
    EXPECT_FALSE(parseCommandLine("list", { "--", "prog" }, &options, &error));
    ASSERT_TRUE(parseCommandLine("wait", { "--gone", "aboutBox", "--", "prog" }, &options, &error)) << error;
    EXPECT_TRUE(options.gone);
    ASSERT_TRUE(parseCommandLine("tree", { "--help" }, &options, &error)) << "help needs no program: " << error;
    EXPECT_TRUE(options.help);
    for (const char *command : { "tree", "get", "set", "call", "describe" })
        EXPECT_NE(usage().find(std::string("vrqt ") + command + " "), std::string::npos) << command;
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
