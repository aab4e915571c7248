#include "runtime/stubmanager.h"

#include <limits>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "runtime/errors.h"
#include "runtime/moduleobject.h"
#include "runtime/sectionlocker.h"
#include "runtime/trace.h"

namespace vrOpenAppHook {

namespace {

constexpr DWORD PollIntervalMs = 50;

// The event the pump waits on. Nothing ever signals it: the wait exists
// only to serve the calls queued for the waiting thread meanwhile.
std::atomic<HANDLE> pumpEvent{ nullptr };

void closePumpEvent()
{
    if (HANDLE event = pumpEvent.exchange(nullptr))
        CloseHandle(event);
}

// Made at first use, closed by an exit handler. Any thread.
HANDLE sharedPumpEvent()
{
    static std::once_flag made;
    std::call_once(made, [] {
        pumpEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        std::atexit(closePumpEvent);
    });
    return pumpEvent.load();
}

// The object's first word, its table of operations; 0 when it can't be
// read. Never faults.
ULONG_PTR tableWord(IUnknown *object)
{
    ULONG_PTR word = 0;
    RunGuarded([&] {
        if (!IsBadReadPtr(object, sizeof word))
            std::memcpy(&word, object, sizeof word);
    });
    return word;
}

} // namespace

CStubManager::CStubManager()
{
    ProxyModule().Lock();
}

CStubManager::~CStubManager()
{
    // A stray reference taken and dropped during the shut-down below must
    // not reach 0 and start a second destruction.
    refCount = std::numeric_limits<LONG>::max() / 2;
    ShutdownStubs(DefaultTimeoutMs);
    Table().swap(table);
    if (lockReady)
        DeleteCriticalSection(&lock);
    ProxyModule().Unlock();
}

HRESULT CStubManager::CreateInstance(CStubManager **manager)
{
    if (!manager)
        return E_POINTER;
    *manager = nullptr;
    auto *created = new (std::nothrow) CStubManager;
    if (!created)
        return E_OUTOFMEMORY;
    created->AddRef();
    const HRESULT hr = InitializeSection(&created->lock, created->lockReady);
    if (FAILED(hr)) {
        created->Release();
        return hr;
    }
    *manager = created;
    return S_OK;
}

HRESULT CStubManager::QueryInterface(REFIID riid, void **object)
{
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (riid != IID_IUnknown)
        return E_NOINTERFACE;
    *object = static_cast<IUnknown *>(this);
    AddRef();
    return S_OK;
}

ULONG CStubManager::AddRef()
{
    return ULONG(++refCount);
}

ULONG CStubManager::Release()
{
    const LONG remaining = --refCount;
    if (remaining == 0)
        delete this;
    return ULONG(remaining);
}

void CStubManager::DeletingDestructor()
{
    delete this;
}

void CStubManager::RegisterStub(IUnknown *object)
{
    if (!lockReady)
        return;
    SectionLocker locked(&lock);
    table.emplace(object, tableWord(object));
}

void CStubManager::UnregisterStub(IUnknown *object)
{
    if (!lockReady)
        return;
    SectionLocker locked(&lock);
    table.erase(object);
}

ULONG CStubManager::stubCount()
{
    if (!lockReady)
        return 0;
    SectionLocker locked(&lock);
    return ULONG(table.size());
}

void CStubManager::DisconnectStubs()
{
    if (!lockReady)
        return;
    std::vector<std::pair<IUnknown *, ULONG_PTR>> registered;
    {
        SectionLocker locked(&lock);
        registered.assign(table.begin(), table.end());
    }
    for (const auto &[object, word] : registered) {
        bool present = false;
        {
            SectionLocker locked(&lock);
            present = table.count(object) != 0;
        }
        // Gone since the copy: its own end has removed it.
        if (!present)
            continue;
        // Connected objects stay listed: they end when their references go,
        // and remove themselves then.
        if (tableWord(object) == word && SafeCoDisconnectObject(object) == S_OK)
            continue;
        // A changed word or a failed disconnect: this object never reports back.
        SectionLocker locked(&lock);
        table.erase(object);
    }
}

ULONG CStubManager::ShutdownStubs(DWORD timeoutMs)
{
    ULONG remaining = stubCount();
    if (remaining == 0)
        return 0;
    DisconnectStubs();
    const DWORD start = GetTickCount();
    DWORD now = start;
    bool timedOut = false;
    for (;;) {
        if (now - start > timeoutMs) {
            timedOut = true;
            break;
        }
        // The pump comes before the count, so a timeout of 0 still gets one.
        PumpStubMessages(0);
        remaining = stubCount();
        if (remaining == 0)
            break;
        Sleep(PollIntervalMs);
        now = GetTickCount();
    }
    if (timedOut) {
        // The grammar of this line is deliberate: it has always read so.
        Trace(u"WARNING! %u object are not removed from stub manager during %u ms!", remaining, timeoutMs);
    }
    SectionLocker locked(&lock);
    Table(InitialBuckets).swap(table);
    return remaining;
}

HRESULT CStubManager::PumpStubMessages(DWORD timeoutMs)
{
    HANDLE event = sharedPumpEvent();
    DWORD index = 0;
    return CoWaitForMultipleHandles(0, timeoutMs, 1, &event, &index);
}

} // namespace vrOpenAppHook
