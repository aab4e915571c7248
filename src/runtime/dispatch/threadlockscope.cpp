#include "runtime/dispatch/threadlockscope.h"

#include "runtime/dispatch/windowcontext.h"
#include "runtime/format.h"

std::u16string ThreadLockMarkerName(DWORD threadId)
{
    constexpr size_t bufferLength = 32;
    std::u16string name = FormatWide(u"ZKTLE%uP%u", unsigned(GetCurrentProcessId()), unsigned(threadId));
    if (name.size() >= bufferLength)
        name.resize(bufferLength - 1);
    return name;
}

bool ThreadLockMarkerExists(DWORD threadId)
{
    const std::u16string name = ThreadLockMarkerName(threadId);
    HANDLE marker = OpenEventW(EVENT_ALL_ACCESS, FALSE, name.c_str());
    if (!marker)
        return false;
    CloseHandle(marker);
    return true;
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
