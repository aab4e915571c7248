#include "runtime/dispatch/threadlockscope.h"

#include <algorithm>

#include "runtime/dispatch/windowcontext.h"

std::u16string ThreadLockMarkerName(DWORD threadId)
{
    // "ZKTLE%uP%u", put together by hand: it is made on every call carried.
    constexpr size_t bufferLength = 32;
    const std::string text = "ZKTLE" + std::to_string(GetCurrentProcessId()) + "P" + std::to_string(threadId);
    return std::u16string(text.begin(), text.begin() + std::min(text.size(), bufferLength - 1));
}

bool ThreadLockMarkerExists(DWORD threadId)
{
    return IsEventNameInProcess(ThreadLockMarkerName(threadId).c_str()) != FALSE;
}

ThreadLockScope::ThreadLockScope()
{
    const DWORD self = GetCurrentThreadId();
    if (ThreadLockMarkerExists(self))
        return;
    madeMarker = WindowContext().AddLockMarker(self);
}

ThreadLockScope::~ThreadLockScope()
{
    if (madeMarker)
        WindowContext().RemoveLockMarker(GetCurrentThreadId());
}
