#include "typeinfo/customtypeinfo.h"

#include <algorithm>

#include <new>

#include "runtime/comobject.h"
#include "runtime/moduleobject.h"
#include "runtime/sectionlocker.h"
#include "runtime/stubmanager.h"
#include "typeinfo/descriptions.h"
#include "typeinfo/membernames.h"

namespace vrOpenAppHook {

namespace {

// Process-wide, each incremented before use.
std::atomic<LONG> memberIdCounter{ 0x0F000000 };
std::atomic<LONG> hrefCounter{ 0x0A000000 };

// Markers for a debugger: exceptions raised while the members are gathered
// are expected and should not stop it.
constexpr OLECHAR disableExceptionMarker[] = u"ZKA_INTERNAL_DISABLE_EXCEPTION";
constexpr OLECHAR enableExceptionMarker[] = u"ZKA_INTERNAL_ENABLE_EXCEPTION";

// Frees a BSTR at scope end unless released.
class BstrHolder
{
public:
    explicit BstrHolder(BSTR text = nullptr) : text(text) {}
    ~BstrHolder() { SysFreeString(text); }
    BstrHolder(const BstrHolder &) = delete;
    BstrHolder &operator=(const BstrHolder &) = delete;
    BSTR get() const { return text; }
    BSTR *put() { return &text; }
    BSTR release()
    {
        BSTR released = text;
        text = nullptr;
        return released;
    }

private:
    BSTR text;
};

} // namespace

CCustomTypeInfo::CCustomTypeInfo()
{
    ProxyModule().Lock();
}

HRESULT CCustomTypeInfo::Initialize(CStubManager *manager, IUnknown *multiThreadWrapper, LPCOLESTR name)
{
    if (lockReady)
        return E_UNEXPECTED;
    HRESULT hr = InitializeSection(&lock, lockReady);
    if (FAILED(hr))
        return hr;
    hr = CoCreateGuid(&typeAttr.guid);
    if (FAILED(hr))
        return hr;
    typeAttr.lcid = 0;
    typeAttr.memidConstructor = MEMBERID_NIL;
    typeAttr.memidDestructor = MEMBERID_NIL;
    typeAttr.typekind = TKIND_DISPATCH;

    stubManager = manager;
    if (stubManager)
        stubManager->AddRef();
    wrapper = multiThreadWrapper;
    if (wrapper)
        wrapper->AddRef();
    typeName = SysAllocString(name);
    if (!typeName)
        return E_OUTOFMEMORY;
    hr = CoCreateFreeThreadedMarshaler(static_cast<ITypeInfo *>(this), &marshaler);
    if (FAILED(hr))
        return hr;
    if (stubManager)
        stubManager->RegisterStub(static_cast<ITypeInfo *>(this));
    return S_OK;
}

CCustomTypeInfo::~CCustomTypeInfo()
{
    if (stubManager)
        stubManager->UnregisterStub(static_cast<ITypeInfo *>(this));
    for (FUNCDESC &function : funcs)
        FreeRecordParts(function);
    for (VARDESC &variable : vars)
        FreeRecordParts(variable);
    for (ITypeInfo *baseType : baseTypes)
        baseType->Release();
    for (const auto &[href, baseType] : typeByHref)
        baseType->Release();
    for (const auto &[key, memberId] : idsByName)
        SysFreeString(key);
    for (const auto &[memberId, name] : namesById)
        SysFreeString(name);
    SysFreeString(typeName);
    if (wrapper)
        wrapper->Release();
    if (marshaler)
        marshaler->Release();
    if (stubManager)
        stubManager->Release();
    if (lockReady)
        DeleteCriticalSection(&lock);
    ProxyModule().Unlock();
}

ULONG CCustomTypeInfo::AddRef()
{
    return ++refCount;
}

ULONG CCustomTypeInfo::Release()
{
    const ULONG remaining = --refCount;
    if (remaining == 0)
        delete this;
    return remaining;
}

void CCustomTypeInfo::DeletingDestructor()
{
    delete this;
}

HRESULT CCustomTypeInfo::QueryInterface(REFIID riid, void **object)
{
    if (!object)
        return E_POINTER;
    *object = nullptr;
    // In the order tried. The map has a second ITypeInfo entry after
    // IMarshal, handed on to the wrapper; the first always wins, so nothing
    // reaches the wrapper this way. It is kept all the same.
    if (riid == IID_IUnknown || riid == IID_ITypeInfo)
        *object = static_cast<ITypeInfo *>(this);
    else if (riid == IID_IzkScriptFwTypeInfoMemberUsageInfo)
        *object = static_cast<IzkScriptFwTypeInfoMemberUsageInfo *>(this);
    else if (riid == IID_IMarshal)
        return marshaler ? marshaler->QueryInterface(riid, object) : E_NOINTERFACE;
    else
        return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

// Any thread; holds lock while the build runs. Lock order: a derived
// description's build takes its bases' locks.
HRESULT CCustomTypeInfo::EnsureBuilt()
{
    if (buildFinished.load(std::memory_order_acquire))
        return S_OK;
    if (!lockReady)
        return E_UNEXPECTED;
    SectionLocker locked(&lock);
    // Set: this thread's own build is in progress, or a build has ended.
    if (built)
        return S_OK;
    built = true;
    OutputDebugStringW(disableExceptionMarker);
    HRESULT hr = E_FAIL;
    try {
        hr = BuildTypeInfo();
    } catch (...) {
        // Whatever the derived class threw ends the build as a failure.
        hr = E_FAIL;
    }
    OutputDebugStringW(enableExceptionMarker);
    buildFinished.store(true, std::memory_order_release);
    return hr;
}

HRESULT CCustomTypeInfo::NormalizeMemberName(BSTR *name)
{
    return NormalizeMemberNameDefault(name);
}

HRESULT CCustomTypeInfo::AppendNameSuffix(BSTR *name, int number)
{
    return AppendNameSuffixDefault(name, number);
}

// Building ------------------------------------------------------------------

HRESULT CCustomTypeInfo::makeUniqueName(LPCOLESTR name, BSTR *finalName, BSTR *key)
{
    BstrHolder normalized(SysAllocString(name ? name : u""));
    if (!normalized.get())
        return E_OUTOFMEMORY;
    HRESULT hr = NormalizeMemberName(normalized.put());
    if (FAILED(hr))
        return hr;
    BstrHolder candidate(SysAllocStringLen(normalized.get(), SysStringLen(normalized.get())));
    for (int number = 2;; ++number) {
        if (!candidate.get())
            return E_OUTOFMEMORY;
        LPOLESTR names[] = { candidate.get() };
        MEMBERID taken = 0;
        hr = GetIDsOfNames(names, 1, &taken);
        if (hr == DISP_E_UNKNOWNNAME)
            break;
        if (FAILED(hr))
            return hr;
        BstrHolder next(SysAllocStringLen(normalized.get(), SysStringLen(normalized.get())));
        if (!next.get())
            return E_OUTOFMEMORY;
        hr = AppendNameSuffix(next.put(), number);
        if (FAILED(hr))
            return hr;
        std::swap(*candidate.put(), *next.put());
    }
    BSTR upper = SysAllocStringLen(candidate.get(), SysStringLen(candidate.get()));
    if (!upper)
        return E_OUTOFMEMORY;
    CharUpperBuffW(upper, SysStringLen(upper));
    *key = upper;
    *finalName = candidate.release();
    return S_OK;
}

// Appends a copy of source to records under id, with a unique name made
// from name when named. The index goes to index.
template <typename Record>
HRESULT CCustomTypeInfo::addRecord(const Record &source, std::vector<Record> &records, EntryKind kind, MEMBERID id,
                                   bool named, LPCOLESTR name, int *index)
{
    BstrHolder finalName;
    BstrHolder key;
    HRESULT hr = named ? makeUniqueName(name, finalName.put(), key.put()) : S_OK;
    if (FAILED(hr))
        return hr;
    Record copy;
    hr = CopyRecordInto(source, copy);
    if (FAILED(hr))
        return hr;
    copy.memid = id;
    try {
        records.push_back(copy);
    } catch (const std::bad_alloc &) {
        FreeRecordParts(copy);
        return E_OUTOFMEMORY;
    }
    *index = int(records.size()) - 1;
    try {
        entriesFor(id).push_back({ kind, *index });
        if (named && idsByName.emplace(key.get(), id).second)
            key.release();
        if (named && namesById.emplace(id, finalName.get()).second)
            finalName.release();
    } catch (const std::bad_alloc &) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT CCustomTypeInfo::AddFunction(LPCOLESTR name, const FUNCDESC *funcDesc, int *memberId, int *funcIndex,
                                     bool keepMemberId)
{
    if (!funcDesc || (keepMemberId && !memberId))
        return E_INVALIDARG;
    const MEMBERID id = keepMemberId ? *memberId : ++memberIdCounter;
    int index = 0;
    const HRESULT hr = addRecord(*funcDesc, funcs, EntryKind::Function, id, true, name, &index);
    if (FAILED(hr))
        return hr;
    ++typeAttr.cFuncs;
    if (memberId)
        *memberId = id;
    if (funcIndex)
        *funcIndex = index;
    return S_OK;
}

HRESULT CCustomTypeInfo::AddFunctionToMember(int memberId, const FUNCDESC *funcDesc, int *funcIndex)
{
    if (!funcDesc)
        return E_INVALIDARG;
    int index = 0;
    const HRESULT hr = addRecord(*funcDesc, funcs, EntryKind::Function, memberId, false, nullptr, &index);
    if (FAILED(hr))
        return hr;
    ++typeAttr.cFuncs;
    if (funcIndex)
        *funcIndex = index;
    return S_OK;
}

HRESULT CCustomTypeInfo::AddVariable(LPCOLESTR name, const VARDESC *varDesc, int *memberId, int *varIndex)
{
    if (!varDesc)
        return E_INVALIDARG;
    const MEMBERID id = ++memberIdCounter;
    int index = 0;
    const HRESULT hr = addRecord(*varDesc, vars, EntryKind::Variable, id, true, name, &index);
    if (FAILED(hr))
        return hr;
    ++typeAttr.cVars;
    if (memberId)
        *memberId = id;
    if (varIndex)
        *varIndex = index;
    return S_OK;
}

HRESULT CCustomTypeInfo::AddBaseType(ITypeInfo *baseType)
{
    if (!baseType)
        return E_INVALIDARG;
    try {
        implTypes.reserve(implTypes.size() + 1);
        baseTypes.reserve(baseTypes.size() + 1);
        HREFTYPE href = 0;
        const auto known = hrefByType.find(baseType);
        if (known != hrefByType.end()) {
            href = known->second;
        } else {
            href = HREFTYPE(++hrefCounter);
            typeByHref.emplace(href, baseType);
            hrefByType.emplace(baseType, href);
            // The two maps' own reference.
            baseType->AddRef();
        }
        implTypes.push_back(href);
    } catch (const std::bad_alloc &) {
        return E_OUTOFMEMORY;
    }
    baseType->AddRef();
    baseTypes.push_back(baseType);
    ++typeAttr.cImplTypes;
    return S_OK;
}

// Lookups -------------------------------------------------------------------

namespace {

template <typename Entries>
auto FindEntries(Entries &entries, MEMBERID memberId)
{
    return std::lower_bound(entries.begin(), entries.end(), memberId,
                            [](const auto &entry, MEMBERID id) { return entry.first < id; });
}

} // namespace

const std::vector<CCustomTypeInfo::MemberEntry> *CCustomTypeInfo::entriesOf(MEMBERID memberId) const
{
    const auto found = FindEntries(memberEntries, memberId);
    return found == memberEntries.end() || found->first != memberId ? nullptr : &found->second;
}

std::vector<CCustomTypeInfo::MemberEntry> &CCustomTypeInfo::entriesFor(MEMBERID memberId)
{
    auto found = FindEntries(memberEntries, memberId);
    if (found == memberEntries.end() || found->first != memberId)
        found = memberEntries.insert(found, { memberId, {} });
    return found->second;
}

// The identifier of name in this description alone, compared upper-cased.
MEMBERID CCustomTypeInfo::findName(LPCOLESTR name, bool *found) const
{
    *found = false;
    BstrHolder key(UpperCaseNameCopy(name));
    if (!key.get())
        return MEMBERID_NIL;
    const auto entry = idsByName.find(key.get());
    if (entry == idsByName.end())
        return MEMBERID_NIL;
    *found = true;
    return entry->second;
}

HRESULT CCustomTypeInfo::GetIDsOfNames(LPOLESTR *names, UINT count, MEMBERID *memIds)
{
    HRESULT hr = EnsureBuilt();
    if (FAILED(hr))
        return hr;
    if (!names || count != 1 || !memIds)
        return E_INVALIDARG;
    bool found = false;
    const MEMBERID memberId = findName(names[0], &found);
    if (found) {
        *memIds = memberId;
        return S_OK;
    }
    hr = DISP_E_UNKNOWNNAME;
    for (ITypeInfo *baseType : baseTypes) {
        hr = baseType->GetIDsOfNames(names, 1, memIds);
        if (hr != DISP_E_UNKNOWNNAME)
            break;
    }
    return hr;
}

HRESULT CCustomTypeInfo::GetDocumentation(MEMBERID memid, BSTR *name, BSTR *docString, DWORD *helpContext,
                                          BSTR *helpFile)
{
    // The other three targets stay as they are here; a base may fill them.
    if (memid == MEMBERID_NIL) {
        if (name)
            *name = SysAllocStringLen(typeName, SysStringLen(typeName));
        return S_OK;
    }
    HRESULT hr = EnsureBuilt();
    if (FAILED(hr) || !name)
        return hr;
    if (entriesOf(memid)) {
        const auto found = namesById.find(memid);
        const BSTR known = found == namesById.end() ? nullptr : found->second;
        *name = SysAllocStringLen(known, SysStringLen(known));
        return S_OK;
    }
    hr = DISP_E_MEMBERNOTFOUND;
    for (ITypeInfo *baseType : baseTypes) {
        hr = baseType->GetDocumentation(memid, name, docString, helpContext, helpFile);
        if (hr != DISP_E_MEMBERNOTFOUND)
            break;
    }
    return hr;
}

HRESULT CCustomTypeInfo::GetMemberUsage(BSTR name, int *usage)
{
    if (!usage)
        return E_POINTER;
    *usage = MemberUsageUnknown;
    const HRESULT hr = EnsureBuilt();
    if (FAILED(hr))
        return hr;
    bool found = false;
    const MEMBERID memberId = findName(name, &found);
    if (!found) {
        for (ITypeInfo *baseType : baseTypes) {
            ComPtr<IzkScriptFwTypeInfoMemberUsageInfo> usageInfo;
            if (FAILED(baseType->QueryInterface(IID_IzkScriptFwTypeInfoMemberUsageInfo, usageInfo.putVoid())))
                continue;
            usageInfo->GetMemberUsage(name, usage);
            if (*usage != MemberUsageUnknown)
                break;
        }
        return S_OK;
    }
    *usage = MemberUsagePutOnly;
    const std::vector<MemberEntry> *entries = entriesOf(memberId);
    if (!entries)
        return S_OK;
    for (const MemberEntry &entry : *entries) {
        switch (entry.kind) {
        case EntryKind::Function: {
            const FUNCDESC &function = funcs[size_t(entry.index)];
            if (function.invkind == INVOKE_FUNC) {
                *usage = MemberUsageMethod;
                return S_OK;
            }
            if (function.invkind == INVOKE_PROPERTYGET) {
                *usage = function.cParams > 0 ? MemberUsageIndexedProperty : MemberUsageProperty;
                return S_OK;
            }
            break;
        }
        case EntryKind::Variable:
            *usage = MemberUsageProperty;
            return S_OK;
        default:
            return E_UNEXPECTED;
        }
    }
    return S_OK;
}

// Invoke --------------------------------------------------------------------

// Walks the member's own entries, then the bases. outcome receives the value.
HRESULT CCustomTypeInfo::invokeMember(PVOID instance, MEMBERID memberId, WORD flags, DISPPARAMS *params,
                                      VARIANT *outcome, EXCEPINFO *excepInfo, UINT *argErr)
{
    const bool get = (flags & (DISPATCH_METHOD | DISPATCH_PROPERTYGET)) != 0;
    const bool put = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    if (const std::vector<MemberEntry> *entries = entriesOf(memberId)) {
        for (const MemberEntry &entry : *entries) {
            switch (entry.kind) {
            case EntryKind::Function: {
                const INVOKEKIND invkind = funcs[size_t(entry.index)].invkind;
                if (invkind == INVOKE_FUNC && get)
                    return InvokeFunction(instance, entry.index, params, outcome);
                if (invkind == INVOKE_PROPERTYGET && get)
                    return InvokePropertyGet(instance, entry.index, params, outcome);
                if (invkind == INVOKE_PROPERTYPUT && put)
                    return InvokePropertyPut(instance, entry.index, params);
                break;
            }
            case EntryKind::Variable:
                if (get)
                    return GetVariable(instance, entry.index, outcome);
                if (put)
                    return params->cArgs > 0 && params->rgvarg ? PutVariable(instance, entry.index, &params->rgvarg[0])
                                                                : DISP_E_BADPARAMCOUNT;
                break;
            default:
                return E_UNEXPECTED;
            }
        }
    }
    for (ITypeInfo *baseType : baseTypes) {
        const HRESULT hr = baseType->Invoke(instance, memberId, flags, params, outcome, excepInfo, argErr);
        if (hr != DISP_E_MEMBERNOTFOUND)
            return hr;
    }
    return DISP_E_MEMBERNOTFOUND;
}

HRESULT CCustomTypeInfo::Invoke(PVOID instance, MEMBERID memid, WORD flags, DISPPARAMS *params, VARIANT *result,
                                EXCEPINFO *excepInfo, UINT *argErr)
{
    // The derived class never sees a null parameter block.
    DISPPARAMS noArguments = {};
    if (!params)
        params = &noArguments;
    VARIANT outcome;
    VariantInit(&outcome);
    HRESULT hr = S_OK;
    if (memid == DISPID_VALUE) {
        if (!instance)
            return DISP_E_MEMBERNOTFOUND;
        hr = InvokeDefault(instance, &outcome);
    } else {
        hr = EnsureBuilt();
        if (FAILED(hr))
            return hr;
        hr = invokeMember(instance, memid, flags, params, &outcome, excepInfo, argErr);
    }
    if (FAILED(hr)) {
        VariantClear(&outcome);
        return hr == DISP_E_MEMBERNOTFOUND ? hr : TranslateError(hr, excepInfo);
    }
    if (result) {
        VariantClear(result);
        *result = outcome;
    } else {
        VariantClear(&outcome);
    }
    return hr;
}

// Records -------------------------------------------------------------------

HRESULT CCustomTypeInfo::GetTypeAttr(TYPEATTR **result)
{
    if (!result)
        return E_INVALIDARG;
    const HRESULT hr = EnsureBuilt();
    if (FAILED(hr))
        return hr;
    *result = new (std::nothrow) TYPEATTR(typeAttr);
    return *result ? S_OK : E_OUTOFMEMORY;
}

// A heap copy of records[index] for the host.
template <typename Record>
HRESULT CCustomTypeInfo::handOutCopy(const std::vector<Record> &records, UINT index, Record **result)
{
    const HRESULT hr = EnsureBuilt();
    if (FAILED(hr))
        return hr;
    if (!result || index >= records.size())
        return E_INVALIDARG;
    *result = NewRecordCopy(records[index]);
    return *result ? S_OK : E_OUTOFMEMORY;
}

HRESULT CCustomTypeInfo::GetFuncDesc(UINT index, FUNCDESC **result)
{
    return handOutCopy(funcs, index, result);
}

HRESULT CCustomTypeInfo::GetVarDesc(UINT index, VARDESC **result)
{
    return handOutCopy(vars, index, result);
}

HRESULT CCustomTypeInfo::GetRefTypeOfImplType(UINT index, HREFTYPE *refType)
{
    const HRESULT hr = EnsureBuilt();
    if (FAILED(hr))
        return hr;
    if (!refType || index >= implTypes.size())
        return E_INVALIDARG;
    *refType = implTypes[index];
    return S_OK;
}

HRESULT CCustomTypeInfo::GetImplTypeFlags(UINT index, INT *implTypeFlags)
{
    const HRESULT hr = EnsureBuilt();
    if (FAILED(hr))
        return hr;
    if (!implTypeFlags || index >= implTypes.size())
        return E_INVALIDARG;
    *implTypeFlags = 0;
    return S_OK;
}

HRESULT CCustomTypeInfo::GetRefTypeInfo(HREFTYPE refType, ITypeInfo **typeInfo)
{
    const HRESULT hr = EnsureBuilt();
    if (FAILED(hr))
        return hr;
    const auto found = typeByHref.find(refType);
    if (!typeInfo || found == typeByHref.end())
        return E_INVALIDARG;
    *typeInfo = found->second;
    (*typeInfo)->AddRef();
    return S_OK;
}

void CCustomTypeInfo::ReleaseTypeAttr(TYPEATTR *result)
{
    delete result;
}

void CCustomTypeInfo::ReleaseFuncDesc(FUNCDESC *funcDesc)
{
    DeleteRecordCopy(funcDesc);
}

void CCustomTypeInfo::ReleaseVarDesc(VARDESC *varDesc)
{
    DeleteRecordCopy(varDesc);
}

} // namespace vrOpenAppHook
