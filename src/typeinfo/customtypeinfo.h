// A dispatch type description with no type library behind it: a derived
// class adds its members on first use, and the calls on them come back to
// the derived class through virtual operations.
#pragma once

#include <atomic>
#include <unordered_map>
#include <vector>

#include "interfaces/memberusage.h"
#include "platform/automation.h"
#include "runtime/bstrkey.h"

namespace vrOpenAppHook {

class CStubManager;

// Member identifiers count from 0x0F000001 and hrefs from 0x0A000001, each
// unique across all descriptions of the process. Member names are made
// script-safe and unique against this description and its bases: overloads
// become name, name_2, name_3; names differing only in case are the same.
//
// Free-threaded: the tables are filled once, under lock, by the first call
// that needs them, and only read after that. Counts its references and the
// module's lock count itself, as ComObjectRoot does: the table must start
// with ITypeInfo's slots, which a first base with its own table would prevent.
class CCustomTypeInfo : public ITypeInfo, public IzkScriptFwTypeInfoMemberUsageInfo
{
public:
    // Once, right after construction: registers with stubManager, keeps a
    // reference to it and to wrapper (the multi-thread wrapper made around
    // this object; either may be null), copies typeName and makes the
    // free-threaded marshaler. A failure returns its HRESULT; E_OUTOFMEMORY
    // for a null typeName; E_UNEXPECTED for a second call.
    HRESULT Initialize(CStubManager *stubManager, IUnknown *wrapper, LPCOLESTR typeName);

    // Tried in order: ITypeInfo and IzkScriptFwTypeInfoMemberUsageInfo on
    // the object, IMarshal on the free-threaded marshaler.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // ITypeInfo. Any thread. All but those answering E_NOTIMPL and the
    // Release... ones build first and return the build's failure.
    HRESULT STDMETHODCALLTYPE GetTypeAttr(TYPEATTR **typeAttr) override;
    HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFuncDesc(UINT index, FUNCDESC **funcDesc) override;
    HRESULT STDMETHODCALLTYPE GetVarDesc(UINT index, VARDESC **varDesc) override;
    HRESULT STDMETHODCALLTYPE GetNames(MEMBERID, BSTR *, UINT, UINT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRefTypeOfImplType(UINT index, HREFTYPE *refType) override;
    HRESULT STDMETHODCALLTYPE GetImplTypeFlags(UINT index, INT *implTypeFlags) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(LPOLESTR *names, UINT count, MEMBERID *memIds) override;
    HRESULT STDMETHODCALLTYPE Invoke(PVOID instance, MEMBERID memid, WORD flags, DISPPARAMS *params, VARIANT *result,
                                     EXCEPINFO *excepInfo, UINT *argErr) override;
    HRESULT STDMETHODCALLTYPE GetDocumentation(MEMBERID memid, BSTR *name, BSTR *docString, DWORD *helpContext,
                                               BSTR *helpFile) override;
    HRESULT STDMETHODCALLTYPE GetDllEntry(MEMBERID, INVOKEKIND, BSTR *, BSTR *, WORD *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRefTypeInfo(HREFTYPE refType, ITypeInfo **typeInfo) override;
    HRESULT STDMETHODCALLTYPE AddressOfMember(MEMBERID, INVOKEKIND, PVOID *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown *, REFIID, PVOID *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMops(MEMBERID, BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetContainingTypeLib(ITypeLib **, UINT *) override { return E_NOTIMPL; }
    void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR *typeAttr) override;
    void STDMETHODCALLTYPE ReleaseFuncDesc(FUNCDESC *funcDesc) override;
    void STDMETHODCALLTYPE ReleaseVarDesc(VARDESC *varDesc) override;

    // Runs BuildTypeInfo once, between the two debug markers, under lock.
    // Another thread's call waits for a build in progress; the building
    // thread's own calls pass. A failed build is not repeated.
    HRESULT EnsureBuilt();

protected:
    CCustomTypeInfo();

    // Slots 22 to 31: the derived class's part. funcIndex and varIndex are
    // the indices the building operations gave; params is never null.
    virtual HRESULT STDMETHODCALLTYPE BuildTypeInfo() = 0;
    virtual HRESULT STDMETHODCALLTYPE InvokeFunction(PVOID instance, int funcIndex, DISPPARAMS *params, VARIANT *result) = 0;
    virtual HRESULT STDMETHODCALLTYPE InvokePropertyGet(PVOID instance, int funcIndex, DISPPARAMS *params,
                                                        VARIANT *result) = 0;
    virtual HRESULT STDMETHODCALLTYPE InvokePropertyPut(PVOID instance, int funcIndex, DISPPARAMS *params) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVariable(PVOID instance, int varIndex, VARIANT *result) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutVariable(PVOID instance, int varIndex, VARIANT *value) = 0;
    // Member identifier 0.
    virtual HRESULT STDMETHODCALLTYPE InvokeDefault(PVOID instance, VARIANT *result) = 0;
    // Its result is what the host gets for a failed call.
    virtual HRESULT STDMETHODCALLTYPE TranslateError(HRESULT hr, EXCEPINFO *excepInfo) = 0;
    // Defaults in membernames.h.
    virtual HRESULT STDMETHODCALLTYPE NormalizeMemberName(BSTR *name);
    virtual HRESULT STDMETHODCALLTYPE AppendNameSuffix(BSTR *name, int number);

public:
    // Slot 32, the implementation's deleting destructor: one slot here, as
    // on the original platform. Nothing calls it through the table.
    virtual void STDMETHODCALLTYPE DeletingDestructor();

    // IzkScriptFwTypeInfoMemberUsageInfo. Declared after slot 32 on purpose:
    // its entry in this class's own table must come after the slots above.
    HRESULT STDMETHODCALLTYPE GetMemberUsage(BSTR name, int *usage) override;

protected:
    virtual ~CCustomTypeInfo();

    // Building operations, for BuildTypeInfo. Bases first: a name is made
    // unique against what the bases already hold.
    //
    // Adds a function under a new identifier (or *memberId when
    // keepMemberId) and a unique name made from name. The record is copied
    // with its parameter array. Identifier and index go to the targets that
    // are not null. E_INVALIDARG for a null record, or for keepMemberId
    // without memberId; E_OUTOFMEMORY; a failure of the name lookup.
    HRESULT AddFunction(LPCOLESTR name, const FUNCDESC *funcDesc, int *memberId, int *funcIndex,
                        bool keepMemberId = false);
    // Another function under an existing identifier, without a name: how a
    // property's put joins its get.
    HRESULT AddFunctionToMember(int memberId, const FUNCDESC *funcDesc, int *funcIndex);
    // As AddFunction, for a variable.
    HRESULT AddVariable(LPCOLESTR name, const VARDESC *varDesc, int *memberId, int *varIndex);
    // Appends a base description, with a reference; one href per distinct base.
    HRESULT AddBaseType(ITypeInfo *baseType);

private:
    enum class EntryKind { Function = 0, Variable = 1 };
    struct MemberEntry {
        EntryKind kind;
        int index;
    };
    using NameMap = std::unordered_map<BSTR, MEMBERID, BstrKeyHash, BstrKeyEqual>;

    HRESULT makeUniqueName(LPCOLESTR name, BSTR *finalName, BSTR *key);
    template <typename Record>
    HRESULT addRecord(const Record &source, std::vector<Record> &records, EntryKind kind, MEMBERID id, bool named,
                      LPCOLESTR name, int *index);
    template <typename Record>
    HRESULT handOutCopy(const std::vector<Record> &records, UINT index, Record **result);
    HRESULT invokeMember(PVOID instance, MEMBERID memberId, WORD flags, DISPPARAMS *params, VARIANT *outcome,
                         EXCEPINFO *excepInfo, UINT *argErr);
    const std::vector<MemberEntry> *entriesOf(MEMBERID memberId) const;
    std::vector<MemberEntry> &entriesFor(MEMBERID memberId);
    MEMBERID findName(LPCOLESTR name, bool *found) const;

    CRITICAL_SECTION lock;
    bool lockReady = false;
    std::vector<ITypeInfo *> baseTypes;
    // One identifier may stand for several entries, kept in the order added.
    // Sorted by identifier: looked up on every call, added to only while building.
    std::vector<std::pair<MEMBERID, std::vector<MemberEntry>>> memberEntries;
    std::vector<FUNCDESC> funcs;
    NameMap idsByName;
    std::unordered_map<MEMBERID, BSTR> namesById;
    BSTR typeName = nullptr;
    CStubManager *stubManager = nullptr;
    IUnknown *marshaler = nullptr;
    IUnknown *wrapper = nullptr;
    // Set, under lock, when the build begins; buildFinished when it has
    // ended, read without the lock.
    bool built = false;
    std::atomic<bool> buildFinished{ false };
    TYPEATTR typeAttr = {};
    std::vector<HREFTYPE> implTypes;
    std::vector<VARDESC> vars;
    std::unordered_map<ITypeInfo *, HREFTYPE> hrefByType;
    std::unordered_map<HREFTYPE, ITypeInfo *> typeByHref;
    std::atomic<ULONG> refCount{ 0 };
};

} // namespace vrOpenAppHook
