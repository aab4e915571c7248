// A library that a test loads and unloads with dlopen, as a host does with
// the module: it starts an asynchronous method that holds it loaded.
#include "platform/automation.h"
#include "runtime/dispatch/asyncexecutor.h"

namespace {

void waitForRelease(void *release)
{
    WaitForSingleObject(static_cast<HANDLE>(release), INFINITE);
}

} // namespace

// Starts a thread that runs until release is signalled; its id, and its
// handle in *thread.
extern "C" __attribute__((visibility("default"))) DWORD StartHeldMethod(HANDLE release, HANDLE *thread)
{
    return StartAsyncMethod(waitForRelease, release, thread);
}
