#include "runtime/dispatch/periodicexecutor.h"

#include "runtime/dispatch/asyncexecutor.h"
#include "runtime/dispatch/pumpingwait.h"

namespace {

void closeEvent(HANDLE &event)
{
    if (event) {
        CloseHandle(event);
        event = nullptr;
    }
}

// The worker thread.
void periodicWorker(void *data)
{
    auto *executor = static_cast<PeriodicExecutor *>(data);
    // Stored here, before anything runs, and not by the starter: a function
    // may stop itself (and the worker free the executor) before the
    // starter's StartAsyncMethod has returned.
    executor->threadId.store(GetCurrentThreadId());
    // Without an apartment nothing runs and no event is set: a later stop
    // then waits for good, as it must.
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)))
        return;
    for (;;) {
        DWORD index = 0;
        const HRESULT hr = PumpingWait(executor->intervalMs, 1, &executor->stopEvent, &index);
        if (SUCCEEDED(hr) && index != WAIT_TIMEOUT)
            break;
        // The timeout above all, but every other outcome too, runs the
        // function.
        RunGuarded([executor] { executor->function(executor->argument); });
    }
    if (!executor->detached) {
        SetEvent(executor->doneEvent); // the stopper frees the executor
    } else {
        closeEvent(executor->stopEvent);
        closeEvent(executor->doneEvent);
        delete executor;
    }
    CoUninitialize();
}

} // namespace

bool StartPeriodicExecutor(ExecuteFunction function, void *argument, DWORD intervalMs, PeriodicExecutor **place)
{
    if (!place || !function || intervalMs == INFINITE)
        return false;
    auto *executor = new PeriodicExecutor{ function, argument, nullptr, nullptr, intervalMs, { 0 }, false };
    *place = executor;
    if (SingleThreadBuild)
        return true;
    executor->stopEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    executor->doneEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (StartAsyncMethod(periodicWorker, executor) == 0) {
        closeEvent(executor->stopEvent);
        closeEvent(executor->doneEvent);
    }
    return true;
}

void StopPeriodicExecutor(PeriodicExecutor **place)
{
    if (!place || !*place)
        return;
    PeriodicExecutor *executor = *place;
    *place = nullptr;
    const DWORD worker = executor->threadId.load();
    if (worker != 0 && worker == GetCurrentThreadId()) {
        // A function stopping itself: the worker frees the executor when it
        // leaves its loop.
        executor->detached = true;
        SetEvent(executor->stopEvent);
        return;
    }
    if (!executor->detached && executor->stopEvent) {
        SetEvent(executor->stopEvent);
        DWORD index = 0;
        PumpingWait(INFINITE, 1, &executor->doneEvent, &index);
    }
    closeEvent(executor->stopEvent);
    closeEvent(executor->doneEvent);
    delete executor;
}
