#include "reflection/qttypeinfo.h"

#include <new>

#include "interfaces/objects.h"
#include "interfaces/values.h"
#include "reflection/contextobject.h"
#include "reflection/exposerbase.h"
#include "reflection/exposerregistry.h"
#include "runtime/comobject.h"

using vrOpenAppHook::CCustomTypeInfo;

namespace {

// 94E37ED7-36B9-4AE8-B449-ACD0013AB56A: the description is Qt's.
constexpr GUID QtTypeMark = { 0x94E37ED7, 0x36B9, 0x4AE8, { 0xB4, 0x49, 0xAC, 0xD0, 0x01, 0x3A, 0xB5, 0x6A } };
// 61FD004E-B9D7-496A-9150-712C0B51B225: the function that gives an object's text.
constexpr GUID TextFunctionMark = { 0x61FD004E, 0xB9D7, 0x496A, { 0x91, 0x50, 0x71, 0x2C, 0x0B, 0x51, 0xB2, 0x25 } };
constexpr LONG TextFunctionValue = 200;

struct AddedMemberText {
    const OLECHAR *name;
    const OLECHAR *className; // the class whose description adds it
    VARTYPE vt;
    const OLECHAR *description;
};

// Deliberate: "widgetTitle" stands in the text as it always has.
constexpr AddedMemberText addedMembers[] = {
    { u"QtClassName", u"QObject", VT_BSTR, u"The name of the object's class." },
    { u"QtIndex", u"QWidget", VT_I4, u"The index of the Qt object." },
    { u"QtText", u"QWidget", VT_BSTR,
      u"The value of the object's text property or the value of the widgetTitle property." },
};

} // namespace

HRESULT CvrQtCustomTypeInfo::Create(CvrQtCustomTypeInfo **result)
{
    *result = new (std::nothrow) CvrQtCustomTypeInfo;
    if (!*result)
        return E_OUTOFMEMORY;
    (*result)->AddRef();
    return S_OK;
}

CvrQtCustomTypeInfo::~CvrQtCustomTypeInfo()
{
    if (manager)
        manager->Release();
}

HRESULT CvrQtCustomTypeInfo::Initialize(CvrQtExposerRegistry *newRegistry, CvrQtBaseObjectExposer *newExposer,
                                        IUnknown *wrapper)
{
    if (manager)
        return E_UNEXPECTED;
    registry = newRegistry;
    manager = registry->Manager();
    manager->AddRef();
    exposer.store(newExposer, std::memory_order_release);
    typeData.reset(newExposer->BuildTypeData());
    if (!typeData)
        return E_UNEXPECTED;
    return CCustomTypeInfo::Initialize(registry->StubManager(), wrapper, typeData->name);
}

HRESULT CvrQtCustomTypeInfo::QueryInterface(REFIID riid, void **object)
{
    if (object && IsEqualGUID(riid, IID_ITypeInfo2)) {
        *object = static_cast<ITypeInfo2 *>(this);
        AddRef();
        return S_OK;
    }
    return CCustomTypeInfo::QueryInterface(riid, object);
}

// The building: the added members first, so they keep their names against
// anything inherited; then the base; then the class's own members, all
// functions of one member under one identifier.
HRESULT CvrQtCustomTypeInfo::BuildTypeInfo()
{
    for (int which = 0; which < AddedCount; ++which) {
        if (!NameEquals(typeData->name, addedMembers[which].className))
            continue;
        const HRESULT hr = AddMember(Added(which));
        if (FAILED(hr))
            return hr;
    }
    for (int baseIndex : typeData->baseIndices) {
        ComPtr<ITypeInfo> base;
        HRESULT hr = registry->GetTypeInfoAt(baseIndex, base.put());
        if (SUCCEEDED(hr))
            hr = AddBaseType(base.get());
        if (FAILED(hr))
            return hr;
    }
    for (size_t memberIndex = 0; memberIndex < typeData->memberRecords.size(); ++memberIndex) {
        const MemberRecord &member = typeData->memberRecords[memberIndex];
        int memberId = 0;
        for (int record = 0; record < member.funcCount; ++record) {
            int funcIndex = 0;
            const HRESULT hr = record == 0 ? AddFunction(member.name, member.funcDescs[record], &memberId, &funcIndex)
                                           : AddFunctionToMember(memberId, member.funcDescs[record], &funcIndex);
            if (FAILED(hr))
                return hr;
            if (funcToMember.size() <= size_t(funcIndex))
                funcToMember.resize(size_t(funcIndex) + 1, -1);
            funcToMember[size_t(funcIndex)] = int(memberIndex);
        }
    }
    return S_OK;
}

HRESULT CvrQtCustomTypeInfo::AddMember(Added which)
{
    FUNCDESC record = {};
    record.funckind = FUNC_DISPATCH;
    record.invkind = INVOKE_PROPERTYGET;
    record.callconv = CC_STDCALL;
    record.elemdescFunc.tdesc.vt = addedMembers[which].vt;
    return AddFunction(addedMembers[which].name, &record, &added[which].id, &added[which].funcIndex);
}

HRESULT CvrQtCustomTypeInfo::InvokeFunction(PVOID instance, int funcIndex, DISPPARAMS *params, VARIANT *result)
{
    return InvokeMember(instance, funcIndex, params, result);
}

HRESULT CvrQtCustomTypeInfo::InvokePropertyGet(PVOID instance, int funcIndex, DISPPARAMS *params, VARIANT *result)
{
    for (int which = 0; which < AddedCount; ++which) {
        if (funcIndex == added[which].funcIndex)
            return ReadAddedMember(instance, Added(which), result);
    }
    return InvokeMember(instance, funcIndex, params, result);
}

HRESULT CvrQtCustomTypeInfo::InvokePropertyPut(PVOID instance, int funcIndex, DISPPARAMS *params)
{
    return InvokeMember(instance, funcIndex, params, nullptr);
}

HRESULT CvrQtCustomTypeInfo::InvokeMember(PVOID instance, int funcIndex, DISPPARAMS *params, VARIANT *result)
{
    CvrQtBaseObjectExposer *target = exposer.load(std::memory_order_acquire);
    if (!target)
        return RPC_E_DISCONNECTED;
    if (funcIndex < 0 || size_t(funcIndex) >= funcToMember.size())
        return DISP_E_MEMBERNOTFOUND;
    return target->InvokeMember(funcToMember[size_t(funcIndex)], static_cast<IUnknown *>(instance), params, result);
}

HRESULT CvrQtCustomTypeInfo::ReadAddedMember(PVOID instance, Added which, VARIANT *result)
{
    QObject *object = nullptr;
    if (const HRESULT hr = CallContextObject(static_cast<IUnknown *>(instance), &object); FAILED(hr))
        return hr;
    VARIANT value;
    VariantInit(&value);
    HRESULT hr = E_NOINTERFACE;
    if (which == ClassName) {
        ComPtr<IvrQtObjectsHelper> objects;
        manager->QueryInterface(IID_IvrQtObjectsHelper, objects.putVoid());
        if (objects)
            hr = objects->GetClassName(object, &value.bstrVal);
    } else {
        ComPtr<IvrQtWidgetsHelper> widgets;
        manager->QueryInterface(IID_IvrQtWidgetsHelper, widgets.putVoid());
        QWidget *widget = reinterpret_cast<QWidget *>(object); // the helper checks that it is one
        if (widgets)
            hr = which == Index ? widgets->GetWidgetIndex(widget, &value.lVal) : widgets->GetWidgetText(widget, &value.bstrVal);
    }
    // The type is set with a value only, so that a failure leaves nothing to free.
    if (SUCCEEDED(hr)) {
        *result = value;
        result->vt = addedMembers[which].vt;
    }
    return hr;
}

HRESULT CvrQtCustomTypeInfo::GetDocumentation(MEMBERID memid, BSTR *name, BSTR *docString, DWORD *helpContext,
                                              BSTR *helpFile)
{
    const HRESULT hr = EnsureBuilt();
    if (FAILED(hr))
        return hr;
    for (const AddedMember &member : added) {
        if (member.id != memid)
            continue;
        const AddedMemberText &text = addedMembers[&member - added];
        if (name)
            *name = SysAllocString(text.name);
        if (docString)
            *docString = SysAllocString(text.description);
        return S_OK;
    }
    return CCustomTypeInfo::GetDocumentation(memid, name, docString, helpContext, helpFile);
}

HRESULT CvrQtCustomTypeInfo::GetCustData(REFGUID guid, VARIANT *value)
{
    if (!value)
        return E_POINTER;
    if (!IsEqualGUID(guid, QtTypeMark))
        return E_NOTIMPL;
    value->vt = VT_BSTR;
    value->bstrVal = SysAllocString(u"Qt");
    return S_OK;
}

HRESULT CvrQtCustomTypeInfo::GetFuncCustData(UINT index, REFGUID guid, VARIANT *value)
{
    if (!value)
        return E_POINTER;
    const HRESULT hr = EnsureBuilt();
    if (FAILED(hr))
        return hr;
    if (IsEqualGUID(guid, TextFunctionMark) && int(index) == added[Text].funcIndex) {
        value->vt = VT_I4;
        value->lVal = TextFunctionValue;
        return S_OK;
    }
    return GetCustData(guid, value);
}

namespace {

// items entries, allocated for the host, each filled by value(guid, variant).
template <typename Value>
HRESULT FillCustData(CUSTDATA *custData, std::initializer_list<const GUID *> guids, Value value)
{
    if (!custData)
        return E_INVALIDARG;
    auto *items = static_cast<CUSTDATAITEM *>(CoTaskMemAlloc(sizeof(CUSTDATAITEM) * guids.size()));
    if (!items)
        return E_OUTOFMEMORY;
    custData->cCustData = DWORD(guids.size());
    custData->prgCustData = items;
    for (const GUID *guid : guids) {
        items->guid = *guid;
        VariantInit(&items->varValue);
        value(*guid, &items->varValue);
        ++items;
    }
    return S_OK;
}

} // namespace

HRESULT CvrQtCustomTypeInfo::GetAllCustData(CUSTDATA *custData)
{
    return FillCustData(custData, { &QtTypeMark }, [this](REFGUID guid, VARIANT *value) { GetCustData(guid, value); });
}

HRESULT CvrQtCustomTypeInfo::GetAllFuncCustData(UINT index, CUSTDATA *custData)
{
    const HRESULT hr = EnsureBuilt();
    if (FAILED(hr))
        return hr;
    const auto value = [this, index](REFGUID guid, VARIANT *item) { GetFuncCustData(index, guid, item); };
    if (int(index) == added[Text].funcIndex)
        return FillCustData(custData, { &QtTypeMark, &TextFunctionMark }, value);
    return FillCustData(custData, { &QtTypeMark }, value);
}

// The ITypeInfo side of ITypeInfo2 is the description's own.

HRESULT CvrQtCustomTypeInfo::GetTypeAttr(TYPEATTR **typeAttr) { return CCustomTypeInfo::GetTypeAttr(typeAttr); }
HRESULT CvrQtCustomTypeInfo::GetTypeComp(ITypeComp **typeComp) { return CCustomTypeInfo::GetTypeComp(typeComp); }
HRESULT CvrQtCustomTypeInfo::GetFuncDesc(UINT index, FUNCDESC **funcDesc)
{
    return CCustomTypeInfo::GetFuncDesc(index, funcDesc);
}
HRESULT CvrQtCustomTypeInfo::GetVarDesc(UINT index, VARDESC **varDesc) { return CCustomTypeInfo::GetVarDesc(index, varDesc); }
HRESULT CvrQtCustomTypeInfo::GetNames(MEMBERID memid, BSTR *names, UINT maxNames, UINT *count)
{
    return CCustomTypeInfo::GetNames(memid, names, maxNames, count);
}
HRESULT CvrQtCustomTypeInfo::GetRefTypeOfImplType(UINT index, HREFTYPE *refType)
{
    return CCustomTypeInfo::GetRefTypeOfImplType(index, refType);
}
HRESULT CvrQtCustomTypeInfo::GetImplTypeFlags(UINT index, INT *implTypeFlags)
{
    return CCustomTypeInfo::GetImplTypeFlags(index, implTypeFlags);
}
HRESULT CvrQtCustomTypeInfo::GetIDsOfNames(LPOLESTR *names, UINT count, MEMBERID *memIds)
{
    return CCustomTypeInfo::GetIDsOfNames(names, count, memIds);
}
HRESULT CvrQtCustomTypeInfo::Invoke(PVOID instance, MEMBERID memid, WORD flags, DISPPARAMS *params, VARIANT *result,
                                    EXCEPINFO *excepInfo, UINT *argErr)
{
    return CCustomTypeInfo::Invoke(instance, memid, flags, params, result, excepInfo, argErr);
}
HRESULT CvrQtCustomTypeInfo::GetDllEntry(MEMBERID memid, INVOKEKIND invKind, BSTR *dllName, BSTR *name, WORD *ordinal)
{
    return CCustomTypeInfo::GetDllEntry(memid, invKind, dllName, name, ordinal);
}
HRESULT CvrQtCustomTypeInfo::GetRefTypeInfo(HREFTYPE refType, ITypeInfo **typeInfo)
{
    return CCustomTypeInfo::GetRefTypeInfo(refType, typeInfo);
}
HRESULT CvrQtCustomTypeInfo::AddressOfMember(MEMBERID memid, INVOKEKIND invKind, PVOID *address)
{
    return CCustomTypeInfo::AddressOfMember(memid, invKind, address);
}
HRESULT CvrQtCustomTypeInfo::CreateInstance(IUnknown *outer, REFIID riid, PVOID *object)
{
    return CCustomTypeInfo::CreateInstance(outer, riid, object);
}
HRESULT CvrQtCustomTypeInfo::GetMops(MEMBERID memid, BSTR *mops) { return CCustomTypeInfo::GetMops(memid, mops); }
HRESULT CvrQtCustomTypeInfo::GetContainingTypeLib(ITypeLib **typeLib, UINT *index)
{
    return CCustomTypeInfo::GetContainingTypeLib(typeLib, index);
}
void CvrQtCustomTypeInfo::ReleaseTypeAttr(TYPEATTR *typeAttr) { CCustomTypeInfo::ReleaseTypeAttr(typeAttr); }
void CvrQtCustomTypeInfo::ReleaseFuncDesc(FUNCDESC *funcDesc) { CCustomTypeInfo::ReleaseFuncDesc(funcDesc); }
void CvrQtCustomTypeInfo::ReleaseVarDesc(VARDESC *varDesc) { CCustomTypeInfo::ReleaseVarDesc(varDesc); }
