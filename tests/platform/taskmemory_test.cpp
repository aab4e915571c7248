// Task memory: the shared allocator of the component runtime.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/automation.h"

TEST(TaskMemory, ZeroBytesGiveDistinctBlocksReallocKeepsContentsAndFreesOnZero)
{
    void *first = CoTaskMemAlloc(0);
    void *second = CoTaskMemRealloc(nullptr, 0);
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first, second);
    CoTaskMemFree(first);
    CoTaskMemFree(second);
    CoTaskMemFree(nullptr);

    auto *block = static_cast<char *>(CoTaskMemRealloc(nullptr, 4));
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "abc", 4);
    block = static_cast<char *>(CoTaskMemRealloc(block, 4096));
    ASSERT_NE(block, nullptr);
    EXPECT_STREQ(block, "abc");
    EXPECT_EQ(CoTaskMemRealloc(block, 0), nullptr);
}
