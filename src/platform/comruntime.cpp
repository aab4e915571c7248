// The component runtime's per-thread state: CoInitializeEx and its count,
// the apartment a thread is in, message filters, object contexts, object
// creation and disconnection. There are no apartments to marshal between:
// a thread's apartment is a label that the queries answer with.
#include <atomic>
#include <mutex>
#include <new>

#include "platform/combase.h"
#include "platform/refcounted.h"
#include "platform/system.h"

namespace platform {
// The process's global interface table (globalinterfacetable.cpp).
IGlobalInterfaceTable *globalInterfaceTable();
} // namespace platform

namespace {

constexpr DWORD coInitDisableOle1Dde = 0x4;
constexpr DWORD coInitSpeedOverMemory = 0x8;

// Counts of the process's apartments. Guarded by apartmentsLock.
std::mutex apartmentsLock;
ULONG threadsInMultithreadedApartment = 0;
bool mainSingleThreadedApartmentTaken = false;

struct ThreadApartment {
    ULONG initializations = 0;
    bool singleThreaded = false;
    bool mainSingleThreaded = false;
    IMessageFilter *messageFilter = nullptr;
    GUID logicalThreadId{};

    ~ThreadApartment()
    {
        if (initializations > 0)
            leave();
    }

    // Takes apartmentsLock.
    void enter(bool apartmentThreaded)
    {
        singleThreaded = apartmentThreaded;
        std::lock_guard<std::mutex> guard(apartmentsLock);
        if (!singleThreaded)
            ++threadsInMultithreadedApartment;
        else if (!mainSingleThreadedApartmentTaken)
            mainSingleThreaded = mainSingleThreadedApartmentTaken = true;
    }

    // Takes apartmentsLock; releases the thread's message filter.
    void leave()
    {
        initializations = 0;
        {
            std::lock_guard<std::mutex> guard(apartmentsLock);
            if (!singleThreaded)
                --threadsInMultithreadedApartment;
            else if (mainSingleThreaded)
                mainSingleThreadedApartmentTaken = false;
        }
        mainSingleThreaded = false;
        if (IMessageFilter *filter = messageFilter) {
            messageFilter = nullptr;
            filter->Release();
        }
    }
};

thread_local ThreadApartment apartment;

// The calling thread's apartment type; a thread that did not initialize
// belongs to the multithreaded apartment while one exists, as on Windows.
// Takes apartmentsLock.
HRESULT currentApartmentType(APTTYPE &type)
{
    type = APTTYPE_CURRENT;
    if (apartment.initializations > 0) {
        type = !apartment.singleThreaded ? APTTYPE_MTA : apartment.mainSingleThreaded ? APTTYPE_MAINSTA : APTTYPE_STA;
        return S_OK;
    }
    std::lock_guard<std::mutex> guard(apartmentsLock);
    if (threadsInMultithreadedApartment == 0)
        return CO_E_NOTINITIALIZED;
    type = APTTYPE_MTA;
    return S_OK;
}

// The object context: answers IComThreadingInfo for the calling thread.
class ObjectContext final : public IComThreadingInfo, private platform::RefCounted {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
    {
        if (!object)
            return E_POINTER;
        if (riid != IID_IUnknown && riid != IID_IComThreadingInfo) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        *object = static_cast<IComThreadingInfo *>(this);
        AddRef();
        return S_OK;
    }
    PLATFORM_REFCOUNTED_IUNKNOWN

    HRESULT STDMETHODCALLTYPE GetCurrentApartmentType(APTTYPE *type) override
    {
        return type ? currentApartmentType(*type) : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE GetCurrentThreadType(THDTYPE *threadType) override
    {
        APTTYPE type = APTTYPE_CURRENT;
        const HRESULT result = threadType ? currentApartmentType(type) : E_INVALIDARG;
        if (SUCCEEDED(result))
            *threadType = type == APTTYPE_MTA ? THDTYPE_BLOCKMESSAGES : THDTYPE_PROCESSMESSAGES;
        return result;
    }
    // The thread's causality id: made on first use, kept for the thread.
    HRESULT STDMETHODCALLTYPE GetCurrentLogicalThreadId(GUID *logicalThreadId) override
    {
        if (!logicalThreadId)
            return E_INVALIDARG;
        if (apartment.logicalThreadId == GUID_NULL)
            CoCreateGuid(&apartment.logicalThreadId);
        *logicalThreadId = apartment.logicalThreadId;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetCurrentLogicalThreadId(REFGUID logicalThreadId) override
    {
        apartment.logicalThreadId = logicalThreadId;
        return S_OK;
    }

private:
};

} // namespace

/// CoInitializeEx: enters the calling thread into an apartment, or counts a
/// further initialization of it.
///   reserved [in]  must be NULL.
///   coInit   [in]  COINIT_APARTMENTTHREADED or COINIT_MULTITHREADED, with
///                  COINIT_DISABLE_OLE1DDE and COINIT_SPEED_OVER_MEMORY accepted.
/// Returns S_OK for the thread's first initialization; S_FALSE for each
/// further one (each needs its CoUninitialize); RPC_E_CHANGED_MODE, without
/// counting, when the thread is in the other kind of apartment; E_INVALIDARG
/// for reserved set or unknown flags.
/// The first thread to enter a single-threaded apartment is the main one
/// (APTTYPE_MAINSTA) until it leaves.
PLATFORM_API HRESULT CoInitializeEx(LPVOID reserved, DWORD coInit)
{
    constexpr DWORD knownFlags = COINIT_APARTMENTTHREADED | coInitDisableOle1Dde | coInitSpeedOverMemory;
    if (reserved || (coInit & ~knownFlags))
        return E_INVALIDARG;
    const bool apartmentThreaded = coInit & COINIT_APARTMENTTHREADED;
    if (apartment.initializations > 0) {
        if (apartment.singleThreaded != apartmentThreaded)
            return RPC_E_CHANGED_MODE;
        ++apartment.initializations;
        return S_FALSE;
    }
    apartment.enter(apartmentThreaded);
    apartment.initializations = 1;
    return S_OK;
}

/// CoUninitialize: undoes one successful CoInitializeEx of the calling
/// thread; the last one leaves the apartment and releases the thread's
/// message filter. A call without initialization does nothing.
PLATFORM_API void CoUninitialize(void)
{
    if (apartment.initializations == 0)
        return;
    if (--apartment.initializations == 0)
        apartment.leave();
}

/// CoCreateInstance: creates an object of a class the runtime provides.
///   clsid   [in]   CLSID_StdGlobalInterfaceTable, the one class here.
///   outer   [in]   must be NULL (the table cannot be aggregated).
///   context [in]   must include CLSCTX_INPROC_SERVER.
///   riid    [in]   the interface wanted (IID_IGlobalInterfaceTable, IID_IUnknown).
///   object  [out]  receives it (the process's one table), NULL on failure.
/// Returns S_OK; E_POINTER for a null object; CO_E_NOTINITIALIZED when the
/// thread is in no apartment; CLASS_E_NOAGGREGATION; REGDB_E_CLASSNOTREG for
/// any other class or context; E_NOINTERFACE.
/// Differs from Windows: no class registry, so no other class can be created.
PLATFORM_API HRESULT CoCreateInstance(REFCLSID clsid, IUnknown *outer, DWORD context, REFIID riid, LPVOID *object)
{
    if (!object)
        return E_POINTER;
    *object = nullptr;
    APTTYPE type = APTTYPE_CURRENT;
    if (FAILED(currentApartmentType(type)))
        return CO_E_NOTINITIALIZED;
    if (clsid != CLSID_StdGlobalInterfaceTable || !(context & CLSCTX_INPROC_SERVER))
        return REGDB_E_CLASSNOTREG;
    if (outer)
        return CLASS_E_NOAGGREGATION;
    return platform::globalInterfaceTable()->QueryInterface(riid, object);
}

/// CoGetObjectContext: the context of the calling thread's apartment.
///   riid    [in]   IID_IComThreadingInfo or IID_IUnknown.
///   context [out]  receives it, NULL on failure.
/// Returns S_OK; E_POINTER; CO_E_NOTINITIALIZED when the thread is in no
/// apartment; E_NOINTERFACE for other interfaces (IObjContext and
/// IContextCallback are not provided here); E_OUTOFMEMORY.
PLATFORM_API HRESULT CoGetObjectContext(REFIID riid, LPVOID *context)
{
    if (!context)
        return E_POINTER;
    *context = nullptr;
    APTTYPE type = APTTYPE_CURRENT;
    if (FAILED(currentApartmentType(type)))
        return CO_E_NOTINITIALIZED;
    auto *object = new (std::nothrow) ObjectContext();
    if (!object)
        return E_OUTOFMEMORY;
    const HRESULT result = object->QueryInterface(riid, context);
    object->Release();
    return result;
}

/// CoRegisterMessageFilter: sets the calling thread's message filter.
///   filter   [in]   the new filter (a reference is taken), or NULL for none.
///   previous [out]  receives the filter replaced, with its reference; when
///                   NULL that reference is released.
/// Returns S_OK; CO_E_NOT_SUPPORTED (0x80004021), leaving *previous alone,
/// when the thread is not in a single-threaded apartment: multithreaded
/// apartments have no message filters, as on Windows.
/// Differs from Windows: a thread in no apartment gets CO_E_NOT_SUPPORTED
/// (current Windows versions fault).
PLATFORM_API HRESULT CoRegisterMessageFilter(IMessageFilter *filter, IMessageFilter **previous)
{
    if (apartment.initializations == 0 || !apartment.singleThreaded)
        return CO_E_NOT_SUPPORTED;
    if (filter)
        filter->AddRef();
    IMessageFilter *replaced = apartment.messageFilter;
    apartment.messageFilter = filter;
    if (previous)
        *previous = replaced;
    else if (replaced)
        replaced->Release();
    return S_OK;
}

/// CoDisconnectObject: cuts an object off from its remote clients.
///   object   [in]  the object.
///   reserved [in]  passed on.
/// Returns what IMarshal::DisconnectObject returns when the object has its
/// own marshaler (as the free-threaded marshaler's S_OK); otherwise S_OK, as
/// there are no remote clients here; E_INVALIDARG for NULL;
/// CO_E_NOTINITIALIZED for an object without marshaler when the thread is in
/// no apartment (as Windows).
PLATFORM_API HRESULT CoDisconnectObject(IUnknown *object, DWORD reserved)
{
    if (!object)
        return E_INVALIDARG;
    IMarshal *marshal = nullptr;
    if (SUCCEEDED(object->QueryInterface(IID_IMarshal, reinterpret_cast<void **>(&marshal))) && marshal) {
        const HRESULT result = marshal->DisconnectObject(reserved);
        marshal->Release();
        return result;
    }
    APTTYPE type = APTTYPE_CURRENT;
    return FAILED(currentApartmentType(type)) ? CO_E_NOTINITIALIZED : S_OK;
}
