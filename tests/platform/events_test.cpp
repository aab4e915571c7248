// Events: states, waking, names held by the kernel, access rights.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/automation.h"
#include "process_support.h"

namespace {

constexpr DWORD kLimit = 5000; // ms: generous limit for things that must happen

std::u16string uniqueName(const char16_t *stem)
{
    std::u16string name(stem);
    name += u'.';
    for (char digit : std::to_string(getpid()))
        name += char16_t(digit);
    return name;
}

struct StateRow {
    const char *name;
    BOOL manualReset;
    BOOL initialState;
    DWORD firstWait;
    DWORD secondWait;
};

const StateRow kStateRows[] = {
    { "auto-reset set: the first wait takes it", FALSE, TRUE, WAIT_OBJECT_0, WAIT_TIMEOUT },
    { "manual-reset set: stays set", TRUE, TRUE, WAIT_OBJECT_0, WAIT_OBJECT_0 },
    { "clear", FALSE, FALSE, WAIT_TIMEOUT, WAIT_TIMEOUT },
};

} // namespace

TEST(Events, InitialStateAndResetKind)
{
    for (const StateRow &row : kStateRows) {
        SCOPED_TRACE(row.name);
        SetLastError(ERROR_FILE_NOT_FOUND);
        HANDLE event = CreateEventW(nullptr, row.manualReset, row.initialState, nullptr);
        ASSERT_NE(event, nullptr);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_SUCCESS)) << "creating clears the last error";
        EXPECT_EQ(WaitForSingleObject(event, 0), row.firstWait);
        EXPECT_EQ(WaitForSingleObject(event, 0), row.secondWait);
        EXPECT_TRUE(SetEvent(event));
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
        EXPECT_TRUE(ResetEvent(event));
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
        EXPECT_TRUE(CloseHandle(event));
    }
}

TEST(Events, ManualResetReleasesAllWaitersAutoResetOneAtATime)
{
    for (BOOL manual : { TRUE, FALSE }) {
        SCOPED_TRACE(manual ? "manual-reset" : "auto-reset");
        HANDLE event = CreateEventW(nullptr, manual, FALSE, nullptr);
        HANDLE woken = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        std::atomic<int> wakeups{ 0 };
        std::vector<std::thread> waiters;
        for (int i = 0; i < 4; ++i) {
            waiters.emplace_back([&] {
                if (WaitForSingleObject(event, kLimit) == WAIT_OBJECT_0)
                    ++wakeups;
                SetEvent(woken);
            });
        }
        SetEvent(event);
        if (manual) {
            for (auto &waiter : waiters)
                waiter.join();
            EXPECT_EQ(wakeups.load(), 4);
        } else {
            // Each signal releases exactly one waiter; the next signal is
            // given only once it has been taken, so none collapses.
            for (int released = 1; released <= 4; ++released) {
                ASSERT_EQ(WaitForSingleObject(woken, kLimit), WAIT_OBJECT_0);
                EXPECT_EQ(wakeups.load(), released);
                if (released == 1) {
                    EXPECT_EQ(WaitForSingleObject(woken, 50), WAIT_TIMEOUT) << "one signal woke two waiters";
                }
                if (released < 4)
                    SetEvent(event);
            }
            for (auto &waiter : waiters)
                waiter.join();
        }
        CloseHandle(event);
        CloseHandle(woken);
    }
}

TEST(Events, OnlyEventHandlesAreSetOrReset)
{
    HANDLE thread = OpenThread(THREAD_ALL_ACCESS, FALSE, GetCurrentThreadId());
    HANDLE closed = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    CloseHandle(closed);
    for (HANDLE handle : { HANDLE(nullptr), closed, thread }) {
        SetLastError(0);
        EXPECT_FALSE(SetEvent(handle));
        EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
        SetLastError(0);
        EXPECT_FALSE(ResetEvent(handle));
        EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
    }
    CloseHandle(thread);
}

TEST(Events, AccessRightsOfOpenedHandles)
{
    const std::u16string name = uniqueName(u"vrqt-test-access");
    HANDLE event = CreateEventW(nullptr, TRUE, TRUE, name.c_str());
    ASSERT_NE(event, nullptr);

    HANDLE waitOnly = OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
    ASSERT_NE(waitOnly, nullptr);
    EXPECT_EQ(WaitForSingleObject(waitOnly, 0), WAIT_OBJECT_0);
    SetLastError(0);
    EXPECT_FALSE(SetEvent(waitOnly));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));

    HANDLE modifyOnly = OpenEventW(EVENT_MODIFY_STATE, FALSE, name.c_str());
    ASSERT_NE(modifyOnly, nullptr);
    EXPECT_TRUE(ResetEvent(modifyOnly));
    EXPECT_EQ(WaitForSingleObject(modifyOnly, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT) << "the reset reached the shared event";

    CloseHandle(waitOnly);
    CloseHandle(modifyOnly);
    CloseHandle(event);
}

TEST(NamedEvents, OneEventPerNameUntilItsLastHandle)
{
    const std::u16string name = uniqueName(u"vrqt-test-same");
    HANDLE first = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_SUCCESS));
    HANDLE second = CreateEventW(nullptr, FALSE, TRUE, (u"Local\\" + name).c_str());
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(WaitForSingleObject(second, 0), WAIT_TIMEOUT) << "the existing event keeps its state";
    EXPECT_TRUE(SetEvent(second));
    EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_OBJECT_0);

    std::u16string upper = name;
    upper[0] = u'V';
    SetLastError(0);
    EXPECT_EQ(OpenEventW(EVENT_ALL_ACCESS, FALSE, upper.c_str()), nullptr) << "names keep their case";
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));

    CloseHandle(first);
    HANDLE third = OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
    EXPECT_NE(third, nullptr) << "a handle still holds the name";
    EXPECT_TRUE(IsEventNameInProcess((u"Local\\" + name).c_str()));
    CloseHandle(second);
    CloseHandle(third);
    EXPECT_FALSE(IsEventNameInProcess(name.c_str()));
    SetLastError(0);
    EXPECT_EQ(OpenEventW(SYNCHRONIZE, FALSE, name.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
}

TEST(NamedEvents, RefusedNames)
{
    const struct {
        const char *name;
        const char16_t *eventName;
        DWORD error;
    } rows[] = {
        { "null", nullptr, ERROR_INVALID_PARAMETER },
        { "unknown namespace", u"nowhere\\event", ERROR_PATH_NOT_FOUND },
        { "nobody holds it", u"vrqt-test-never-created", ERROR_FILE_NOT_FOUND },
        { "empty", u"", ERROR_FILE_NOT_FOUND },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        SetLastError(0);
        EXPECT_EQ(OpenEventW(SYNCHRONIZE, FALSE, row.eventName), nullptr);
        EXPECT_EQ(GetLastError(), row.error);
        SetLastError(7);
        EXPECT_FALSE(IsEventNameInProcess(row.eventName));
        EXPECT_EQ(GetLastError(), 7u) << "the in-process look leaves the last error";
    }
    SetLastError(0);
    EXPECT_EQ(CreateEventW(nullptr, TRUE, FALSE, u"nowhere\\event"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_PATH_NOT_FOUND));
}

TEST(NamedEvents, NameHeldByAnotherProcessVanishesWhenItDies)
{
    // Longer than a socket address holds: names that differ only at their
    // end must stay apart.
    const std::u16string name = uniqueName(u"vrqt-test-child") + std::u16string(200, u'x') + u"1";
    const std::u16string sibling = name.substr(0, name.size() - 1) + u"2";
    ChildProcess child([&](ChildProcess &self) {
        self.send(CreateEventW(nullptr, TRUE, FALSE, name.c_str()) ? 'y' : 'n');
        for (;;)
            pause();
    });
    ASSERT_EQ(child.receive(), 'y');

    EXPECT_FALSE(IsEventNameInProcess(name.c_str())) << "only the child has an event of that name";
    HANDLE opened = OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
    EXPECT_NE(opened, nullptr) << "the child holds the name";
    EXPECT_TRUE(IsEventNameInProcess(name.c_str())) << "opening it made an event of this process";
    SetLastError(0);
    EXPECT_EQ(OpenEventW(SYNCHRONIZE, FALSE, sibling.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    SetLastError(0);
    HANDLE created = CreateEventW(nullptr, TRUE, FALSE, (u"Global\\" + name).c_str());
    EXPECT_NE(created, nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS));
    CloseHandle(opened);
    CloseHandle(created);

    child.kill();
    SetLastError(0);
    EXPECT_EQ(OpenEventW(SYNCHRONIZE, FALSE, name.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
}
