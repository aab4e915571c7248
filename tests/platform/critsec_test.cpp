// Critical sections: recursion, exclusion between threads, bad input.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/automation.h"

TEST(CriticalSections, OwnerMayEnterAgainOthersMayNot)
{
    CRITICAL_SECTION section;
    ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 4000));
    EnterCriticalSection(&section);
    EXPECT_TRUE(TryEnterCriticalSection(&section)) << "recursive for its owner";
    BOOL otherGotIt = TRUE;
    std::thread([&] { otherGotIt = TryEnterCriticalSection(&section); }).join();
    EXPECT_FALSE(otherGotIt);

    LeaveCriticalSection(&section);
    std::thread([&] { otherGotIt = TryEnterCriticalSection(&section); }).join();
    EXPECT_FALSE(otherGotIt) << "one entry is still held";

    LeaveCriticalSection(&section);
    std::thread([&] {
        otherGotIt = TryEnterCriticalSection(&section);
        if (otherGotIt)
            LeaveCriticalSection(&section);
    }).join();
    EXPECT_TRUE(otherGotIt);
    DeleteCriticalSection(&section);
}

TEST(CriticalSections, ExcludeEachOther)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    static CRITICAL_SECTION section; // static storage, as sections often live
    InitializeCriticalSection(&section);
    long counter = 0; // a plain variable: only the section protects it
    std::atomic<int> inside{ 0 };
    std::atomic<bool> overlapped{ false };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                EnterCriticalSection(&section);
                if (inside.fetch_add(1) != 0)
                    overlapped = true;
                ++counter;
                inside.fetch_sub(1);
                LeaveCriticalSection(&section);
            }
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_FALSE(overlapped.load());
    EXPECT_EQ(counter, long(kThreads) * kRounds);
    DeleteCriticalSection(&section);
}

TEST(CriticalSections, NullSectionsAreRefusedWithoutCrashing)
{
    InitializeCriticalSection(nullptr);
    EnterCriticalSection(nullptr);
    LeaveCriticalSection(nullptr);
    DeleteCriticalSection(nullptr);
    EXPECT_FALSE(TryEnterCriticalSection(nullptr));
    SetLastError(0);
    EXPECT_FALSE(InitializeCriticalSectionAndSpinCount(nullptr, 0));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
}
