// Debug output goes to standard error only while a debugger is attached.
#include <gtest/gtest.h>

#include <sys/ptrace.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

#include "platform/automation.h"
#include "process_support.h"

namespace {

struct ChildResult {
    bool traced = false;   // the child saw a debugger
    std::string errorText; // what it wrote to standard error
};

// Runs OutputDebugString in a child whose standard error is a pipe,
// optionally traced by this process (as a debugger would).
bool runDebugOutputChild(bool traceIt, ChildResult &result)
{
    int errorPipe[2];
    if (pipe(errorPipe) != 0)
        return false;
    ChildProcess child([&](ChildProcess &self) {
        dup2(errorPipe[1], STDERR_FILENO);
        close(errorPipe[0]);
        if (traceIt && ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            return self.send('?');
        const char traced = IsDebuggerPresent() ? 'y' : 'n';
        OutputDebugStringA("narrow ");
        OutputDebugStringW(u"wide \u00e9");
        self.send(traced);
    });
    close(errorPipe[1]);
    const char traced = child.receive();
    const int status = child.reap();
    char buffer[256];
    ssize_t got = 0;
    while ((got = read(errorPipe[0], buffer, sizeof(buffer))) > 0)
        result.errorText.append(buffer, size_t(got));
    close(errorPipe[0]);
    result.traced = traced == 'y';
    return (traced == 'y' || traced == 'n') && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

TEST(DebugOutput, StandardErrorGetsTheTextOnlyWhileTraced)
{
    ScopedVariable noHook("VRQT_DEBUG_OUTPUT_FILE", nullptr);
    ChildResult untraced, traced;
    ASSERT_TRUE(runDebugOutputChild(false, untraced));
    EXPECT_FALSE(untraced.traced);
    EXPECT_EQ(untraced.errorText, "");
    if (!runDebugOutputChild(true, traced))
        GTEST_SKIP() << "this system does not let a process trace its child";
    EXPECT_TRUE(traced.traced);
    EXPECT_EQ(traced.errorText, "narrow wide \xC3\xA9");
}

TEST(DebugOutput, HookFileReceivesTextWithoutADebugger)
{
    ScopedFolder folder;
    const std::string file = folder.path() + "/debug-output";
    ScopedVariable hook("VRQT_DEBUG_OUTPUT_FILE", file.c_str());
    OutputDebugStringW(u"first \u20ac\n");
    OutputDebugStringA("second\n");
    OutputDebugStringA(nullptr);
    OutputDebugStringW(nullptr);
    std::ifstream stream(file);
    const std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    EXPECT_EQ(text, "first \xE2\x82\xAC\nsecond\n");
}
