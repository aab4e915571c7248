// An ITypeInfo that forwards every call to another one under a lock of its
// own, so that a type description is called by one thread at a time.
#pragma once

#include "platform/automation.h"
#include "runtime/comobject.h"

namespace vrOpenAppHook {

// Made only as an aggregated inner object: the outer object is also the
// target. The inner IUnknown answers IUnknown on itself and ITypeInfo with
// the forwarding side, whose IUnknown operations go to the outer object.
// The wrapper holds no reference to its outer object.
class CMultiThreadTypeInfoImpl : public ITypeInfo, public ComObjectRoot
{
public:
    // Outer object's IUnknown operations.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // Slots 3 to 21: any thread; each holds lock (recursive) for the whole
    // forwarded call, Invoke included.
    HRESULT STDMETHODCALLTYPE GetTypeAttr(TYPEATTR **typeAttr) override;
    HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp **typeComp) override;
    HRESULT STDMETHODCALLTYPE GetFuncDesc(UINT index, FUNCDESC **funcDesc) override;
    HRESULT STDMETHODCALLTYPE GetVarDesc(UINT index, VARDESC **varDesc) override;
    HRESULT STDMETHODCALLTYPE GetNames(MEMBERID memid, BSTR *names, UINT maxNames, UINT *count) override;
    HRESULT STDMETHODCALLTYPE GetRefTypeOfImplType(UINT index, HREFTYPE *refType) override;
    HRESULT STDMETHODCALLTYPE GetImplTypeFlags(UINT index, INT *implTypeFlags) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(LPOLESTR *names, UINT count, MEMBERID *memIds) override;
    HRESULT STDMETHODCALLTYPE Invoke(PVOID instance, MEMBERID memid, WORD flags, DISPPARAMS *params, VARIANT *result,
                                     EXCEPINFO *excepInfo, UINT *argErr) override;
    HRESULT STDMETHODCALLTYPE GetDocumentation(MEMBERID memid, BSTR *name, BSTR *docString, DWORD *helpContext,
                                               BSTR *helpFile) override;
    HRESULT STDMETHODCALLTYPE GetDllEntry(MEMBERID memid, INVOKEKIND invKind, BSTR *dllName, BSTR *name,
                                          WORD *ordinal) override;
    HRESULT STDMETHODCALLTYPE GetRefTypeInfo(HREFTYPE refType, ITypeInfo **typeInfo) override;
    HRESULT STDMETHODCALLTYPE AddressOfMember(MEMBERID memid, INVOKEKIND invKind, PVOID *address) override;
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown *outer, REFIID riid, PVOID *object) override;
    HRESULT STDMETHODCALLTYPE GetMops(MEMBERID memid, BSTR *mops) override;
    HRESULT STDMETHODCALLTYPE GetContainingTypeLib(ITypeLib **typeLib, UINT *index) override;
    void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR *typeAttr) override;
    void STDMETHODCALLTYPE ReleaseFuncDesc(FUNCDESC *funcDesc) override;
    void STDMETHODCALLTYPE ReleaseVarDesc(VARDESC *varDesc) override;

    // Slot 22: the outer object's IUnknown, without a new reference.
    virtual IUnknown *STDMETHODCALLTYPE GetControllingUnknown();

private:
    friend HRESULT CreateMultiThreadTypeInfo(ITypeInfo *outerAndTarget, IUnknown **result);

    // The inner, non-delegating IUnknown, which owns the object.
    class InnerUnknown : public IUnknown
    {
    public:
        explicit InnerUnknown(CMultiThreadTypeInfoImpl *owner) : owner(owner) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
        ULONG STDMETHODCALLTYPE AddRef() override;
        ULONG STDMETHODCALLTYPE Release() override;

    private:
        CMultiThreadTypeInfoImpl *owner;
    };

    explicit CMultiThreadTypeInfoImpl(ITypeInfo *outerAndTarget);
    ~CMultiThreadTypeInfoImpl() override;

    // Calls call on target with lock held.
    template <typename Call>
    auto locked(Call &&call);

    CRITICAL_SECTION lock;
    bool lockReady = false;
    ITypeInfo *target;
    InnerUnknown inner{ this };
};

// Makes the wrapper with outerAndTarget as its outer object and target, and
// hands out the inner IUnknown with one reference. E_POINTER for a null
// result, E_INVALIDARG for a null outer object, E_OUTOFMEMORY, or the lock's
// set-up failure, with no object.
HRESULT CreateMultiThreadTypeInfo(ITypeInfo *outerAndTarget, IUnknown **result);

} // namespace vrOpenAppHook
