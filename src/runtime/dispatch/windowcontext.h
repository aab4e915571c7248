// Carries calls to the thread that owns a window or a thread id.
#pragma once

#include <atomic>

#include "platform/automation.h"

typedef void (*ExecuteFunction)(void *argument);
typedef void (*ExecuteFunction2)(void *first, void *second);
typedef HWND (*WindowResolverFunction)(HWND window, ExecuteFunction function, void *argument);

// Length in milliseconds of one wait slice of a crossing call.
extern std::atomic<DWORD> CallTimeoutMs;

class CzkWindowContext
{
public:
    // Any thread. True when function(argument) ran to its normal end on the
    // target thread.
    bool ExecuteOnOtherThread(DWORD targetThread, ExecuteFunction function, void *argument);

    // Once true every call runs at once on the caller's thread.
    std::atomic<bool> closing{ false };
};

CzkWindowContext &WindowContext();
