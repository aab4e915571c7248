// The entry points through which every piece of work that must run on a
// window's or a thread's own thread goes. Each blocks until the function
// has run, failed or can no longer run, and is true when it ran to its end.
#pragma once

#include "runtime/dispatch/windowcontext.h"

// Any thread.
bool ExecuteInWindowThread(HWND window, ExecuteFunction function, void *argument);
bool ExecuteInWindowThread2(HWND window, ExecuteFunction2 function, void *first, void *second);
bool ExecuteInThread(DWORD threadId, ExecuteFunction function, void *argument);
bool ExecuteInThread2(DWORD threadId, ExecuteFunction2 function, void *first, void *second);

// The thread on which a call for this window would run, or 0.
DWORD GetWindowExecutionThread(HWND window);

void SetWindowResolver(WindowResolverFunction resolver);
HWND CallWindowResolver(HWND window, ExecuteFunction function, void *argument);

// Build-time switch: nothing sets it, and the paths it guards are kept.
constexpr bool InlineExecution = false;
