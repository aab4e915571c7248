// Event log entries, observed through the VRQT_EVENTLOG_FILE hook.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "platform/automation.h"
#include "process_support.h"

namespace {

std::string readFile(const std::string &path)
{
    std::ifstream stream(path);
    return std::string((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
}

class EventLog : public testing::Test {
protected:
    ScopedFolder folder;
    std::string file = folder.path() + "/events";
    ScopedVariable hook{ "VRQT_EVENTLOG_FILE", file.c_str() };
};

} // namespace

TEST_F(EventLog, EachStringIsOneLineWithTypeAndSource)
{
    HANDLE source = RegisterEventSourceW(nullptr, u"Verdaquil");
    ASSERT_NE(source, nullptr);
    struct Row {
        WORD type;
        const char16_t *text;
        const char *line;
    } rows[] = {
        { EVENTLOG_WARNING_TYPE, u"caf\u00e9", "warning\tVerdaquil\tcaf\xC3\xA9\n" },
        { EVENTLOG_INFORMATION_TYPE, u"two\r\nlines\tand \\", "information\tVerdaquil\ttwo\\r\\nlines\\tand \\\\\n" },
    };
    std::string expected;
    for (const Row &row : rows) {
        LPCWSTR strings[] = { row.text };
        EXPECT_TRUE(ReportEventW(source, row.type, 0, 1000, nullptr, 1, 0, strings, nullptr));
        expected += row.line;
    }
    LPCWSTR pair[] = { u"one", u"two" };
    EXPECT_TRUE(ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, 1, nullptr, 2, 0, pair, nullptr));
    expected += "error\tVerdaquil\tone\nerror\tVerdaquil\ttwo\n";
    EXPECT_EQ(readFile(file), expected);
    EXPECT_TRUE(DeregisterEventSource(source));
}

TEST_F(EventLog, BadHandlesTypesAndStringsAreRefused)
{
    HANDLE source = RegisterEventSourceW(nullptr, u"Verdaquil");
    ASSERT_NE(source, nullptr);
    LPCWSTR strings[] = { u"x" };
    SetLastError(0);
    EXPECT_FALSE(ReportEventW(source, 0x0003, 0, 1, nullptr, 1, 0, strings, nullptr));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_FALSE(ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, 1, nullptr, 1, 0, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(DeregisterEventSource(source));

    SetLastError(0);
    EXPECT_FALSE(ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, 1, nullptr, 1, 0, strings, nullptr));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_FALSE(DeregisterEventSource(source));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(readFile(file), "");

    EXPECT_EQ(RegisterEventSourceW(nullptr, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(RegisterEventSourceW(u"\\\\elsewhere", u"Verdaquil"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_NOT_SUPPORTED));
}
