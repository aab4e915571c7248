// The module's front door: what GetModuleIntf hands out, and the host's
// unload subscriber.
#pragma once

#include "interfaces/unknown.h"

struct IzkModuleIntf;

DEFINE_IID(IID_IzkModuleIntf, 0xC6736F7A, 0xFD53, 0x4EE5, 0x98, 0x99, 0x47, 0x86, 0x23, 0x85, 0x3C, 0x6C);
DEFINE_IID(IID_IvrQtProxyModule, 0x87D77832, 0xB35F, 0x4763, 0x8E, 0x9E, 0x53, 0x8F, 0x3E, 0x9B, 0xCC, 0xB2);
// The subscriber is only ever called through its slots; this identifier is
// the module's own choice, for hosts that want to query for it.
DEFINE_IID(IID_IzkModuleSubscriber, 0x5A0F3C41, 0x2E7B, 0x4C8D, 0x9A, 0x61, 0x3B, 0x0D, 0x7E, 0x52, 0xC4, 0x19);

struct IzkModuleSubscriber : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OnModuleUnloading(BSTR moduleFileName, IzkModuleIntf *module) = 0;
};

struct IzkModuleIntf : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddUnloadSubscriber(IzkModuleSubscriber *subscriber) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveUnloadSubscriber(IzkModuleSubscriber *subscriber) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddLateUnloadSubscriber(IzkModuleSubscriber *subscriber) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveLateUnloadSubscriber(IzkModuleSubscriber *subscriber) = 0;
    // Slot 7 is the implementation's deleting destructor. It is one slot
    // here, as on the original platform; hosts never call it.
    virtual void STDMETHODCALLTYPE DeletingDestructor() = 0;
};

struct IvrQtProxyModule : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetObjectManager(IUnknown **manager) = 0;
};

// The one export of libvrqtproxy.so.
typedef HRESULT (*GetModuleIntfFunction)(IUnknown **result);
