// Environment variables, command line, temporary folder, directories and the computer name.
#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/automation.h"
#include "platform/utf.h"
#include "process_support.h"

extern char **environ;

namespace {

constexpr char16_t variable[] = u"VRQT_TEST_VARIABLE";
constexpr DWORD errorBufferOverflow = 111;

} // namespace

TEST(Environment, VariablesFollowTheWindowsSizeConventions)
{
    ScopedVariable cleanup("VRQT_TEST_VARIABLE", nullptr);
    SetLastError(0);
    EXPECT_EQ(GetEnvironmentVariableW(variable, nullptr, 0), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ENVVAR_NOT_FOUND));

    ASSERT_TRUE(SetEnvironmentVariableW(variable, u"caf\u00e9"));
    EXPECT_EQ(GetEnvironmentVariableW(variable, nullptr, 0), 5u);
    char16_t buffer[8] = u"xxxxxxx";
    EXPECT_EQ(GetEnvironmentVariableW(variable, buffer, 4), 5u); // too small: the size with the NUL
    EXPECT_EQ(GetEnvironmentVariableW(variable, buffer, 5), 4u);
    EXPECT_EQ(std::u16string(buffer), u"caf\u00e9");

    char narrow[8];
    EXPECT_EQ(GetEnvironmentVariableA("VRQT_TEST_VARIABLE", narrow, 5), 6u); // UTF-8 bytes with the NUL
    EXPECT_EQ(GetEnvironmentVariableA("VRQT_TEST_VARIABLE", narrow, 6), 5u);
    EXPECT_STREQ(narrow, "caf\xC3\xA9");

    ASSERT_TRUE(SetEnvironmentVariableA("VRQT_TEST_VARIABLE", ""));
    SetLastError(0);
    EXPECT_EQ(GetEnvironmentVariableW(variable, buffer, 8), 0u);
    EXPECT_EQ(GetLastError(), 0u);

    ASSERT_TRUE(SetEnvironmentVariableW(variable, nullptr));
    EXPECT_TRUE(SetEnvironmentVariableW(variable, nullptr)); // removing an absent variable succeeds
    EXPECT_EQ(GetEnvironmentVariableA("VRQT_TEST_VARIABLE", narrow, 8), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ENVVAR_NOT_FOUND));

    for (const char16_t *badName : { static_cast<const char16_t *>(nullptr), u"", u"A=B" }) {
        SetLastError(0);
        EXPECT_FALSE(SetEnvironmentVariableW(badName, u"x"));
        EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    }
}

// Writes the command line to the file named by VRQT_TEST_COMMAND_LINE_FILE;
// run as a child by CommandLineQuotesArgumentsAsWindowsReadsThem.
TEST(Environment, CommandLineChild)
{
    const char *file = std::getenv("VRQT_TEST_COMMAND_LINE_FILE");
    if (!file)
        GTEST_SKIP() << "runs only as a child";
    const bool wideMatches = std::u16string(GetCommandLineW()) == platform::toUtf16(GetCommandLineA());
    std::ofstream(file) << (wideMatches ? "" : "W differs: ") << GetCommandLineA();
}

TEST(Environment, CommandLineQuotesArgumentsAsWindowsReadsThem)
{
    ScopedFolder folder;
    const std::string output = folder.path() + "/command-line";
    ScopedVariable hook("VRQT_TEST_COMMAND_LINE_FILE", output.c_str());
    std::vector<std::string> arguments = { "/proc/self/exe", "--gtest_filter=Environment.CommandLineChild",
                                           "two words", "", "say \"hi\"", "tab\there", "end\\", "dir\\ x\\" };
    std::vector<char *> argv;
    for (std::string &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t child = 0;
    ASSERT_EQ(posix_spawn(&child, "/proc/self/exe", nullptr, nullptr, argv.data(), environ), 0);
    const int status = waitForChild(child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    std::ifstream file(output);
    const std::string line((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_EQ(line, "/proc/self/exe --gtest_filter=Environment.CommandLineChild \"two words\" \"\" "
                    "\"say \\\"hi\\\"\" \"tab\there\" end\\ \"dir\\ x\\\\\"");
}

TEST(Environment, TempPathIsTmpdirOrTmpWithTrailingSlash)
{
    char16_t buffer[64];
    {
        ScopedVariable tmpdir("TMPDIR", "/var/tmp");
        EXPECT_EQ(GetTempPathW(64, buffer), 9u);
        EXPECT_EQ(std::u16string(buffer), u"/var/tmp/");
        EXPECT_EQ(GetTempPathW(9, buffer), 10u); // too small: the size needed with the NUL
    }
    ScopedVariable tmpdir("TMPDIR", nullptr);
    EXPECT_EQ(GetTempPathW(64, buffer), 5u);
    EXPECT_EQ(std::u16string(buffer), u"/tmp/");
}

TEST(Environment, CreateDirectoryReportsWindowsErrors)
{
    ScopedFolder folder;
    const std::u16string base = platform::toUtf16(folder.path());
    const std::u16string fresh = base + u"/fresh";
    EXPECT_TRUE(CreateDirectoryW(fresh.c_str(), nullptr));

    struct Row {
        const char *name;
        std::u16string path;
        DWORD error;
    } rows[] = {
        { "exists", fresh, ERROR_ALREADY_EXISTS },
        { "parent missing", base + u"/missing/child", ERROR_PATH_NOT_FOUND },
        { "empty", u"", ERROR_PATH_NOT_FOUND },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        SetLastError(0);
        EXPECT_FALSE(CreateDirectoryW(row.path.c_str(), nullptr));
        EXPECT_EQ(GetLastError(), row.error);
    }
    EXPECT_FALSE(CreateDirectoryW(nullptr, nullptr));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_PATH_NOT_FOUND));

    if (geteuid() != 0) { // root may write anywhere
        const std::u16string locked = base + u"/locked";
        ASSERT_TRUE(CreateDirectoryW(locked.c_str(), nullptr));
        chmod(platform::toUtf8(locked).c_str(), 0500);
        SetLastError(0);
        EXPECT_FALSE(CreateDirectoryW((locked + u"/child").c_str(), nullptr));
        EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
        chmod(platform::toUtf8(locked).c_str(), 0700);
    }
}

TEST(Environment, ComputerNameIsTheHostName)
{
    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof(host) - 1), 0);
    const std::u16string expected = platform::toUtf16(host);
    char16_t buffer[256];
    DWORD size = 256;
    ASSERT_TRUE(GetComputerNameW(buffer, &size));
    EXPECT_EQ(size, expected.size());
    EXPECT_EQ(std::u16string(buffer), expected);

    size = DWORD(expected.size()); // no room for the NUL
    SetLastError(0);
    EXPECT_FALSE(GetComputerNameW(buffer, &size));
    EXPECT_EQ(GetLastError(), errorBufferOverflow);
    EXPECT_EQ(size, expected.size() + 1);
    EXPECT_FALSE(GetComputerNameW(buffer, nullptr));
}
