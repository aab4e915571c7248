// The stub registry: registration, the disconnect at shut-down, the bounded
// wait with its pump, and the warning when objects stay.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "../platform/process_support.h"
#include "runtime/comobject.h"
#include "runtime/stubmanager.h"
#include "runtime/trace.h"

using vrOpenAppHook::CStubManager;

namespace {

// Queues calls to the calling thread. Kept open until they have run: the
// platform drops the queue of a thread it has not met yet when the last
// handle to it closes.
struct OwnThread {
    HANDLE handle = OpenThread(THREAD_SET_CONTEXT, FALSE, GetCurrentThreadId());
    ~OwnThread() { CloseHandle(handle); }
    bool Queue(PAPCFUNC function, ULONG_PTR data) { return QueueUserAPC(function, handle, data) != 0; }
};

enum class OnDisconnect { Nothing, ReleaseNow, ReleaseThroughPump };

struct StubLog {
    std::atomic<int> disconnects{ 0 };
    std::atomic<DWORD> endedOn{ 0 }; // the thread of the last release
};

// A stub as the host holds it: answers IMarshal, which the disconnect
// reaches; holds the manager and unregisters when its last reference goes.
class TestStub : public IMarshal
{
public:
    TestStub(StubLog &log, HRESULT disconnectResult, OnDisconnect action)
        : log(log), disconnectResult(disconnectResult), action(action)
    {
    }
    virtual ~TestStub() = default;

    void Register(CStubManager *stubManager)
    {
        (manager = stubManager)->AddRef();
        manager->RegisterStub(this);
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
    {
        *object = riid == IID_IUnknown || riid == IID_IMarshal ? this : nullptr;
        return *object ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG remaining = --references;
        if (remaining == 0) {
            log.endedOn = GetCurrentThreadId();
            if (manager) {
                manager->UnregisterStub(this);
                manager->Release();
            }
            delete ownThread;
            delete this;
        }
        return remaining;
    }
    HRESULT STDMETHODCALLTYPE DisconnectObject(DWORD) override
    {
        ++log.disconnects;
        const HRESULT answer = disconnectResult;
        if (action == OnDisconnect::ReleaseThroughPump) {
            // Queued for the shutting-down thread: only its pump runs it.
            ownThread = new OwnThread;
            ownThread->Queue([](ULONG_PTR stub) { reinterpret_cast<TestStub *>(stub)->Release(); }, ULONG_PTR(this));
        } else if (action == OnDisconnect::ReleaseNow) {
            Release(); // the disconnect's own reference keeps the object until it returns
        }
        return answer;
    }
    HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID, void *, DWORD, void *, DWORD, CLSID *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID, void *, DWORD, void *, DWORD, DWORD *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE MarshalInterface(IStream *, REFIID, void *, DWORD, void *, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UnmarshalInterface(IStream *, REFIID, void **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ReleaseMarshalData(IStream *) override { return E_NOTIMPL; }

private:
    StubLog &log;
    HRESULT disconnectResult;
    OnDisconnect action;
    CStubManager *manager = nullptr;
    OwnThread *ownThread = nullptr;
    std::atomic<ULONG> references{ 1 };
};

// What the memory of a freed stub may hold next: another class.
class OtherObject : public TestStub
{
    using TestStub::TestStub;
};

ComPtr<CStubManager> newManager()
{
    CStubManager *manager = nullptr;
    EXPECT_EQ(CStubManager::CreateInstance(&manager), S_OK);
    return ComPtr<CStubManager>(manager);
}

// The trace, switched on once for the program in a folder of its own;
// newText gives what it received since the last call.
class TraceCapture
{
public:
    TraceCapture()
    {
        const std::string registry = folder.path() + "/user.reg";
        std::ofstream(registry) << "Windows Registry Editor Version 5.00\n\n[HKEY_CURRENT_USER\\SOFTWARE\\Zoklandt]\n"
                                << "\"DebugTraceFolder\"=\"" << folder.path() << "/trace\"\n";
        const ScopedVariable user("VRQT_REGISTRY_USER", registry.c_str());
        TraceOpen();
        newText();
    }
    std::string newText()
    {
        std::stringstream all;
        for (const auto &entry : std::filesystem::directory_iterator(folder.path() + "/trace"))
            all << std::ifstream(entry.path()).rdbuf();
        const std::string fresh = all.str().substr(std::min(seen, all.str().size()));
        seen = all.str().size();
        return fresh;
    }

private:
    ScopedFolder folder;
    size_t seen = 0;
};
TraceCapture &trace()
{
    static TraceCapture capture;
    return capture;
}

TEST(StubManager, EmptyTableReturnsAtOnceWithoutDisconnectPumpOrTrace)
{
    trace();
    const ComPtr<CStubManager> manager = newManager();
    StubLog log;
    auto *stub = new TestStub(log, S_OK, OnDisconnect::Nothing);
    stub->Register(manager.get());
    manager->RegisterStub(stub); // a key is present once
    manager->UnregisterStub(stub);
    static std::atomic<int> ran{ 0 };
    OwnThread self;
    ASSERT_TRUE(self.Queue([](ULONG_PTR) { ++ran; }, 0));

    EXPECT_EQ(manager->ShutdownStubs(1000), 0u);
    EXPECT_EQ(log.disconnects, 0);
    EXPECT_EQ(ran, 0) << "no pump ran the queued call";
    EXPECT_EQ(trace().newText(), "");
    EXPECT_EQ(CStubManager::PumpStubMessages(0), RPC_S_CALLPENDING);
    EXPECT_EQ(ran, 1) << "the pump serves this thread's queued calls";
    stub->Release();
}

struct ShutdownRow {
    const char *name;
    HRESULT disconnectResult;
    OnDisconnect action;
    DWORD timeoutMs;
    ULONG left;
    const char *warning; // the trace line expected, or null
};

TEST(StubManager, ShutdownDisconnectsWaitsAndWarnsOnTimeout)
{
    trace();
    const ShutdownRow rows[] = {
        { "released during its disconnect", S_OK, OnDisconnect::ReleaseNow, 5000, 0, nullptr },
        { "released by a call the pump serves", S_OK, OnDisconnect::ReleaseThroughPump, 5000, 0, nullptr },
        { "failed disconnect drops the entry", E_FAIL, OnDisconnect::Nothing, 5000, 0, nullptr },
        { "kept stub outlasts the limit", S_OK, OnDisconnect::Nothing, 100, 1,
          "WARNING! 1 object are not removed from stub manager during 100 ms!\n" },
        { "a limit of 0 still pumps and counts once", S_OK, OnDisconnect::Nothing, 0, 1,
          "WARNING! 1 object are not removed from stub manager during 0 ms!\n" },
    };
    for (const ShutdownRow &row : rows) {
        SCOPED_TRACE(row.name);
        const ComPtr<CStubManager> manager = newManager();
        StubLog log;
        auto *stub = new TestStub(log, row.disconnectResult, row.action);
        stub->Register(manager.get());

        EXPECT_EQ(manager->ShutdownStubs(row.timeoutMs), row.left);
        EXPECT_EQ(log.disconnects, 1);
        const std::string traced = trace().newText();
        EXPECT_EQ(traced.find(row.warning ? row.warning : "WARNING") != std::string::npos, row.warning != nullptr)
            << traced;
        // Ended on the shutting-down thread, or still alive.
        EXPECT_EQ(log.endedOn, row.action == OnDisconnect::Nothing ? 0 : GetCurrentThreadId());
        // Emptied either way; a stub still alive unregisters into nothing.
        EXPECT_EQ(manager->ShutdownStubs(0), 0u);
        if (row.action == OnDisconnect::Nothing)
            stub->Release();
        EXPECT_EQ(log.disconnects, 1);
    }
}

TEST(StubManager, ChangedFirstWordIsDroppedWithoutACall)
{
    const ComPtr<CStubManager> manager = newManager();
    StubLog freedLog, laterLog;
    alignas(TestStub) unsigned char memory[sizeof(TestStub)];
    auto *stub = new (memory) TestStub(freedLog, S_OK, OnDisconnect::Nothing);
    manager->RegisterStub(stub);
    // Freed without unregistering; the memory now holds another object.
    stub->~TestStub();
    TestStub *later = new (memory) OtherObject(laterLog, S_OK, OnDisconnect::Nothing);
    EXPECT_EQ(manager->ShutdownStubs(5000), 0u);
    EXPECT_EQ(freedLog.disconnects + laterLog.disconnects, 0);
    later->~TestStub();
}

TEST(StubManager, HoldsTheModuleLockAndShutsDownWhatIsLeftAtItsEnd)
{
    EXPECT_EQ(CStubManager::CreateInstance(nullptr), E_POINTER);
    const LONG before = ProxyModule().GetLockCount();
    StubLog log;
    auto *stub = new TestStub(log, E_FAIL, OnDisconnect::Nothing);
    {
        const ComPtr<CStubManager> manager = newManager();
        EXPECT_EQ(ProxyModule().GetLockCount(), before + 1);
        ComPtr<IUnknown> unknown, other;
        EXPECT_EQ(manager->QueryInterface(IID_IUnknown, unknown.putVoid()), S_OK);
        EXPECT_EQ(unknown.get(), static_cast<IUnknown *>(manager.get()));
        EXPECT_EQ(manager->QueryInterface(IID_IMarshal, other.putVoid()), E_NOINTERFACE);
        manager->RegisterStub(stub); // without a reference to the manager, so that it ends
    }
    EXPECT_EQ(log.disconnects, 1);
    EXPECT_EQ(ProxyModule().GetLockCount(), before);
    stub->Release();
}

} // namespace
