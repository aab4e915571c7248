#include "runtime/dispatch/asyncexecutor.h"

#include <pthread.h>

#include <atomic>
#include <cstring>

const char AsyncExecutorThreadName[] = "zkAsyncMethodExecutor";

namespace {

// Owned by the thread from its start on; freed by the thread.
struct AsyncMethodRecord {
    ExecuteFunction function;
    void *argument;
    HMODULE moduleLock; // given back by the thread at its very end
};

// What the starter and the new thread share until the thread reports: the
// starter's stack.
struct ThreadStart {
    AsyncMethodRecord *record;
    HANDLE reported;
    DWORD threadId;
    HANDLE threadHandle;
};

constexpr size_t executorStackBytes = 8388608;

std::atomic<HMODULE> ownModuleBase{ nullptr };
WCHAR ownModulePath[MAX_PATH];
std::atomic<bool> ownModulePathRead{ false };

// The new thread. The record's module reference to give back, or null.
HMODULE ExecutorThreadProc(AsyncMethodRecord *record)
{
    SetThreadDebugName(AsyncExecutorThreadName);
    if (!record)
        return nullptr;
    const HMODULE moduleLock = record->moduleLock;
    RunGuarded([record] { record->function(record->argument); });
    delete record;
    return moduleLock;
}

} // namespace

// The new thread's body before its last act: reports its id and handle to
// the starter, then runs the record.
extern "C" __attribute__((visibility("hidden"))) HMODULE vrqtExecutorThreadBody(void *startData)
{
    auto *start = static_cast<ThreadStart *>(startData);
    AsyncMethodRecord *record = start->record;
    start->threadId = GetCurrentThreadId();
    start->threadHandle = OpenThread(THREAD_ALL_ACCESS, FALSE, start->threadId);
    // A look at its own handle makes the thread known to the platform, so
    // that its end signals the handle at once.
    WaitForSingleObject(start->threadHandle, 0);
    SetEvent(start->reported); // the last touch of start
    return ExecutorThreadProc(record);
}

// The thread's entry. A thread cannot unmap the code it runs on, and there
// is no FreeLibraryAndExitThread here: so the entry's last act is a jump,
// not a call, into FreeLibrary of the platform library, whose return goes
// straight back to the C library's thread start, which ends the thread.
// Nothing of this library runs after the reference is given back.
extern "C" void *vrqtExecutorThreadEntry(void *startData);
asm(R"(
    .text
    .p2align 4
    .globl vrqtExecutorThreadEntry
    .hidden vrqtExecutorThreadEntry
    .type vrqtExecutorThreadEntry, @function
vrqtExecutorThreadEntry:
    .cfi_startproc
    subq $8, %rsp
    .cfi_def_cfa_offset 16
    call vrqtExecutorThreadBody@PLT
    addq $8, %rsp
    .cfi_def_cfa_offset 8
    testq %rax, %rax
    jz 1f
    movq %rax, %rdi
    jmp *FreeLibrary@GOTPCREL(%rip)
1:
    ret
    .cfi_endproc
    .size vrqtExecutorThreadEntry, .-vrqtExecutorThreadEntry
)");

namespace {

// Starts the record on a detached thread; the thread's id, 0 on failure.
// Any thread.
DWORD StartExecutorThread(AsyncMethodRecord *record, HANDLE *threadHandle)
{
    ThreadStart start{ record, CreateEventW(nullptr, TRUE, FALSE, nullptr), 0, nullptr };
    if (!start.reported)
        return 0;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    // Reserved, not committed: the kernel gives the pages on first touch.
    pthread_attr_setstacksize(&attributes, executorStackBytes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const bool created = pthread_create(&thread, &attributes, vrqtExecutorThreadEntry, &start) == 0;
    pthread_attr_destroy(&attributes);
    if (created)
        WaitForSingleObject(start.reported, INFINITE);
    CloseHandle(start.reported);
    if (!created)
        return 0;
    if (threadHandle)
        *threadHandle = start.threadHandle;
    else
        CloseHandle(start.threadHandle);
    return start.threadId;
}

} // namespace

DWORD StartAsyncMethod(ExecuteFunction function, void *argument, HANDLE *threadHandle)
{
    if (threadHandle)
        *threadHandle = nullptr;
    if (SingleThreadBuild) {
        function(argument);
        return GetCurrentThreadId();
    }
    auto *record = new AsyncMethodRecord{ function, argument, LockOwnModule() };
    const DWORD threadId = StartExecutorThread(record, threadHandle);
    if (!threadId) {
        if (record->moduleLock)
            FreeLibrary(record->moduleLock);
        delete record;
    }
    return threadId;
}

HMODULE GetOwnModuleBase()
{
    HMODULE base = ownModuleBase.load();
    if (base)
        return base;
    MEMORY_BASIC_INFORMATION info;
    if (VirtualQuery(reinterpret_cast<LPCVOID>(&GetOwnModuleBase), &info, sizeof info) == 0)
        return nullptr;
    base = static_cast<HMODULE>(info.AllocationBase);
    ownModuleBase.store(base);
    return base;
}

HMODULE LockOwnModule()
{
    const HMODULE base = GetOwnModuleBase();
    if (base == GetModuleHandleW(nullptr))
        return nullptr;
    if (!ownModulePathRead.load()) {
        if (GetModuleFileNameW(base, ownModulePath, MAX_PATH) != 0)
            ownModulePathRead.store(true);
    }
    return LoadLibraryW(ownModulePath);
}

void SetThreadDebugName(const char *name)
{
    if (!name)
        return;
    // The kernel's limit: 15 bytes and the terminator.
    char shortName[16] = {};
    std::memcpy(shortName, name, strnlen(name, sizeof shortName - 1));
    pthread_setname_np(pthread_self(), shortName);
}
