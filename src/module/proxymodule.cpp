#include "module/proxymodule.h"

#include "objects/objectmanageraccess.h"
#include "runtime/errors.h"
#include "runtime/productpath.h"

namespace {

CvrQtProxyModuleIntf *moduleObject = nullptr;
// Written at detach and never read: kept so.
[[maybe_unused]] volatile ULONG moduleTerminated = 0;
// Made before and destroyed after the library's lifetime object, whose
// detach reads it.
__attribute__((init_priority(150))) std::u16string moduleFileName;

class ScopedModuleLock
{
public:
    ScopedModuleLock() { EnterCriticalSection(ModuleLock()); }
    ~ScopedModuleLock() { LeaveCriticalSection(ModuleLock()); }
};

} // namespace

LPCRITICAL_SECTION ModuleLock()
{
    static CRITICAL_SECTION lock = [] {
        CRITICAL_SECTION section;
        if (!InitializeCriticalSectionAndSpinCount(&section, 0))
            ThrowHResult(HResultFromSystemError(LONG(GetLastError())));
        return section;
    }();
    return &lock;
}

namespace BaseZK {

namespace {

HRESULT addSubscriber(SubscriberList &list, IzkModuleSubscriber *subscriber)
{
    ScopedModuleLock lock;
    if (list.contains(subscriber))
        return E_FAIL;
    list.append(subscriber);
    return S_OK;
}

HRESULT removeSubscriber(SubscriberList &list, IzkModuleSubscriber *subscriber)
{
    ScopedModuleLock lock;
    list.remove(subscriber);
    return S_OK;
}

} // namespace

template <typename Derived>
HRESULT IzkModuleIntfImpl<Derived>::AddUnloadSubscriber(IzkModuleSubscriber *subscriber)
{
    return addSubscriber(firstList, subscriber);
}

template <typename Derived>
HRESULT IzkModuleIntfImpl<Derived>::RemoveUnloadSubscriber(IzkModuleSubscriber *subscriber)
{
    return removeSubscriber(firstList, subscriber);
}

template <typename Derived>
HRESULT IzkModuleIntfImpl<Derived>::AddLateUnloadSubscriber(IzkModuleSubscriber *subscriber)
{
    return addSubscriber(secondList, subscriber);
}

template <typename Derived>
HRESULT IzkModuleIntfImpl<Derived>::RemoveLateUnloadSubscriber(IzkModuleSubscriber *subscriber)
{
    return removeSubscriber(secondList, subscriber);
}

template class IzkModuleIntfImpl<CvrQtProxyModuleIntf>;

} // namespace BaseZK

CvrQtProxyModuleIntf::CvrQtProxyModuleIntf()
{
    ProxyModule().Lock();
}

CvrQtProxyModuleIntf::~CvrQtProxyModuleIntf()
{
    ReleaseObjectManager();
    ProxyModule().Unlock();
    secondList.clear();
    firstList.clear();
}

HRESULT CvrQtProxyModuleIntf::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(this,
                               { Implements<CvrQtProxyModuleIntf, IzkModuleIntf>(IID_IzkModuleIntf),
                                 Implements<CvrQtProxyModuleIntf, IvrQtProxyModule>(IID_IvrQtProxyModule) },
                               riid, object);
}

ULONG CvrQtProxyModuleIntf::Release()
{
    const ULONG remaining = --refCount;
    if (remaining == 0)
        delete this;
    return remaining;
}

HRESULT CvrQtProxyModuleIntf::GetObjectManager(IUnknown **manager)
{
    // Creation is not tested: the accessor's first call must come from one
    // thread at a time, and it cannot fail short of memory.
    return GetObjectManagerInstance()->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(manager));
}

HRESULT CvrQtProxyModuleIntf::NotifySubscribers(bool lateList)
{
    ScopedModuleLock lock;
    // A copy, so that a subscriber may remove itself from within its call.
    const SubscriberList copy(lateList ? secondList : firstList);
    BSTR name = SysAllocString(ModuleFileName().c_str());
    if (!name)
        ThrowHResult(E_OUTOFMEMORY);
    copy.forEach([&](IzkModuleSubscriber *subscriber) {
        if (subscriber)
            subscriber->OnModuleUnloading(name, this);
    });
    SysFreeString(name);
    return S_OK;
}

CvrQtProxyModuleIntf *GetModuleObject()
{
    ScopedModuleLock lock;
    if (!moduleObject) {
        moduleObject = new CvrQtProxyModuleIntf;
        moduleObject->AddRef();
    }
    return moduleObject;
}

std::u16string ModuleFileName()
{
    if (moduleFileName.empty()) {
        OLECHAR path[MAX_PATH] = {};
        GetModuleFileNameW(ModuleHandle(), path, MAX_PATH);
        std::u16string_view view(path);
        const size_t slash = view.rfind(u'/');
        moduleFileName = std::u16string(slash == std::u16string_view::npos ? view : view.substr(slash + 1));
    }
    return moduleFileName;
}

bool ModuleAttach(HMODULE instance)
{
    if (FAILED(SetModuleHandle(instance, true)))
        return false;
    try {
        ModuleLock();
    } catch (...) {
        return false;
    }
    return true;
}

bool ModuleDetach()
{
    {
        ScopedModuleLock lock;
        if (moduleObject) {
            moduleObject->NotifySubscribers(false);
            moduleObject->NotifySubscribers(true);
        }
    }
    GetModuleObject();
    ReleaseObjectManager();
    ScopedModuleLock lock;
    moduleTerminated = 1;
    if (CvrQtProxyModuleIntf *object = moduleObject) {
        moduleObject = nullptr;
        object->Release();
    }
    return true;
}
