// Process and system queries.
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "platform/automation.h"

TEST(Process, VersionComesFromTheKernelRelease)
{
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof info;
    ASSERT_TRUE(GetVersionExW(&info));
    utsname names{};
    uname(&names);
    const std::string expected = std::to_string(info.dwMajorVersion) + "." + std::to_string(info.dwMinorVersion) + ".";
    EXPECT_EQ(std::string(names.release).rfind(expected, 0), 0u) << names.release;
    EXPECT_EQ(info.dwPlatformId, DWORD(VER_PLATFORM_WIN32_NT));

    info.dwOSVersionInfoSize = sizeof info - 1;
    EXPECT_FALSE(GetVersionExW(&info));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_FALSE(GetVersionExW(nullptr));
}

TEST(Process, PriorityClassFollowsTheNiceValue)
{
    const int original = getpriority(PRIO_PROCESS, 0);
    struct Row {
        int nice;
        DWORD expected;
    } rows[] = { { 0, NORMAL_PRIORITY_CLASS }, { 5, BELOW_NORMAL_PRIORITY_CLASS }, { 15, IDLE_PRIORITY_CLASS } };
    for (const Row &row : rows) {
        if (row.nice < original)
            continue; // lowering the nice value needs privileges the test may lack
        SCOPED_TRACE(row.nice);
        ASSERT_EQ(setpriority(PRIO_PROCESS, 0, row.nice), 0);
        EXPECT_EQ(GetPriorityClass(GetCurrentProcess()), row.expected);
    }
    EXPECT_EQ(GetPriorityClass(nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
}

TEST(Process, SessionIsTheSessionLeader)
{
    DWORD session = 0;
    ASSERT_TRUE(ProcessIdToSessionId(GetCurrentProcessId(), &session));
    EXPECT_EQ(session, DWORD(getsid(0)));
    EXPECT_FALSE(ProcessIdToSessionId(GetCurrentProcessId(), nullptr));
    EXPECT_FALSE(ProcessIdToSessionId(0x7FFFFFF0u, &session));
}
