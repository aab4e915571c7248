// Waits for several objects, thread handles, queued calls and the wait that
// serves them (CoWaitForMultipleHandles).
#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/automation.h"

namespace {

constexpr DWORD kLimit = 5000; // ms: generous limit for things that must happen

bool isSet(HANDLE event)
{
    // Whether an auto-reset event is set, giving the signal back when it was.
    if (WaitForSingleObject(event, 0) != WAIT_OBJECT_0)
        return false;
    SetEvent(event);
    return true;
}

void appendToVector(ULONG_PTR data)
{
    auto *calls = reinterpret_cast<std::pair<std::vector<int> *, int> *>(data);
    calls->first->push_back(calls->second);
}

void setEventCall(ULONG_PTR data)
{
    SetEvent(reinterpret_cast<HANDLE>(data));
}

void throwingCall(ULONG_PTR)
{
    throw std::runtime_error("queued call failed");
}

void countCall(ULONG_PTR data)
{
    ++*reinterpret_cast<std::atomic<long> *>(data);
}

} // namespace

TEST(WaitForMultipleObjects, AnyAndAllTakeWhatTheyAskFor)
{
    const struct {
        const char *name;
        bool firstSet, secondSet, waitAll;
        DWORD result;
        bool firstAfter, secondAfter;
    } rows[] = {
        { "any: the lowest signalled index wins", true, true, false, WAIT_OBJECT_0, false, true },
        { "any: the second", false, true, false, WAIT_OBJECT_0 + 1, false, false },
        { "any: none", false, false, false, WAIT_TIMEOUT, false, false },
        { "all: one missing takes nothing", true, false, true, WAIT_TIMEOUT, true, false },
        { "all: both taken together", true, true, true, WAIT_OBJECT_0, false, false },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        HANDLE events[2] = { CreateEventW(nullptr, FALSE, row.firstSet, nullptr),
                             CreateEventW(nullptr, FALSE, row.secondSet, nullptr) };
        EXPECT_EQ(WaitForMultipleObjects(2, events, row.waitAll, 0), row.result);
        EXPECT_EQ(isSet(events[0]), row.firstAfter);
        EXPECT_EQ(isSet(events[1]), row.secondAfter);
        CloseHandle(events[0]);
        CloseHandle(events[1]);
    }
}

TEST(WaitForMultipleObjects, RefusedArguments)
{
    HANDLE event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, nullptr);
    std::vector<HANDLE> many(MAXIMUM_WAIT_OBJECTS + 1, event);
    HANDLE twice[2] = { event, event };
    HANDLE withBad[2] = { event, reinterpret_cast<HANDLE>(0x12345670) };
    HANDLE withMapping[2] = { event, mapping };
    const struct {
        const char *name;
        DWORD count;
        const HANDLE *handles;
        BOOL waitAll;
        DWORD error;
    } rows[] = {
        { "no handles", 0, twice, FALSE, ERROR_INVALID_PARAMETER },
        { "65 handles", MAXIMUM_WAIT_OBJECTS + 1, many.data(), FALSE, ERROR_INVALID_PARAMETER },
        { "null array", 1, nullptr, FALSE, ERROR_NOACCESS },
        { "a made-up handle", 2, withBad, FALSE, ERROR_INVALID_HANDLE },
        // As on Windows, a mapping handle lacks SYNCHRONIZE.
        { "a file mapping", 2, withMapping, FALSE, ERROR_ACCESS_DENIED },
        { "one object twice, wait for all", 2, twice, TRUE, ERROR_INVALID_PARAMETER },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        SetLastError(0);
        EXPECT_EQ(WaitForMultipleObjects(row.count, row.handles, row.waitAll, 0), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), row.error);
    }
    EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS, many.data(), FALSE, 0), WAIT_OBJECT_0)
        << "64 is allowed, and a wait for any takes duplicates";
    CloseHandle(event);
    CloseHandle(mapping);
}

// A thread that waited in the library (woken by SetEvent) and one that never
// called into it: each one's handle is signalled when it ends.
TEST(ThreadHandles, SignalledWhenTheThreadEnds)
{
    for (const bool known : { true, false }) {
        SCOPED_TRACE(known ? "a thread known to the library" : "a thread unknown to the library");
        HANDLE release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        std::promise<void> releaseUnknown;
        std::promise<DWORD> id;
        std::thread worker([&] {
            if (known) {
                id.set_value(GetCurrentThreadId());
                WaitForSingleObject(release, INFINITE);
            } else {
                id.set_value(DWORD(syscall(SYS_gettid)));
                releaseUnknown.get_future().wait();
            }
        });
        HANDLE thread = OpenThread(SYNCHRONIZE | THREAD_QUERY_INFORMATION, FALSE, id.get_future().get());
        ASSERT_NE(thread, nullptr);
        DWORD code = 0;
        EXPECT_TRUE(GetExitCodeThread(thread, &code));
        EXPECT_EQ(code, DWORD(STILL_ACTIVE));
        EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_TIMEOUT);
        SetEvent(release);
        releaseUnknown.set_value();
        EXPECT_EQ(WaitForSingleObject(thread, kLimit), WAIT_OBJECT_0);
        EXPECT_TRUE(GetExitCodeThread(thread, &code));
        EXPECT_EQ(code, 0u);
        worker.join();
        CloseHandle(thread);
        CloseHandle(release);
    }
}

TEST(ThreadHandles, OnlyLiveThreadsOfThisProcessOpen)
{
    std::atomic<DWORD> id{ 0 };
    std::thread([&] { id = DWORD(syscall(SYS_gettid)); }).join();
    for (DWORD threadId : { 0u, id.load() }) {
        SetLastError(0);
        EXPECT_EQ(OpenThread(SYNCHRONIZE, FALSE, threadId), nullptr) << threadId;
        EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    }
    HANDLE self = OpenThread(THREAD_SET_CONTEXT, FALSE, GetCurrentThreadId());
    DWORD code = 0;
    EXPECT_FALSE(GetExitCodeThread(self, &code));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    CloseHandle(self);
}

TEST(QueuedCalls, RunInOrderOnlyInAlertableWaits)
{
    HANDLE self = OpenThread(THREAD_ALL_ACCESS, FALSE, GetCurrentThreadId());
    HANDLE set = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    std::vector<int> ran;
    std::pair<std::vector<int> *, int> calls[3] = { { &ran, 1 }, { &ran, 2 }, { &ran, 3 } };
    for (auto &call : calls)
        ASSERT_NE(QueueUserAPC(appendToVector, self, reinterpret_cast<ULONG_PTR>(&call)), 0u);

    EXPECT_EQ(WaitForSingleObject(set, 0), WAIT_OBJECT_0);
    EXPECT_EQ(SleepEx(0, FALSE), 0u);
    EXPECT_EQ(WaitForSingleObjectEx(set, 0, TRUE), WAIT_OBJECT_0) << "a signalled object wins over queued calls";
    EXPECT_TRUE(ran.empty());
    EXPECT_EQ(SleepEx(0, TRUE), DWORD(WAIT_IO_COMPLETION));
    EXPECT_EQ(ran, (std::vector<int>{ 1, 2, 3 }));
    EXPECT_EQ(SleepEx(0, TRUE), 0u) << "nothing left to run";

    ResetEvent(set);
    QueueUserAPC(appendToVector, self, reinterpret_cast<ULONG_PTR>(&calls[0]));
    EXPECT_EQ(WaitForMultipleObjectsEx(1, &set, FALSE, INFINITE, TRUE), DWORD(WAIT_IO_COMPLETION));
    EXPECT_EQ(ran.size(), 4u);
    CloseHandle(set);
    CloseHandle(self);
}

// The first call reaches a thread that has never waited in this library,
// through a handle closed before it waits; the second wakes it mid-wait.
TEST(QueuedCalls, ReachAnotherThreadBeforeAndDuringItsWait)
{
    std::promise<DWORD> id;
    std::promise<void> go;
    HANDLE waiting = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD first = 0, second = 0;
    std::thread waiter([&] {
        id.set_value(GetCurrentThreadId());
        go.get_future().wait();
        first = SleepEx(kLimit, TRUE);
        SetEvent(waiting);
        second = SleepEx(INFINITE, TRUE);
    });
    const DWORD threadId = id.get_future().get();
    HANDLE early = OpenThread(THREAD_SET_CONTEXT, FALSE, threadId);
    std::atomic<long> count{ 0 };
    ASSERT_NE(QueueUserAPC(countCall, early, reinterpret_cast<ULONG_PTR>(&count)), 0u);
    CloseHandle(early); // cancels nothing
    go.set_value();
    ASSERT_EQ(WaitForSingleObject(waiting, kLimit), WAIT_OBJECT_0);
    HANDLE thread = OpenThread(THREAD_SET_CONTEXT, FALSE, threadId);
    EXPECT_NE(QueueUserAPC(countCall, thread, reinterpret_cast<ULONG_PTR>(&count)), 0u);
    waiter.join();
    EXPECT_EQ(first, DWORD(WAIT_IO_COMPLETION));
    EXPECT_EQ(second, DWORD(WAIT_IO_COMPLETION));
    EXPECT_EQ(count.load(), 2);
    SetLastError(0);
    EXPECT_EQ(QueueUserAPC(countCall, thread, 0), 0u) << "the thread has ended";
    EXPECT_EQ(GetLastError(), 31u);
    CloseHandle(thread);
    CloseHandle(waiting);
}

TEST(QueuedCalls, RefusedArguments)
{
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE noRight = OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId());
    HANDLE self = OpenThread(THREAD_SET_CONTEXT, FALSE, GetCurrentThreadId());
    const struct {
        const char *name;
        PAPCFUNC function;
        HANDLE thread;
        DWORD error;
    } rows[] = {
        { "null thread", countCall, nullptr, ERROR_INVALID_HANDLE },
        { "an event", countCall, event, ERROR_INVALID_HANDLE },
        { "without THREAD_SET_CONTEXT", countCall, noRight, ERROR_ACCESS_DENIED },
        { "null function", nullptr, self, ERROR_INVALID_PARAMETER },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        SetLastError(0);
        EXPECT_EQ(QueueUserAPC(row.function, row.thread, 0), 0u);
        EXPECT_EQ(GetLastError(), row.error);
    }
    for (HANDLE handle : { event, noRight, self })
        CloseHandle(handle);
}

TEST(QueuedCalls, AnExceptionLeavesTheWaitAndTheRestStayQueued)
{
    HANDLE self = OpenThread(THREAD_SET_CONTEXT, FALSE, GetCurrentThreadId());
    std::atomic<long> count{ 0 };
    QueueUserAPC(throwingCall, self, 0);
    QueueUserAPC(countCall, self, reinterpret_cast<ULONG_PTR>(&count));
    EXPECT_THROW(SleepEx(0, TRUE), std::runtime_error);
    EXPECT_EQ(count.load(), 0);
    EXPECT_EQ(SleepEx(0, TRUE), DWORD(WAIT_IO_COMPLETION));
    EXPECT_EQ(count.load(), 1);
    CloseHandle(self);
}

TEST(CoWaitForMultipleHandles, RefusedArguments)
{
    HANDLE event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    std::vector<HANDLE> many(MAXIMUM_WAIT_OBJECTS + 1, event);
    HANDLE bad = reinterpret_cast<HANDLE>(0x7770);
    DWORD index = 0;
    const struct {
        const char *name;
        DWORD flags;
        ULONG count;
        HANDLE *handles;
        DWORD *index;
        HRESULT result;
    } rows[] = {
        { "null index", 0, 1, &event, nullptr, E_INVALIDARG },
        { "null handles", 0, 1, nullptr, &index, E_INVALIDARG },
        { "unknown flag", 0x20, 1, &event, &index, E_INVALIDARG },
        { "no handles", 0, 0, &event, &index, HRESULT(0x80010120) },
        { "65 handles", 0, MAXIMUM_WAIT_OBJECTS + 1, many.data(), &index, E_INVALIDARG },
        { "a bad handle", 0, 1, &bad, &index, HRESULT_FROM_WIN32(ERROR_INVALID_HANDLE) },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        index = 0xdeadbeef;
        EXPECT_EQ(CoWaitForMultipleHandles(row.flags, 0, row.count, row.handles, row.index), row.result);
        if (row.index) {
            EXPECT_EQ(index, 0u);
        }
    }
    CloseHandle(event);
}

TEST(CoWaitForMultipleHandles, ResultsAndIndexes)
{
    HANDLE events[2] = { CreateEventW(nullptr, FALSE, FALSE, nullptr), CreateEventW(nullptr, FALSE, TRUE, nullptr) };
    DWORD index = 0xdeadbeef;
    EXPECT_EQ(CoWaitForMultipleHandles(0, 0, 2, events, &index), S_OK);
    EXPECT_EQ(index, 1u);
    index = 0xdeadbeef;
    EXPECT_EQ(CoWaitForMultipleHandles(0, 20, 2, events, &index), RPC_S_CALLPENDING);
    EXPECT_EQ(index, 0u);
    SetEvent(events[0]);
    EXPECT_EQ(CoWaitForMultipleHandles(COWAIT_WAITALL, 0, 2, events, &index), RPC_S_CALLPENDING);
    SetEvent(events[1]);
    index = 0xdeadbeef;
    EXPECT_EQ(CoWaitForMultipleHandles(COWAIT_WAITALL, 0, 2, events, &index), S_OK);
    EXPECT_EQ(index, 0u);

    // Alertable: a queued call ends the wait; otherwise calls run and the wait goes on.
    HANDLE self = OpenThread(THREAD_SET_CONTEXT, FALSE, GetCurrentThreadId());
    std::atomic<long> count{ 0 };
    QueueUserAPC(countCall, self, reinterpret_cast<ULONG_PTR>(&count));
    EXPECT_EQ(CoWaitForMultipleHandles(COWAIT_ALERTABLE, INFINITE, 2, events, &index), S_OK);
    EXPECT_EQ(index, DWORD(WAIT_IO_COMPLETION));
    QueueUserAPC(countCall, self, reinterpret_cast<ULONG_PTR>(&count));
    QueueUserAPC(setEventCall, self, reinterpret_cast<ULONG_PTR>(events[0]));
    EXPECT_EQ(CoWaitForMultipleHandles(0, kLimit, 1, events, &index), S_OK);
    EXPECT_EQ(index, 0u);
    QueueUserAPC(countCall, self, reinterpret_cast<ULONG_PTR>(&count));
    EXPECT_EQ(CoWaitForMultipleHandles(0, 30, 1, events, &index), RPC_S_CALLPENDING);
    EXPECT_EQ(count.load(), 3);
    CloseHandle(self);
    CloseHandle(events[0]);
    CloseHandle(events[1]);
}

// Two threads each queue a call that releases the caller to the other and
// then wait for it: each must serve the other while it waits.
TEST(CoWaitForMultipleHandles, ThreadsCallingEachOtherDoNotDeadlock)
{
    constexpr int kRounds = 2000;
    HANDLE done[2] = { CreateEventW(nullptr, FALSE, FALSE, nullptr), CreateEventW(nullptr, FALSE, FALSE, nullptr) };
    std::atomic<DWORD> ids[2] = { { 0 }, { 0 } };
    std::atomic<int> failures{ 0 };
    auto body = [&](int me) {
        ids[me] = GetCurrentThreadId();
        while (ids[1 - me] == 0)
            std::this_thread::yield();
        HANDLE other = OpenThread(THREAD_SET_CONTEXT, FALSE, ids[1 - me]);
        for (int round = 0; round < kRounds; ++round) {
            QueueUserAPC(setEventCall, other, reinterpret_cast<ULONG_PTR>(done[me]));
            DWORD index = 0;
            if (CoWaitForMultipleHandles(0, kLimit, 1, &done[me], &index) != S_OK)
                ++failures;
        }
        // Serve the other side's last call before leaving.
        DWORD index = 0;
        HANDLE never = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        CoWaitForMultipleHandles(0, 50, 1, &never, &index);
        CloseHandle(never);
        CloseHandle(other);
    };
    std::thread first(body, 0), second(body, 1);
    first.join();
    second.join();
    EXPECT_EQ(failures.load(), 0);
    CloseHandle(done[0]);
    CloseHandle(done[1]);
}

// Eight clients make round trips to one thread that serves calls while it
// waits; every call must arrive and every reply must come back.
TEST(CoWaitForMultipleHandles, EightThreadsOfTenThousandCallsLoseNothing)
{
    constexpr int kClients = 8;
    constexpr int kCalls = 10000;
    HANDLE stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE serverReady = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::atomic<DWORD> serverId{ 0 };
    std::atomic<long> served{ 0 };
    std::thread server([&] {
        serverId = GetCurrentThreadId();
        SetEvent(serverReady);
        DWORD index = 0;
        CoWaitForMultipleHandles(0, INFINITE, 1, &stop, &index);
    });
    ASSERT_EQ(WaitForSingleObject(serverReady, kLimit), WAIT_OBJECT_0);
    HANDLE serverHandle = OpenThread(THREAD_SET_CONTEXT, FALSE, serverId);

    struct Reply {
        std::atomic<long> *served;
        HANDLE event;
    };
    auto serve = [](ULONG_PTR data) {
        auto *reply = reinterpret_cast<Reply *>(data);
        ++*reply->served;
        SetEvent(reply->event);
    };
    std::atomic<int> lost{ 0 };
    std::vector<std::thread> clients;
    for (int client = 0; client < kClients; ++client) {
        clients.emplace_back([&] {
            Reply reply{ &served, CreateEventW(nullptr, FALSE, FALSE, nullptr) };
            for (int call = 0; call < kCalls; ++call) {
                QueueUserAPC(serve, serverHandle, reinterpret_cast<ULONG_PTR>(&reply));
                DWORD index = 0;
                if (CoWaitForMultipleHandles(0, kLimit, 1, &reply.event, &index) != S_OK)
                    ++lost;
            }
            CloseHandle(reply.event);
        });
    }
    for (auto &client : clients)
        client.join();
    QueueUserAPC(setEventCall, serverHandle, reinterpret_cast<ULONG_PTR>(stop));
    server.join();
    EXPECT_EQ(lost.load(), 0);
    EXPECT_EQ(served.load(), long(kClients) * kCalls);
    for (HANDLE handle : { stop, serverReady, serverHandle })
        CloseHandle(handle);
}
