#include "typeinfo/multithreadtypeinfo.h"

#include <new>

#include "runtime/sectionlocker.h"

namespace vrOpenAppHook {

HRESULT CreateMultiThreadTypeInfo(ITypeInfo *outerAndTarget, IUnknown **result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    if (!outerAndTarget)
        return E_INVALIDARG;
    auto *created = new (std::nothrow) CMultiThreadTypeInfoImpl(outerAndTarget);
    if (!created)
        return E_OUTOFMEMORY;
    created->inner.AddRef();
    const HRESULT hr = InitializeSection(&created->lock, created->lockReady);
    if (FAILED(hr)) {
        created->inner.Release();
        return hr;
    }
    *result = &created->inner;
    return S_OK;
}

CMultiThreadTypeInfoImpl::CMultiThreadTypeInfoImpl(ITypeInfo *outerAndTarget) : target(outerAndTarget) {}

CMultiThreadTypeInfoImpl::~CMultiThreadTypeInfoImpl()
{
    if (lockReady)
        DeleteCriticalSection(&lock);
}

HRESULT CMultiThreadTypeInfoImpl::InnerUnknown::QueryInterface(REFIID riid, void **object)
{
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (riid == IID_IUnknown) {
        *object = static_cast<IUnknown *>(this);
        AddRef();
        return S_OK;
    }
    if (riid == IID_ITypeInfo) {
        *object = static_cast<ITypeInfo *>(owner);
        owner->AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

ULONG CMultiThreadTypeInfoImpl::InnerUnknown::AddRef()
{
    return owner->InternalAddRef();
}

ULONG CMultiThreadTypeInfoImpl::InnerUnknown::Release()
{
    return owner->InternalRelease();
}

HRESULT CMultiThreadTypeInfoImpl::QueryInterface(REFIID riid, void **object)
{
    return target->QueryInterface(riid, object);
}

ULONG CMultiThreadTypeInfoImpl::AddRef()
{
    return target->AddRef();
}

ULONG CMultiThreadTypeInfoImpl::Release()
{
    return target->Release();
}

IUnknown *CMultiThreadTypeInfoImpl::GetControllingUnknown()
{
    return target;
}

template <typename Call>
auto CMultiThreadTypeInfoImpl::locked(Call &&call)
{
    SectionLocker held(&lock);
    return call();
}

HRESULT CMultiThreadTypeInfoImpl::GetTypeAttr(TYPEATTR **typeAttr)
{
    return locked([&] { return target->GetTypeAttr(typeAttr); });
}

HRESULT CMultiThreadTypeInfoImpl::GetTypeComp(ITypeComp **typeComp)
{
    return locked([&] { return target->GetTypeComp(typeComp); });
}

HRESULT CMultiThreadTypeInfoImpl::GetFuncDesc(UINT index, FUNCDESC **funcDesc)
{
    return locked([&] { return target->GetFuncDesc(index, funcDesc); });
}

HRESULT CMultiThreadTypeInfoImpl::GetVarDesc(UINT index, VARDESC **varDesc)
{
    return locked([&] { return target->GetVarDesc(index, varDesc); });
}

HRESULT CMultiThreadTypeInfoImpl::GetNames(MEMBERID memid, BSTR *names, UINT maxNames, UINT *count)
{
    return locked([&] { return target->GetNames(memid, names, maxNames, count); });
}

HRESULT CMultiThreadTypeInfoImpl::GetRefTypeOfImplType(UINT index, HREFTYPE *refType)
{
    return locked([&] { return target->GetRefTypeOfImplType(index, refType); });
}

HRESULT CMultiThreadTypeInfoImpl::GetImplTypeFlags(UINT index, INT *implTypeFlags)
{
    return locked([&] { return target->GetImplTypeFlags(index, implTypeFlags); });
}

HRESULT CMultiThreadTypeInfoImpl::GetIDsOfNames(LPOLESTR *names, UINT count, MEMBERID *memIds)
{
    return locked([&] { return target->GetIDsOfNames(names, count, memIds); });
}

HRESULT CMultiThreadTypeInfoImpl::Invoke(PVOID instance, MEMBERID memid, WORD flags, DISPPARAMS *params,
                                         VARIANT *result, EXCEPINFO *excepInfo, UINT *argErr)
{
    return locked([&] { return target->Invoke(instance, memid, flags, params, result, excepInfo, argErr); });
}

HRESULT CMultiThreadTypeInfoImpl::GetDocumentation(MEMBERID memid, BSTR *name, BSTR *docString, DWORD *helpContext,
                                                   BSTR *helpFile)
{
    return locked([&] { return target->GetDocumentation(memid, name, docString, helpContext, helpFile); });
}

HRESULT CMultiThreadTypeInfoImpl::GetDllEntry(MEMBERID memid, INVOKEKIND invKind, BSTR *dllName, BSTR *name,
                                              WORD *ordinal)
{
    return locked([&] { return target->GetDllEntry(memid, invKind, dllName, name, ordinal); });
}

HRESULT CMultiThreadTypeInfoImpl::GetRefTypeInfo(HREFTYPE refType, ITypeInfo **typeInfo)
{
    return locked([&] { return target->GetRefTypeInfo(refType, typeInfo); });
}

HRESULT CMultiThreadTypeInfoImpl::AddressOfMember(MEMBERID memid, INVOKEKIND invKind, PVOID *address)
{
    return locked([&] { return target->AddressOfMember(memid, invKind, address); });
}

HRESULT CMultiThreadTypeInfoImpl::CreateInstance(IUnknown *outer, REFIID riid, PVOID *object)
{
    return locked([&] { return target->CreateInstance(outer, riid, object); });
}

HRESULT CMultiThreadTypeInfoImpl::GetMops(MEMBERID memid, BSTR *mops)
{
    return locked([&] { return target->GetMops(memid, mops); });
}

HRESULT CMultiThreadTypeInfoImpl::GetContainingTypeLib(ITypeLib **typeLib, UINT *index)
{
    return locked([&] { return target->GetContainingTypeLib(typeLib, index); });
}

void CMultiThreadTypeInfoImpl::ReleaseTypeAttr(TYPEATTR *typeAttr)
{
    locked([&] { target->ReleaseTypeAttr(typeAttr); });
}

void CMultiThreadTypeInfoImpl::ReleaseFuncDesc(FUNCDESC *funcDesc)
{
    locked([&] { target->ReleaseFuncDesc(funcDesc); });
}

void CMultiThreadTypeInfoImpl::ReleaseVarDesc(VARDESC *varDesc)
{
    locked([&] { target->ReleaseVarDesc(varDesc); });
}

} // namespace vrOpenAppHook
