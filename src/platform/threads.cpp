// Thread identity, time and the per-thread last error.
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>

#include "platform/system.h"

namespace {

thread_local DWORD lastError = ERROR_SUCCESS;
// The calling thread's kernel id, 0 until first asked. A forked child starts
// over, since its one thread has an id of its own.
thread_local DWORD cachedThreadId = 0;
// The process id, 0 until first asked (getpid is a system call), likewise
// forgotten by a forked child.
std::atomic<DWORD> cachedProcessId{ 0 };

void forgetIdsInChild()
{
    cachedThreadId = 0;
    cachedProcessId.store(0, std::memory_order_relaxed);
}

[[maybe_unused]] const int forkHandlerInstalled = pthread_atfork(nullptr, nullptr, forgetIdsInChild);

ULONGLONG monotonicMilliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return ULONGLONG(now.tv_sec) * 1000u + ULONGLONG(now.tv_nsec) / 1000000u;
}

void fillSystemTime(const tm &parts, long nanoseconds, LPSYSTEMTIME time)
{
    time->wYear = WORD(parts.tm_year + 1900);
    time->wMonth = WORD(parts.tm_mon + 1);
    time->wDayOfWeek = WORD(parts.tm_wday);
    time->wDay = WORD(parts.tm_mday);
    time->wHour = WORD(parts.tm_hour);
    time->wMinute = WORD(parts.tm_min);
    time->wSecond = WORD(parts.tm_sec);
    time->wMilliseconds = WORD(nanoseconds / 1000000);
}

} // namespace

/// GetCurrentThreadId: the kernel's id of the calling thread (gettid), which
/// is unique among the live threads of all processes, as on Windows.
PLATFORM_API DWORD GetCurrentThreadId(void)
{
    if (!cachedThreadId)
        cachedThreadId = DWORD(syscall(SYS_gettid));
    return cachedThreadId;
}

/// GetCurrentProcessId: the process id.
PLATFORM_API DWORD GetCurrentProcessId(void)
{
    DWORD id = cachedProcessId.load(std::memory_order_relaxed);
    if (!id) {
        id = DWORD(getpid());
        cachedProcessId.store(id, std::memory_order_relaxed);
    }
    return id;
}

/// GetTickCount: milliseconds of the monotonic clock, wrapping at 2^32 as on
/// Windows (there it counts from boot; here from an unspecified start).
PLATFORM_API DWORD GetTickCount(void)
{
    return DWORD(monotonicMilliseconds());
}

/// GetTickCount64: as GetTickCount, without the wrap.
PLATFORM_API ULONGLONG GetTickCount64(void)
{
    return monotonicMilliseconds();
}

/// Sleep: suspends the calling thread for at least the given milliseconds;
/// 0 yields the processor. INFINITE sleeps for ever, as on Windows.
PLATFORM_API void Sleep(DWORD milliseconds)
{
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    if (milliseconds == INFINITE) {
        for (;;)
            pause();
    }
    timespec remaining{ time_t(milliseconds / 1000), long(milliseconds % 1000) * 1000000L };
    while (nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
    }
}

/// GetLastError: the calling thread's last error number.
PLATFORM_API DWORD GetLastError(void)
{
    return lastError;
}

/// SetLastError: sets the calling thread's last error number.
PLATFORM_API void SetLastError(DWORD error)
{
    lastError = error;
}

/// GetLocalTime: the wall-clock time in the local time zone.
PLATFORM_API void GetLocalTime(LPSYSTEMTIME time)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    localtime_r(&now.tv_sec, &parts);
    fillSystemTime(parts, now.tv_nsec, time);
}

/// GetSystemTime: the wall-clock time in UTC.
PLATFORM_API void GetSystemTime(LPSYSTEMTIME time)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    fillSystemTime(parts, now.tv_nsec, time);
}
