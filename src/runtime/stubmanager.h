// The registry of objects handed to the host, so that at shut-down they can
// be cut loose from it and waited for, a bounded time.
#pragma once

#include <atomic>
#include <unordered_map>

#include "platform/automation.h"

namespace vrOpenAppHook {

// Each entry keeps the object's first word (its table of operations) as it
// was when registered: a changed word tells, without calling the object,
// that the entry no longer stands for a live stub. Answers IUnknown only;
// the other operations are called directly. Every registered object holds
// a reference to the manager.
class CStubManager : public IUnknown
{
public:
    static constexpr DWORD DefaultTimeoutMs = 1000;

    // A new manager with one reference for the caller. E_POINTER for a null
    // target, E_OUTOFMEMORY, or the lock's set-up failure.
    static HRESULT CreateInstance(CStubManager **manager);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    // Slot 3, the implementation's deleting destructor: one slot here, as on
    // the original platform. Nothing calls it through the table.
    virtual void STDMETHODCALLTYPE DeletingDestructor();

    // Any thread; take the lock for the table operation only.
    void RegisterStub(IUnknown *object);
    void UnregisterStub(IUnknown *object);

    // Disconnects every registered object whose first word is unchanged.
    // Any thread; the lock is never held while an object is called, since a
    // disconnect may end the object and so reach UnregisterStub.
    void DisconnectStubs();

    // Disconnects, then serves this thread's queued calls and polls every
    // 50 ms until the table is empty or timeoutMs has passed; then empties
    // the table. Returns the number of objects left, 0 when all went.
    // Runs on the shutting-down thread.
    ULONG ShutdownStubs(DWORD timeoutMs);

    // Serves the calls queued for this thread for up to timeoutMs; the
    // result of the wait (RPC_S_CALLPENDING when nothing ended it).
    static HRESULT PumpStubMessages(DWORD timeoutMs);

protected:
    virtual ~CStubManager();

private:
    using Table = std::unordered_map<IUnknown *, ULONG_PTR>;
    static constexpr size_t InitialBuckets = 8;

    CStubManager();
    ULONG stubCount();

    CRITICAL_SECTION lock;
    bool lockReady = false;
    Table table{ InitialBuckets };
    std::atomic<LONG> refCount{ 0 };
};

} // namespace vrOpenAppHook
