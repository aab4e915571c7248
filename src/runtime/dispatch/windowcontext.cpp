#include "runtime/dispatch/windowcontext.h"

std::atomic<DWORD> CallTimeoutMs{ 3000 };

CzkWindowContext &WindowContext()
{
    static CzkWindowContext instance;
    return instance;
}

bool CzkWindowContext::ExecuteOnOtherThread(DWORD, ExecuteFunction, void *)
{
    // No thread hook yet: a call that must cross fails cleanly and runs
    // nowhere.
    return false;
}
