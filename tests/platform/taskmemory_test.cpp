// Task memory: the shared allocator of the component runtime.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/automation.h"

TEST(TaskMemory, ZeroBytesStillGiveDistinctBlocks)
{
    void *first = CoTaskMemAlloc(0);
    void *second = CoTaskMemAlloc(0);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    CoTaskMemFree(first);
    CoTaskMemFree(second);
    CoTaskMemFree(nullptr);
}

TEST(TaskMemory, ReallocKeepsContentsAllocatesFromNullAndFreesOnZero)
{
    auto *block = static_cast<char *>(CoTaskMemRealloc(nullptr, 4));
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "abc", 4);
    block = static_cast<char *>(CoTaskMemRealloc(block, 4096));
    ASSERT_NE(block, nullptr);
    EXPECT_STREQ(block, "abc");
    EXPECT_EQ(CoTaskMemRealloc(block, 0), nullptr);
    void *empty = CoTaskMemRealloc(nullptr, 0);
    EXPECT_NE(empty, nullptr);
    CoTaskMemFree(empty);
}
