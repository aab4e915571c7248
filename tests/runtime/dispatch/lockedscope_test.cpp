// Locked scopes, cookie revocation on the registering thread, the message
// filter's suspension, the main window, and the tear-down.
#include <QWidget>

#include <cstdio>

#include "dispatchsupport.h"
#include "runtime/dispatch/messagefiltersuspension.h"
#include "runtime/dispatch/nativewindow.h"
#include "runtime/dispatch/threadlockscope.h"
#include "runtime/moduleobject.h"

using namespace dispatchtest;

namespace {

TEST(LockedScope, MarkerLivesWithTheOuterScopeOrWhoeverMadeIt)
{
    const DWORD self = GetCurrentThreadId();
    const std::string expected = "ZKTLE" + std::to_string(GetCurrentProcessId()) + "P" + std::to_string(self);
    EXPECT_EQ(std::u16string(expected.begin(), expected.end()), ThreadLockMarkerName(self));
    EXPECT_FALSE(ThreadLockMarkerExists(self));
    {
        ThreadLockScope outer;
        EXPECT_TRUE(outer.created());
        EXPECT_EQ(1u, WindowContext().LockMarkerCount());
        ThreadLockScope inner;
        EXPECT_FALSE(inner.created());
    }
    EXPECT_FALSE(ThreadLockMarkerExists(self));
    EXPECT_EQ(0u, WindowContext().LockMarkerCount());

    // A marker made by other code in the process counts, and stays its own.
    HANDLE foreign = CreateEventW(nullptr, TRUE, FALSE, ThreadLockMarkerName(self).c_str());
    ASSERT_NE(nullptr, foreign);
    EXPECT_FALSE(ThreadLockScope().created());
    EXPECT_TRUE(ThreadLockMarkerExists(self));
    CloseHandle(foreign);
    EXPECT_FALSE(ThreadLockMarkerExists(self));
}

TEST(LockedScope, TargetInALockedScopeHoldsItsCallerPastTheSlice)
{
    ScopedCallTimeout slice(20);
    WorkerThread worker;
    const DWORD target = worker.id();
    ASSERT_NE(0u, target);
    std::atomic<bool> inScope{ false };
    std::atomic<bool> leave{ false };
    std::atomic<int> runsInScope{ -1 };
    CallRecord record;
    worker.post([&] {
        ThreadLockScope scope;
        inScope.store(true);
        // The worker's loop turns (and its hook is visited) all along.
        while (!leave.load())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        runsInScope.store(record.runs.load());
    });
    ASSERT_TRUE(waitUntil([&] { return inScope.load(); }));
    HostCall call(target, recordCall, &record);
    // Many slices pass while the call waits.
    const DWORD start = GetTickCount();
    ASSERT_TRUE(waitUntil([&] { return GetTickCount() - start > 10 * CallTimeoutMs.load(); }));
    EXPECT_FALSE(call.finished.load());
    EXPECT_EQ(1u, WindowContext().PendingCallCount());
    // A slice that ends between the scope's end and the worker's next visit
    // would rightly withdraw the call: let the caller enter a long slice
    // (slices read the limit afresh) before the scope ends.
    const DWORD longSliceFrom = GetTickCount();
    CallTimeoutMs.store(10000);
    ASSERT_TRUE(waitUntil([&] { return GetTickCount() - longSliceFrom > 3 * 20; }));
    leave.store(true);
    ASSERT_TRUE(call.waitFinished());
    EXPECT_EQ(1, call.result.load());
    EXPECT_EQ(0, runsInScope.load());
    EXPECT_EQ(1, record.runs.load());
    EXPECT_EQ(target, record.ranOn.load());
    expectNothingOutstanding();
}

// Counts where it was released; a message filter that filters nothing.
class Tracked : public IMessageFilter
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void **object) override
    {
        *object = this;
        return AddRef(), S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        releasedOn.store(GetCurrentThreadId());
        return --references;
    }
    DWORD STDMETHODCALLTYPE HandleInComingCall(DWORD, HTASK, DWORD, LPINTERFACEINFO) override { return 0; }
    DWORD STDMETHODCALLTYPE RetryRejectedCall(HTASK, DWORD, DWORD) override { return DWORD(-1); }
    DWORD STDMETHODCALLTYPE MessagePending(HTASK, DWORD, DWORD) override { return 0; }
    std::atomic<ULONG> references{ 1 };
    std::atomic<DWORD> releasedOn{ 0 };
};

DWORD registerInGlobalTable(Tracked &object)
{
    IGlobalInterfaceTable *table = nullptr;
    if (FAILED(ProxyModule().GetGlobalInterfaceTable(&table)))
        return 0;
    DWORD cookie = 0;
    table->RegisterInterfaceInGlobal(&object, IID_IUnknown, &cookie);
    table->Release();
    return cookie;
}

// The global interface table is made inside an apartment.
class CookieRevocation : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))); }
    void TearDown() override { CoUninitialize(); }
};

TEST_F(CookieRevocation, CookieIsRevokedOnTheThreadNamed)
{
    WorkerThread worker;
    const DWORD target = worker.id();
    ASSERT_NE(0u, target);
    Tracked object;
    const DWORD cookie = registerInGlobalTable(object);
    ASSERT_NE(0u, cookie);
    ASSERT_EQ(2u, object.references.load());
    WindowContext().RevokeCookieInThread(target, cookie);
    ASSERT_TRUE(waitUntil([&] { return object.references.load() == 1; }));
    EXPECT_EQ(target, object.releasedOn.load());
    // The user counted for the cookie has been paid back, and the worker
    // unhooked.
    ASSERT_TRUE(waitUntil([] { return WindowContext().HookRecordCount() == 0 && CThreadHook::LiveCount() == 0; }));
    expectNothingOutstanding();
}

TEST_F(CookieRevocation, CookieIsRevokedOnTheCallerWhenTheThreadCannotTakeIt)
{
    struct Row {
        const char *name;
        DWORD target;
    };
    const Row rows[] = {
        { "thread 0", 0 },
        { "the calling thread", GetCurrentThreadId() },
        { "no such thread", 0x7FFFFFF0u },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        Tracked object;
        const DWORD cookie = registerInGlobalTable(object);
        ASSERT_NE(0u, cookie);
        WindowContext().RevokeCookieInThread(row.target, cookie);
        EXPECT_EQ(1u, object.references.load());
        EXPECT_EQ(GetCurrentThreadId(), object.releasedOn.load());
    }
    // A cookie of 0 is ignored.
    WindowContext().RevokeCookieInThread(0, 0);
    expectNothingOutstanding();
}

// In a single-threaded apartment; a multithreaded one has no filter to take.
TEST(MessageFilter, SuspensionTakesTheFilterAwayAndPutsItBack)
{
    std::thread apartment([] {
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
        EXPECT_TRUE(MessageFilterSuspension::IsSingleThreadedApartment());
        Tracked filter;
        ASSERT_EQ(S_OK, CoRegisterMessageFilter(&filter, nullptr));
        IMessageFilter *current = &filter;
        {
            MessageFilterSuspension suspension;
            EXPECT_EQ(S_OK, CoRegisterMessageFilter(nullptr, &current));
            EXPECT_EQ(nullptr, current);
        }
        EXPECT_EQ(S_OK, CoRegisterMessageFilter(nullptr, &current));
        EXPECT_EQ(&filter, current);
        if (current)
            current->Release();
        EXPECT_EQ(1u, filter.references.load());
        CoUninitialize();
    });
    apartment.join();
    std::thread multithreaded([] {
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
        EXPECT_FALSE(MessageFilterSuspension::IsSingleThreadedApartment());
        MessageFilterSuspension nothingToTake;
        CoUninitialize();
    });
    multithreaded.join();
    EXPECT_FALSE(MessageFilterSuspension::IsSingleThreadedApartment());
}

TEST(MainWindow, FirstVisibleTopLevelThatIsNoPopupFromAnyThread)
{
    QWidget hidden;
    hidden.winId();
    QWidget main;
    main.setGeometry(100, 100, 200, 200);
    main.show();
    ASSERT_TRUE(waitUntil([&] { return main.isVisible(); }));
    // Shown last: a popup closes when another window comes up.
    QWidget popup(nullptr, Qt::Popup);
    popup.setGeometry(10, 10, 50, 50);
    popup.show();
    ASSERT_TRUE(waitUntil([&] { return popup.isVisible(); }));
    const HWND expected = HWND(main.winId());

    EXPECT_EQ(expected, WindowContext().FindMainWindow());
    HWND seenByHost = nullptr;
    std::atomic<bool> done{ false };
    std::thread host([&] {
        seenByHost = WindowContext().FindMainWindow();
        done.store(true);
    });
    ASSERT_TRUE(waitUntil([&] { return done.load(); }));
    host.join();
    EXPECT_EQ(expected, seenByHost);

    // Only the popup left: the second search takes it.
    main.hide();
    ASSERT_TRUE(waitUntil([&] { return !main.isVisible(); }));
    EXPECT_EQ(HWND(popup.winId()), WindowContext().FindMainWindow());
    popup.hide();
    ASSERT_TRUE(waitUntil([&] { return !popup.isVisible(); }));
    EXPECT_EQ(nullptr, WindowContext().FindMainWindow());
}

// The tear-down: in a process of its own, since it ends the context.
void tearDownWhileACallerWaitsOnALockedTarget()
{
    CallTimeoutMs.store(100);
    WorkerThread worker;
    const DWORD target = worker.id();
    std::atomic<bool> inScope{ false };
    worker.post([&] {
        ThreadLockScope scope;
        inScope.store(true);
        for (;;)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    });
    if (!target || !waitUntil([&] { return inScope.load(); }))
        std::_Exit(2);
    auto *caller = new HostCall(target, nullptr, nullptr);
    if (!waitHoldingTheLoop([] { return WindowContext().PendingCallCount() == 1; }))
        std::_Exit(3);
    WindowContext().TearDown();
    const bool callerWaits = !caller->finished.load();
    // From now on calls run on their callers.
    CallRecord record;
    const bool inline_ = ExecuteInThread(target, recordCall, &record) && record.ranOn.load() == GetCurrentThreadId();
    std::fprintf(stderr, "torn down: caller %s, calls %s\n", callerWaits ? "waiting" : "released",
                 inline_ ? "inline" : "crossing");
    std::fflush(stderr);
    std::_Exit(0);
}

TEST(TearDown, ReturnsWhileACallerStillWaitsAndThenRunsCallsInline)
{
    EXPECT_EXIT(tearDownWhileACallerWaitsOnALockedTarget(), ::testing::ExitedWithCode(0),
                "torn down: caller waiting, calls inline");
}

} // namespace
