// Thread identity and the last error.
#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "platform/automation.h"

TEST(Threads, IdsAreKernelThreadIdsAndDifferPerThread)
{
    EXPECT_EQ(GetCurrentThreadId(), DWORD(syscall(SYS_gettid)));
    EXPECT_EQ(GetCurrentProcessId(), DWORD(getpid()));
    DWORD other = 0;
    std::thread([&] { other = GetCurrentThreadId(); }).join();
    EXPECT_NE(other, 0u);
    EXPECT_NE(other, GetCurrentThreadId());
}

TEST(Threads, AForkedChildHasAThreadIdOfItsOwn)
{
    const DWORD parent = GetCurrentThreadId();
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    const pid_t child = fork();
    if (child == 0) {
        const DWORD id = GetCurrentThreadId();
        (void)!write(pipeEnds[1], &id, sizeof id);
        _exit(0);
    }
    DWORD childId = 0;
    ASSERT_EQ(read(pipeEnds[0], &childId, sizeof childId), ssize_t(sizeof childId));
    waitpid(child, nullptr, 0);
    EXPECT_EQ(childId, DWORD(child));
    EXPECT_NE(childId, parent);
    close(pipeEnds[0]);
    close(pipeEnds[1]);
}

TEST(Threads, LastErrorIsPerThread)
{
    SetLastError(ERROR_INVALID_PARAMETER);
    std::thread([] {
        EXPECT_EQ(GetLastError(), DWORD(ERROR_SUCCESS));
        SetLastError(ERROR_FILE_NOT_FOUND);
    }).join();
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
}
