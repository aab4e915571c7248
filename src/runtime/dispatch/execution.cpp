#include "runtime/dispatch/execution.h"

#include "runtime/dispatch/nativewindow.h"

namespace {

std::atomic<WindowResolverFunction> windowResolver{ nullptr };

// 0 not yet looked at, 1 the reader library is loaded, -1 it is not.
std::atomic<int> readerLibraryState{ 0 };

struct TwoArguments {
    ExecuteFunction2 function;
    void *first;
    void *second;
};

void callWithTwoArguments(void *packed)
{
    auto *call = static_cast<TwoArguments *>(packed);
    if (call->function)
        call->function(call->first, call->second);
}

HWND resolveProcessWindow(HWND window, ExecuteFunction function, void *argument)
{
    if (InlineExecution && windowResolver.load()) {
        if (HWND resolved = CallWindowResolver(window, function, argument))
            return resolved;
    }
    for (HWND current = window; current; current = GetParent(current)) {
        DWORD process = 0;
        GetWindowThreadProcessId(current, &process);
        if (process == GetCurrentProcessId())
            return current;
    }
    return windowResolver.load() ? CallWindowResolver(window, function, argument) : nullptr;
}

int readerLibrary()
{
    int state = readerLibraryState.load();
    if (state == 0) {
        // Looked at once in the life of the process: a process that hosts
        // this library never crosses threads, deliberately.
        state = GetModuleHandleW(u"AcroRd32.exe") ? 1 : -1;
        readerLibraryState.store(state);
    }
    return state;
}

bool executeCall(DWORD targetThread, ExecuteFunction function, void *argument)
{
    const int reader = readerLibrary();
    if (WindowContext().closing.load() || reader == 1 || targetThread == GetCurrentThreadId()) {
        // No guard here: a fault passes to the caller's own guard.
        if (function)
            function(argument);
        return true;
    }
    return WindowContext().ExecuteOnOtherThread(targetThread, function, argument);
}

} // namespace

bool ExecuteInWindowThread(HWND window, ExecuteFunction function, void *argument)
{
    const HWND resolved = resolveProcessWindow(window, function, argument);
    DWORD target = 0;
    if (resolved && IsWindow(resolved))
        target = GetWindowThreadProcessId(resolved, nullptr);
    else if (!InlineExecution)
        return false;
    else
        target = GetCurrentThreadId();
    return executeCall(target, function, argument);
}

bool ExecuteInWindowThread2(HWND window, ExecuteFunction2 function, void *first, void *second)
{
    TwoArguments call{ function, first, second };
    return ExecuteInWindowThread(window, callWithTwoArguments, &call);
}

bool ExecuteInThread(DWORD threadId, ExecuteFunction function, void *argument)
{
    return executeCall(threadId, function, argument);
}

bool ExecuteInThread2(DWORD threadId, ExecuteFunction2 function, void *first, void *second)
{
    TwoArguments call{ function, first, second };
    return ExecuteInThread(threadId, callWithTwoArguments, &call);
}

DWORD GetWindowExecutionThread(HWND window)
{
    if (readerLibraryState.load() == 1)
        return GetCurrentThreadId();
    if (HWND resolved = resolveProcessWindow(window, nullptr, nullptr))
        return GetWindowThreadProcessId(resolved, nullptr);
    return InlineExecution ? GetCurrentThreadId() : 0;
}

void SetWindowResolver(WindowResolverFunction resolver)
{
    windowResolver.store(resolver);
}

HWND CallWindowResolver(HWND window, ExecuteFunction function, void *argument)
{
    WindowResolverFunction resolver = windowResolver.load();
    return resolver ? resolver(window, function, argument) : nullptr;
}
