// CloseHandle: every kind of handle this library makes, and everything else.
#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/automation.h"

// Each kind of handle closes once; the second close and anything the
// library did not make are refused.
TEST(CloseHandle, ClosesEachKindOnceAndRefusesTheRest)
{
    const struct {
        const char *name;
        HANDLE handle;
    } made[] = {
        { "event", CreateEventW(nullptr, TRUE, FALSE, nullptr) },
        { "thread", OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId()) },
        { "file mapping", CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, nullptr) },
    };
    for (const auto &row : made) {
        SCOPED_TRACE(row.name);
        ASSERT_NE(row.handle, nullptr);
        EXPECT_TRUE(CloseHandle(row.handle));
    }
    int local = 0;
    void *heap = std::malloc(64);
    const struct {
        const char *name;
        HANDLE handle;
    } rows[] = {
        { "a closed event", made[0].handle },
        { "a closed thread", made[1].handle },
        { "a closed mapping", made[2].handle },
        { "null", nullptr },
        { "INVALID_HANDLE_VALUE", INVALID_HANDLE_VALUE },
        { "address of a local", &local },
        { "heap block", heap },
        { "unaligned number", reinterpret_cast<HANDLE>(0x13) },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        SetLastError(0);
        EXPECT_FALSE(CloseHandle(row.handle));
        EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
    }
    std::free(heap);
}

TEST(CloseHandle, OtherHandlesToTheSameObjectStayValid)
{
    HANDLE first = OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId());
    HANDLE second = OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId());
    EXPECT_NE(first, second);
    EXPECT_TRUE(CloseHandle(first));
    EXPECT_EQ(WaitForSingleObject(second, 0), WAIT_TIMEOUT) << "the thread still runs";
    EXPECT_TRUE(CloseHandle(second));
}
