#include "runtime/dispatch/windowcontext.h"

#include <algorithm>

#include "runtime/dispatch/pendingcall.h"
#include "runtime/dispatch/pumpingwait.h"
#include "runtime/dispatch/threadhook.h"
#include "runtime/dispatch/threadlockscope.h"
#include "runtime/dispatch/threadregistry.h"
#include "runtime/errors.h"
#include "runtime/moduleobject.h"

std::atomic<DWORD> CallTimeoutMs{ 3000 };

namespace {

// Trivially destructible, so that a hook or a queued wake-up that runs late
// finds the context gone rather than a destroyed object.
std::atomic<bool> contextServing{ false };

thread_local bool platformKnowsThisThread = false;

void initializeSection(CRITICAL_SECTION &section)
{
    if (!InitializeCriticalSectionAndSpinCount(&section, 0))
        ThrowHResult(HResultFromSystemError(LONG(GetLastError())));
}

// Locks one of the context's sections for a scope; they are never nested.
class SectionLocker
{
public:
    explicit SectionLocker(CRITICAL_SECTION &section) : section(section) { EnterCriticalSection(&section); }
    ~SectionLocker() { LeaveCriticalSection(&section); }
    SectionLocker(const SectionLocker &) = delete;
    SectionLocker &operator=(const SectionLocker &) = delete;

private:
    CRITICAL_SECTION &section;
};

// The hook procedure: runs on the hooked thread at every turn of its event
// processing, whatever woke it, and does not look at why.
void threadHookProc()
{
    ServeCallsOfCurrentThread();
}

// Made before, and destroyed after, the library's lifetime object, whose
// detach still carries calls; the exit handler below it tears it down first.
__attribute__((init_priority(150))) CzkWindowContext instance;

struct ExitHandler {
    ~ExitHandler() { instance.TearDown(); }
};
__attribute__((init_priority(151))) ExitHandler exitHandler;

} // namespace

CzkWindowContext &WindowContext()
{
    return instance;
}

void ServeCallsOfCurrentThread()
{
    if (contextServing.load())
        instance.ProcessPendingCalls(GetCurrentThreadId());
}

CzkWindowContext::CzkWindowContext()
{
    initializeSection(hooksLock);
    initializeSection(pendingLock);
    initializeSection(markersLock);
    contextServing.store(true);
}

CzkWindowContext::~CzkWindowContext()
{
    // The tear-down has freed everything; what remains are the containers.
    contextServing.store(false);
}

bool CzkWindowContext::ExecuteOnOtherThread(DWORD targetThread, ExecuteFunction function, void *argument)
{
    if (!AcquireThreadHook(targetThread))
        return false;
    // The results of the two creations are not tested: a missing event
    // fails its wait, which counts as a timeout.
    PendingCall call{ function, 0, argument, { 0 }, CreateEventW(nullptr, TRUE, FALSE, nullptr),
                      CreateEventW(nullptr, TRUE, FALSE, nullptr), targetThread };
    {
        SectionLocker locker(pendingLock);
        pendingCalls.push_back(&call);
        pendingCount.store(pendingCalls.size());
    }
    PostWakeup(targetThread);

    // The caller sleeps once a call: it waits for the call's end from the
    // start, and watches the target's end all along; whether the target
    // has taken the call is looked at when a slice is over.
    HANDLE thread = OpenThread(SYNCHRONIZE, FALSE, targetThread);
    const DWORD openError = thread ? 0 : GetLastError();
    HANDLE ends[2] = { call.doneEvent, thread };
    const ULONG endCount = thread ? 2 : 1;
    DWORD index = 0;
    bool running = false;
    for (;;) {
        const HRESULT slice = PumpingWait(CallTimeoutMs.load(), endCount, ends, &index);
        if (slice == S_OK) {
            // Done, or the target has ended: a call it never took goes.
            if (index != 0)
                WithdrawCall(&call);
            break;
        }
        // A failure of the wait counts as the slice's end.
        if (WaitForSingleObject(call.startedEvent, 0) == WAIT_OBJECT_0) {
            running = true;
            break;
        }
        // A target in a locked scope holds its caller without limit.
        if (ThreadLockMarkerExists(targetThread))
            continue;
        if (WithdrawCall(&call))
            break;
        // The target took the call in this very instant: it runs.
        running = true;
        break;
    }
    if (running) {
        // Its end or the target's, whichever comes first. A target that
        // could not be opened for another reason than access is taken to
        // be gone.
        if (thread || openError == ERROR_ACCESS_DENIED)
            PumpingWait(INFINITE, endCount, ends, &index);
    }
    if (thread)
        CloseHandle(thread);
    CloseHandle(call.doneEvent);
    CloseHandle(call.startedEvent);
    ReleaseThreadHook(targetThread);
    return call.state.load() == 1;
}

// The wake-up, made once a call: the dispatcher's own, and a queued call for
// a target that waits in a serving wait, where its loop does not run.
void CzkWindowContext::PostWakeup(DWORD threadId)
{
    WakeThreadDispatcher(threadId);
    WakePumpingWaiter(threadId);
}

// Any thread; takes pendingLock.
bool CzkWindowContext::WithdrawCall(PendingCall *call)
{
    // After the tear-down no target takes a call any more.
    if (tornDown.load())
        return true;
    SectionLocker locker(pendingLock);
    auto found = std::find(pendingCalls.begin(), pendingCalls.end(), call);
    if (found == pendingCalls.end())
        return false;
    pendingCalls.erase(found);
    pendingCount.store(pendingCalls.size());
    return true;
}

// The target thread; takes pendingLock. The first call for the thread,
// taken out of the list, or null.
PendingCall *CzkWindowContext::TakePendingCall(DWORD threadId)
{
    SectionLocker locker(pendingLock);
    auto found = std::find_if(pendingCalls.begin(), pendingCalls.end(),
                              [threadId](const PendingCall *call) { return call->targetThread == threadId; });
    if (found == pendingCalls.end())
        return nullptr;
    PendingCall *call = *found;
    pendingCalls.erase(found);
    pendingCount.store(pendingCalls.size());
    return call;
}

// Whether a call or a cookie waits for the thread: most visits of the hook
// find nothing, and then take no lock. Takes pendingLock, then hooksLock,
// then queueLock, one after another.
bool CzkWindowContext::HasWork(DWORD threadId)
{
    if (pendingCount.load() != 0) {
        SectionLocker locker(pendingLock);
        if (std::any_of(pendingCalls.begin(), pendingCalls.end(),
                        [threadId](const PendingCall *call) { return call->targetThread == threadId; }))
            return true;
    }
    if (queuedCookies.load() == 0)
        return false;
    std::shared_ptr<CThreadHook> hook;
    {
        SectionLocker locker(hooksLock);
        auto found = hooks.find(threadId);
        if (found != hooks.end())
            hook = found->second;
    }
    if (!hook)
        return false;
    SectionLocker locker(hook->queueLock);
    return !hook->cookies.empty();
}

void CzkWindowContext::ProcessPendingCalls(DWORD threadId)
{
    if (!HasWork(threadId) || ThreadLockMarkerExists(threadId))
        return;
    // Each call is taken out before it runs, so that a call that arrives
    // while another runs (or a visit nested inside one) takes the next.
    while (PendingCall *call = TakePendingCall(threadId)) {
        SetEvent(call->startedEvent);
        if (!platformKnowsThisThread) {
            // A wait makes the platform know the thread, so that its
            // callers' handles of it are signalled at its end at once
            // rather than found out by looking in /proc.
            WaitForSingleObject(call->startedEvent, 0);
            platformKnowsThisThread = true;
        }
        RunPendingCall(*call);
        // The last touch: the caller may leave once this is set.
        SetEvent(call->doneEvent);
    }
    RevokeQueuedCookies(threadId);
}

// The thread threadId. Takes hooksLock, then queueLock, one after another.
void CzkWindowContext::RevokeQueuedCookies(DWORD threadId)
{
    while (queuedCookies.load() != 0) {
        std::shared_ptr<CThreadHook> hook;
        {
            SectionLocker locker(hooksLock);
            auto found = hooks.find(threadId);
            if (found != hooks.end())
                hook = found->second;
        }
        // A revocation further up this stack is in progress.
        if (!hook || hook->revokeDepth != 0)
            return;
        DWORD cookie = 0;
        {
            SectionLocker locker(hook->queueLock);
            if (!hook->cookies.empty()) {
                cookie = hook->cookies.front();
                hook->cookies.pop_front();
                queuedCookies.fetch_sub(1);
            }
        }
        if (cookie == 0)
            return;
        ++hook->revokeDepth;
        RevokeCookie(cookie);
        --hook->revokeDepth;
        hook.reset();
        // Pays back the user counted when the cookie was queued.
        ReleaseThreadHook(threadId);
    }
}

std::shared_ptr<CThreadHook> CzkWindowContext::AcquireThreadHook(DWORD threadId)
{
    std::shared_ptr<CThreadHook> built;
    for (;;) {
        {
            SectionLocker locker(hooksLock);
            auto found = hooks.find(threadId);
            if (found != hooks.end() && found->second->Installed()) {
                std::shared_ptr<CThreadHook> existing = found->second;
                existing->users.fetch_add(1);
                // A record built meanwhile is dropped after the lock, which
                // unhooks it.
                return existing;
            }
            if (built) {
                built->users.fetch_add(1);
                hooks[threadId] = built; // a stale entry is overwritten
                return built;
            }
        }
        // Installing is slow: outside the lock.
        built = std::make_shared<CThreadHook>(threadId, threadHookProc);
        if (!built->Installed())
            return nullptr;
    }
}

void CzkWindowContext::ReleaseThreadHook(DWORD threadId)
{
    std::shared_ptr<CThreadHook> local;
    {
        SectionLocker locker(hooksLock);
        auto found = hooks.find(threadId);
        if (found == hooks.end())
            return;
        local = found->second;
        if (local->users.fetch_sub(1) == 1)
            hooks.erase(found);
    }
    // The last reference unhooks here, outside hooksLock.
    local.reset();
}

void CzkWindowContext::RevokeCookieInThread(DWORD threadId, DWORD cookie)
{
    if (cookie == 0)
        return;
    if (threadId != 0 && threadId != GetCurrentThreadId() && !ThreadLockMarkerExists(threadId)) {
        if (std::shared_ptr<CThreadHook> hook = AcquireThreadHook(threadId)) {
            {
                SectionLocker locker(hook->queueLock);
                hook->cookies.push_back(cookie);
                queuedCookies.fetch_add(1);
            }
            PostWakeup(threadId);
            // The counted user stays until the cookie has been revoked.
            return;
        }
    }
    RevokeCookie(cookie);
}

HRESULT RevokeCookie(DWORD cookie)
{
    HRESULT result = S_OK;
    RunGuarded([&result, cookie] {
        IGlobalInterfaceTable *table = nullptr;
        const HRESULT hr = ProxyModule().GetGlobalInterfaceTable(&table);
        if (FAILED(hr)) {
            result = hr;
            return;
        }
        table->RevokeInterfaceFromGlobal(cookie);
        table->Release();
    });
    return result;
}

bool CzkWindowContext::AddLockMarker(DWORD threadId)
{
    SectionLocker locker(markersLock);
    if (lockMarkers.count(threadId))
        return false;
    const std::u16string name = ThreadLockMarkerName(threadId);
    HANDLE marker = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
    if (!marker)
        return false;
    lockMarkers.emplace(threadId, marker);
    return true;
}

void CzkWindowContext::RemoveLockMarker(DWORD threadId)
{
    SectionLocker locker(markersLock);
    auto found = lockMarkers.find(threadId);
    if (found == lockMarkers.end())
        return;
    CloseHandle(found->second);
    lockMarkers.erase(found);
}

void CzkWindowContext::TearDown()
{
    if (tornDown.load())
        return;
    closing.store(true);
    const DWORD limit = 2 * CallTimeoutMs.load();
    // A waiter in a slice times out at once on its next pass.
    CallTimeoutMs.store(0);
    const DWORD self = GetCurrentThreadId();
    const DWORD start = GetTickCount();
    do {
        std::vector<DWORD> targets;
        {
            SectionLocker locker(hooksLock);
            for (const auto &entry : hooks) {
                if (entry.first != self)
                    targets.push_back(entry.first);
            }
        }
        if (targets.empty())
            break;
        int running = 0;
        for (DWORD target : targets) {
            if (HANDLE thread = OpenThread(SYNCHRONIZE, FALSE, target)) {
                if (WaitForSingleObject(thread, 0) == WAIT_TIMEOUT)
                    ++running;
                CloseHandle(thread);
            }
        }
        if (running == 0)
            break;
        Sleep(10);
    } while (GetTickCount() - start < limit);

    contextServing.store(false);
    tornDown.store(true);
    // Marker handles still open are not closed, deliberately: their threads
    // are in locked scopes that outlive the context.
    DeleteCriticalSection(&markersLock);
    lockMarkers.clear();
    DeleteCriticalSection(&pendingLock);
    pendingCalls.clear();
    pendingCalls.shrink_to_fit();
    pendingCount.store(0);
    DeleteCriticalSection(&hooksLock);
    // Records whose last reference goes here unhook.
    hooks.clear();
    if (QueuedWakeups() > 0) {
        // A wake-up queued for a thread that left its wait runs at that
        // thread's next serving wait: the code it calls must stay mapped.
        HMODULE pinned = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<LPCWSTR>(&threadHookProc), &pinned);
    }
}

DWORD CzkWindowContext::HookUsers(DWORD threadId)
{
    SectionLocker locker(hooksLock);
    auto found = hooks.find(threadId);
    return found == hooks.end() ? 0 : found->second->users.load();
}

size_t CzkWindowContext::HookRecordCount()
{
    SectionLocker locker(hooksLock);
    return hooks.size();
}

size_t CzkWindowContext::PendingCallCount()
{
    SectionLocker locker(pendingLock);
    return pendingCalls.size();
}

size_t CzkWindowContext::LockMarkerCount()
{
    SectionLocker locker(markersLock);
    return lockMarkers.size();
}
