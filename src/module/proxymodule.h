// The module object that GetModuleIntf hands out, and the module's life:
// attach at load, the ordered shut-down at unload.
#pragma once

#include <atomic>

#include "interfaces/module.h"
#include "module/subscriberlist.h"
#include "runtime/comobject.h"

namespace BaseZK {

// Implements IzkModuleIntf over the two subscriber lists. All list
// operations run under moduleLock.
template <typename Derived>
class IzkModuleIntfImpl : public IzkModuleIntf
{
public:
    HRESULT STDMETHODCALLTYPE AddUnloadSubscriber(IzkModuleSubscriber *subscriber) override;
    HRESULT STDMETHODCALLTYPE RemoveUnloadSubscriber(IzkModuleSubscriber *subscriber) override;
    HRESULT STDMETHODCALLTYPE AddLateUnloadSubscriber(IzkModuleSubscriber *subscriber) override;
    HRESULT STDMETHODCALLTYPE RemoveLateUnloadSubscriber(IzkModuleSubscriber *subscriber) override;
    void STDMETHODCALLTYPE DeletingDestructor() override { delete static_cast<Derived *>(this); }

protected:
    SubscriberList firstList;
    SubscriberList secondList;
};

} // namespace BaseZK

class CvrQtProxyModuleIntf : public BaseZK::IzkModuleIntfImpl<CvrQtProxyModuleIntf>, public IvrQtProxyModule
{
public:
    CvrQtProxyModuleIntf();
    virtual ~CvrQtProxyModuleIntf();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refCount; }
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE GetObjectManager(IUnknown **manager) override;

    // Calls OnModuleUnloading on a copy of one list, oldest first, under
    // moduleLock (recursive; detach already holds it).
    HRESULT NotifySubscribers(bool lateList);

private:
    std::atomic<ULONG> refCount{ 0 };
};

// Borrowed; creates the module object on first use.
CvrQtProxyModuleIntf *GetModuleObject();
bool ModuleAttach(HMODULE instance);
bool ModuleDetach();
// The module's own file name and extension, without the folder.
std::u16string ModuleFileName();
// Guards the module object and both subscriber lists.
LPCRITICAL_SECTION ModuleLock();
