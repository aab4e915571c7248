// The vrqt program from the outside: its command line and how it fails.
#include <gtest/gtest.h>

#include "agentharness.h"
#include "vrqtrun.h"

using namespace std::chrono_literals;
using vrqt::testing::runVrqt;
using vrqt::testing::targetPath;

TEST(Vrqt, ExplainsItsCommandLine)
{
    struct Row {
        const char *name;
        QStringList arguments;
        int exitCode;
        const char *says; // in standard output for help, else in standard error
    } rows[] = {
        { "help", { QStringLiteral("--help") }, 0, "vrqt tree [--json]" },
        { "help of get", { QStringLiteral("get"), QStringLiteral("--help") }, 0, "vrqt get [--json] [--timeout SECONDS] OBJECT MEMBER" },
        { "version", { QStringLiteral("--version") }, 0, "vrqt " },
        { "nothing", {}, 2, "no command given" },
        { "unknown command", { QStringLiteral("list") }, 2, "unknown command \"list\"" },
        { "no program", { QStringLiteral("tree") }, 2, "no program given" },
        { "bad timeout", { QStringLiteral("tree"), QStringLiteral("--timeout"), QStringLiteral("x"), QStringLiteral("--"), QStringLiteral("true") }, 2, "--timeout" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const auto run = runVrqt(row.arguments, 30s);
        ASSERT_TRUE(run.finished);
        EXPECT_EQ(run.exitCode, row.exitCode);
        const std::string &text = row.exitCode == 0 ? run.out : run.err;
        EXPECT_NE(text.find(row.says), std::string::npos) << text;
    }
}

TEST(Vrqt, FailsClearlyWhenTheProgramCannotBeInspected)
{
    struct Row {
        const char *name;
        QStringList arguments;
        const char *says;
    } rows[] = {
        { "missing program", { QStringLiteral("/nonexistent/program") }, "cannot run /nonexistent/program" },
        { "a program that ends at once", { QStringLiteral("true") }, "exited with status 0 before its agent connected" },
        { "a program that is not a Qt program", { QStringLiteral("sleep"), QStringLiteral("60") }, "did not connect in time" },
        { "a Qt program without widgets", { QString::fromStdString(targetPath("coreprogram")) }, "not a Qt Widgets one" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const auto run = runVrqt(QStringList{ QStringLiteral("tree"), QStringLiteral("--timeout"), QStringLiteral("2"), QStringLiteral("--") } + row.arguments, 60s);
        ASSERT_TRUE(run.finished);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_TRUE(run.out.empty()) << run.out;
        EXPECT_NE(run.err.find(row.says), std::string::npos) << run.err;
    }
}

TEST(Vrqt, AModuleThatCannotLoadEndsTheRunAndThePrograms)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VRQT_MODULE"), QStringLiteral("/nonexistent/libvrqtproxy.so"));
    const auto run = runVrqt({ QStringLiteral("tree"), QStringLiteral("--"), QString::fromStdString(targetPath("hostwindow")) }, 60s, environment);
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find("module-unavailable"), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find("did not end"), std::string::npos) << "the program was closed cleanly: " << run.err;
}
