// The type description of one Qt class: the members its exposer keeps, the
// description of its base class as its base, and the three members no
// meta-object declares by which the host tells objects apart: QtClassName
// (on QObject), QtIndex and QtText (on QWidget).
#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "reflection/classrecord.h"
#include "typeinfo/customtypeinfo.h"

class CvrQtBaseObjectExposer;
class CvrQtExposerRegistry;

// Answers ITypeInfo2 too (tried first), on the same object: its ITypeInfo
// slots are those of the description, and it gives the custom data that
// marks the description as Qt's and QtText as the text member.
class CvrQtCustomTypeInfo : public vrOpenAppHook::CCustomTypeInfo, public ITypeInfo2
{
public:
    // A new description with one reference for the caller.
    static HRESULT Create(CvrQtCustomTypeInfo **result);

    // Once: keeps a reference to the registry's manager, takes the class
    // record from exposer and registers with the registry's stub manager.
    HRESULT Initialize(CvrQtExposerRegistry *registry, CvrQtBaseObjectExposer *exposer, IUnknown *wrapper);
    // The exposer is going: calls on its members fail from now on.
    void DetachExposer() { exposer.store(nullptr, std::memory_order_release); }

    ITypeInfo *AsTypeInfo() { return static_cast<CCustomTypeInfo *>(this); }

    // IUnknown and ITypeInfo, for both sides.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return CCustomTypeInfo::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return CCustomTypeInfo::Release(); }
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
    // The three added members answer with their own name and description.
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

    // ITypeInfo2: custom data only; the rest answers E_NOTIMPL.
    HRESULT STDMETHODCALLTYPE GetTypeKind(TYPEKIND *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeFlags(ULONG *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFuncIndexOfMemId(MEMBERID, INVOKEKIND, UINT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetVarIndexOfMemId(MEMBERID, UINT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCustData(REFGUID guid, VARIANT *value) override;
    HRESULT STDMETHODCALLTYPE GetFuncCustData(UINT index, REFGUID guid, VARIANT *value) override;
    HRESULT STDMETHODCALLTYPE GetParamCustData(UINT, UINT, REFGUID, VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetVarCustData(UINT, REFGUID, VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetImplTypeCustData(UINT, REFGUID, VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDocumentation2(MEMBERID, LCID, BSTR *, DWORD *, BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAllCustData(CUSTDATA *custData) override;
    HRESULT STDMETHODCALLTYPE GetAllFuncCustData(UINT index, CUSTDATA *custData) override;
    HRESULT STDMETHODCALLTYPE GetAllParamCustData(UINT, UINT, CUSTDATA *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAllVarCustData(UINT, CUSTDATA *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAllImplTypeCustData(UINT, CUSTDATA *) override { return E_NOTIMPL; }

protected:
    HRESULT STDMETHODCALLTYPE BuildTypeInfo() override;
    HRESULT STDMETHODCALLTYPE InvokeFunction(PVOID instance, int funcIndex, DISPPARAMS *params, VARIANT *result) override;
    HRESULT STDMETHODCALLTYPE InvokePropertyGet(PVOID instance, int funcIndex, DISPPARAMS *params,
                                                VARIANT *result) override;
    HRESULT STDMETHODCALLTYPE InvokePropertyPut(PVOID instance, int funcIndex, DISPPARAMS *params) override;
    HRESULT STDMETHODCALLTYPE GetVariable(PVOID, int, VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutVariable(PVOID, int, VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE InvokeDefault(PVOID, VARIANT *) override { return E_NOTIMPL; }
    // The result as it is; the exception record stays empty.
    HRESULT STDMETHODCALLTYPE TranslateError(HRESULT hr, EXCEPINFO *) override { return hr; }

private:
    // One of the members no meta-object declares.
    struct AddedMember {
        MEMBERID id = -10; // no member has it
        int funcIndex = -10;
    };
    enum Added { ClassName, Index, Text, AddedCount };

    CvrQtCustomTypeInfo() = default;
    ~CvrQtCustomTypeInfo() override;

    HRESULT AddMember(Added which);
    HRESULT InvokeMember(PVOID instance, int funcIndex, DISPPARAMS *params, VARIANT *result);
    HRESULT ReadAddedMember(PVOID instance, Added which, VARIANT *result);

    std::unique_ptr<ClassRecord> typeData;
    IUnknown *manager = nullptr; // one reference
    CvrQtExposerRegistry *registry = nullptr;
    std::atomic<CvrQtBaseObjectExposer *> exposer{ nullptr };
    // From function index to member index; -1 for the added members.
    std::vector<int> funcToMember;
    AddedMember added[AddedCount];
};
