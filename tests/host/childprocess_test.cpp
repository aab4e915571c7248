// Starting, watching and ending the program under inspection.
#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>

#include "host/cli/childprocess.h"

using namespace std::chrono_literals;
using vrqt::cli::ChildProcess;
using vrqt::protocol::Deadline;

TEST(ChildProcess, ReportsHowTheProgramEnded)
{
    struct Row {
        const char *name;
        std::vector<std::string> command;
        bool signalled;
        int code;
    } rows[] = {
        { "success", { "true" }, false, 0 },
        { "own status", { "sh", "-c", "exit 7" }, false, 7 },
        { "killed", { "sh", "-c", "kill -9 $$" }, true, SIGKILL },
        { "the environment given", { "sh", "-c", "test \"$VRQT_TEST_VALUE\" = 42" }, false, 0 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        ChildProcess child;
        std::string error;
        ASSERT_TRUE(child.start(row.command, vrqt::cli::environmentWith({ "VRQT_TEST_VALUE=42", "PATH=/usr/bin:/bin" }), &error))
            << error;
        ASSERT_TRUE(child.waitUntil(Deadline::after(30s)));
        EXPECT_EQ(child.status().signalled, row.signalled);
        EXPECT_EQ(child.status().code, row.code);
        EXPECT_EQ(child.status().clean(), !row.signalled && row.code == 0);
        EXPECT_FALSE(child.status().describe().empty());
    }
    ChildProcess child;
    std::string error;
    EXPECT_FALSE(child.start({ "/nonexistent/program" }, vrqt::cli::environmentWith({}), &error));
    EXPECT_NE(error.find("/nonexistent/program"), std::string::npos) << error;
}

TEST(ChildProcess, AWaitEndsAtItsDeadlineAndASignalEndsTheProgram)
{
    ChildProcess child;
    std::string error;
    ASSERT_TRUE(child.start({ "sleep", "60" }, vrqt::cli::environmentWith({}), &error)) << error;
    EXPECT_FALSE(child.waitUntil(Deadline::after(50ms)));
    EXPECT_FALSE(child.finished());
    child.signal(SIGTERM);
    ASSERT_TRUE(child.waitUntil(Deadline::after(30s)));
    EXPECT_TRUE(child.status().signalled);
    EXPECT_EQ(child.status().code, SIGTERM);
}

TEST(ChildProcess, LeavesNoProgramBehind)
{
    pid_t pid;
    {
        ChildProcess child;
        std::string error;
        ASSERT_TRUE(child.start({ "sleep", "60" }, vrqt::cli::environmentWith({}), &error)) << error;
        pid = child.pid();
    }
    EXPECT_NE(::kill(pid, 0), 0) << "the child was reaped";
}
