// The run-time type description: names and identifiers, records, member
// usage, Invoke's routing to the derived class, and the one-time build.
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

#include "../platform/process_support.h"
#include "recordingtypeinfo.h"

using namespace typeinfotest;

namespace {

std::u16string take(BSTR text)
{
    std::u16string copy(text ? text : u"", SysStringLen(text));
    SysFreeString(text);
    return copy;
}

HRESULT idOf(ITypeInfo *type, std::u16string name, MEMBERID *id)
{
    LPOLESTR names[] = { name.data() };
    return type->GetIDsOfNames(names, 1, id);
}

MEMBERID idOf(ITypeInfo *type, std::u16string name)
{
    MEMBERID id = MEMBERID_NIL;
    EXPECT_EQ(idOf(type, std::move(name), &id), S_OK);
    return id;
}

std::u16string nameOf(ITypeInfo *type, MEMBERID id, HRESULT expected = S_OK)
{
    BSTR name = nullptr;
    EXPECT_EQ(type->GetDocumentation(id, &name, nullptr, nullptr, nullptr), expected);
    return take(name);
}

const std::vector<MemberSpec> baseMembers = { { u"Shared", MemberKind::Method }, { u"BaseOnly", MemberKind::Getter } };

// The derived description's table, and what each name becomes.
enum Row { Click, ClickLower, ClickAgain, SharedLower, Spaced, Digit, Empty, Punctuated, Accented, Value, ValuePut,
           Item, Setter, Field };
const std::vector<MemberSpec> derivedMembers = {
    { u"Click", MemberKind::Method },  { u"click", MemberKind::Method }, { u"Click", MemberKind::Method, 1 },
    { u"shared", MemberKind::Method }, { u"has space", MemberKind::Getter }, { u"9lives", MemberKind::Getter },
    { u"", MemberKind::Method },       { u"a-b.c", MemberKind::Getter }, { u"caf\u00e9 cr\u00e8me", MemberKind::Getter },
    { u"Value", MemberKind::Getter },  { nullptr, MemberKind::PutJoinsPrevious }, { u"Item", MemberKind::Getter, 2 },
    { u"Setter", MemberKind::Putter }, { u"Field", MemberKind::Variable },
};
const char16_t *const finalNames[] = { u"Click",  u"click_2", u"Click_3",        u"shared_2", u"has_space",
                                       u"zlives", u"not_valid_name", u"a_b_c", u"caf\u00e9_cr\u00e8me",
                                       u"Value",  nullptr,   u"Item",           u"Setter",   u"Field" };

class CustomTypeInfo : public ::testing::Test
{
protected:
    void TearDown() override
    {
        derived = {};
        base = {};
        EXPECT_EQ(ProxyModule().GetLockCount(), lockCountBefore) << "every object gone";
    }
    ITypeInfo *built()
    {
        EXPECT_EQ(derived.description->EnsureBuilt(), S_OK);
        return derived.description.get();
    }
    MEMBERID id(Row row) const { return derived.description->memberIds[size_t(row)]; }
    int index(Row row) const { return derived.description->indices[size_t(row)]; }

    const LONG lockCountBefore = ProxyModule().GetLockCount();
    RecordingTypeInfo::Made base = RecordingTypeInfo::Create(baseMembers, {}, nullptr, u"BaseType");
    RecordingTypeInfo::Made derived = RecordingTypeInfo::Create(derivedMembers, { base.description.get() }, nullptr,
                                                                u"DerivedType");
};

TEST_F(CustomTypeInfo, OperationsAfterTheTypeInfoSlotsStandInTheirSlots)
{
    EXPECT_EQ(RecordingTypeInfo::ExtraSlots(), (std::vector<long>{ 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32 }));
}

TEST_F(CustomTypeInfo, NamesAreScriptSafeUniqueAndFoundInAnyCase)
{
    ITypeInfo *type = built();
    std::set<MEMBERID> seen(base.description->memberIds.begin(), base.description->memberIds.end());
    for (size_t row = 0; row < derivedMembers.size(); ++row) {
        const MEMBERID memberId = derived.description->memberIds[row];
        if (!finalNames[row]) {
            EXPECT_EQ(memberId, id(Value)) << "a put joins its get";
            continue;
        }
        std::u16string name = finalNames[row];
        SCOPED_TRACE(std::string(name.begin(), name.end()));
        EXPECT_EQ(memberId & 0xFF000000, 0x0F000000);
        EXPECT_GT(memberId, 0x0F000000);
        EXPECT_TRUE(seen.insert(memberId).second) << "unique across descriptions";
        EXPECT_EQ(nameOf(type, memberId), name);
        EXPECT_EQ(idOf(type, name), memberId);
        for (char16_t &unit : name)
            unit = unit == u'\u00e9' ? u'\u00c9' : u'a' <= unit && unit <= u'z' ? char16_t(unit - 32) : unit;
        EXPECT_EQ(idOf(type, name), memberId);
    }
    // Found only in the base: resolved and named through it.
    EXPECT_EQ(idOf(type, u"baseONLY"), base.description->memberIds[1]);
    EXPECT_EQ(nameOf(type, base.description->memberIds[1]), u"BaseOnly");
}

TEST_F(CustomTypeInfo, EdgesOfLookupAndDocumentation)
{
    ITypeInfo *type = derived.description.get();
    // None of these builds.
    EXPECT_EQ(nameOf(type, MEMBERID_NIL), u"DerivedType");
    EXPECT_EQ(type->GetTypeAttr(nullptr), E_INVALIDARG);
    EXPECT_EQ(derived.description->builds, 0);
    built();
    MEMBERID memberId = 0;
    EXPECT_EQ(idOf(type, u"NoSuchMember", &memberId), DISP_E_UNKNOWNNAME);
    LPOLESTR two[] = { const_cast<LPOLESTR>(u"Click"), const_cast<LPOLESTR>(u"Value") };
    EXPECT_EQ(type->GetIDsOfNames(two, 2, &memberId), E_INVALIDARG);
    EXPECT_EQ(type->GetIDsOfNames(nullptr, 1, &memberId), E_INVALIDARG);
    EXPECT_EQ(type->GetIDsOfNames(two, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(nameOf(type, 0x0EFFFFFF, DISP_E_MEMBERNOTFOUND), u"");
    BSTR name = nullptr, untouched = reinterpret_cast<BSTR>(uintptr_t(0x1230));
    BSTR docString = untouched, helpFile = untouched;
    DWORD helpContext = 77;
    EXPECT_EQ(type->GetDocumentation(id(Click), &name, &docString, &helpContext, &helpFile), S_OK);
    EXPECT_EQ(take(name), u"Click");
    EXPECT_TRUE(docString == untouched && helpFile == untouched && helpContext == 77) << "left as they were";
}

TEST_F(CustomTypeInfo, RecordsDescribeWhatWasAdded)
{
    ITypeInfo *type = built();
    TYPEATTR *attributes = nullptr, *baseAttributes = nullptr;
    ASSERT_EQ(type->GetTypeAttr(&attributes), S_OK);
    ASSERT_EQ(base.description->GetTypeAttr(&baseAttributes), S_OK);
    EXPECT_EQ(attributes->typekind, TKIND_DISPATCH);
    EXPECT_EQ(attributes->cFuncs, derivedMembers.size() - 1);
    EXPECT_EQ(attributes->cVars, 1);
    EXPECT_EQ(attributes->cImplTypes, 1);
    EXPECT_NE(attributes->guid, baseAttributes->guid);
    type->ReleaseTypeAttr(attributes);
    base.description->ReleaseTypeAttr(baseAttributes);

    FUNCDESC *function = nullptr;
    ASSERT_EQ(type->GetFuncDesc(UINT(index(Item)), &function), S_OK);
    EXPECT_EQ(function->memid, id(Item));
    EXPECT_EQ(function->invkind, INVOKE_PROPERTYGET);
    EXPECT_EQ(function->elemdescFunc.tdesc.vt, VT_I4);
    ASSERT_EQ(function->cParams, 2);
    EXPECT_EQ(function->lprgelemdescParam[1].tdesc.vt, VT_BSTR) << "its own copy of the parameters";
    type->ReleaseFuncDesc(function);
    ASSERT_EQ(type->GetFuncDesc(UINT(index(ValuePut)), &function), S_OK);
    EXPECT_EQ(function->memid, id(Value));
    EXPECT_EQ(function->invkind, INVOKE_PROPERTYPUT);
    type->ReleaseFuncDesc(function);
    EXPECT_EQ(type->GetFuncDesc(UINT(derivedMembers.size() - 1), &function), E_INVALIDARG);
    EXPECT_EQ(type->GetFuncDesc(0, nullptr), E_INVALIDARG);

    VARDESC *variable = nullptr;
    ASSERT_EQ(type->GetVarDesc(0, &variable), S_OK);
    EXPECT_EQ(variable->memid, id(Field));
    type->ReleaseVarDesc(variable);
    EXPECT_EQ(type->GetVarDesc(1, &variable), E_INVALIDARG);
}

TEST_F(CustomTypeInfo, BasesHaveOneHrefEachAndAreHandedOut)
{
    ITypeInfo *baseType = base.description.get();
    auto twice = RecordingTypeInfo::Create({}, { baseType, baseType });
    ITypeInfo *type = twice.description.get();
    HREFTYPE first = 0, second = 0;
    INT flags = -1;
    ASSERT_EQ(type->GetRefTypeOfImplType(0, &first), S_OK);
    ASSERT_EQ(type->GetRefTypeOfImplType(1, &second), S_OK);
    EXPECT_EQ(first, second);
    EXPECT_EQ(first & 0xFF000000, 0x0A000000u);
    EXPECT_EQ(type->GetImplTypeFlags(1, &flags), S_OK);
    EXPECT_EQ(flags, 0);
    EXPECT_EQ(type->GetRefTypeOfImplType(2, &first), E_INVALIDARG);
    EXPECT_EQ(type->GetImplTypeFlags(2, &flags), E_INVALIDARG);
    ComPtr<ITypeInfo> handed;
    ASSERT_EQ(type->GetRefTypeInfo(second, handed.put()), S_OK);
    EXPECT_EQ(handed.get(), baseType);
    EXPECT_EQ(type->GetRefTypeInfo(second + 1, handed.put()), E_INVALIDARG);
    EXPECT_EQ(type->GetRefTypeInfo(second, nullptr), E_INVALIDARG);
}

TEST_F(CustomTypeInfo, MemberUsageByKind)
{
    ComPtr<IzkScriptFwTypeInfoMemberUsageInfo> usageInfo;
    ASSERT_EQ(built()->QueryInterface(IID_IzkScriptFwTypeInfoMemberUsageInfo, usageInfo.putVoid()), S_OK);
    const std::pair<const char16_t *, int> rows[] = {
        { u"click_2", MemberUsageMethod },       { u"VALUE", MemberUsageProperty },  { u"Setter", MemberUsagePutOnly },
        { u"Item", MemberUsageIndexedProperty }, { u"Field", MemberUsageProperty },  { u"Shared", MemberUsageMethod },
        { u"baseonly", MemberUsageProperty },    { u"Nothing", MemberUsageUnknown },
    };
    for (const auto &[name, expected] : rows) {
        SCOPED_TRACE(expected);
        BSTR text = SysAllocString(name);
        int usage = -1;
        EXPECT_EQ(usageInfo->GetMemberUsage(text, &usage), S_OK);
        EXPECT_EQ(usage, expected);
        SysFreeString(text);
    }
}

enum class Target { Member, UnknownMember, DefaultMember };
struct InvokeRow {
    const char *name;
    Target target;
    Row row;
    WORD flags;
    bool withArgument;
    HRESULT result;
    Operation operation; // what was reached, when the result is S_OK
    int index;
};

TEST_F(CustomTypeInfo, InvokeRoutesByFlagsAndKind)
{
    ITypeInfo *type = built();
    constexpr WORD method = DISPATCH_METHOD, get = DISPATCH_PROPERTYGET, put = DISPATCH_PROPERTYPUT;
    constexpr HRESULT notFound = DISP_E_MEMBERNOTFOUND;
    const InvokeRow rows[] = {
        { "method", Target::Member, Click, method, false, S_OK, Operation::Function, 0 },
        { "method read as a property", Target::Member, Click, get, false, S_OK, Operation::Function, 0 },
        { "put on a method", Target::Member, Click, put, true, notFound, {}, 0 },
        { "property get", Target::Member, Value, get, false, S_OK, Operation::PropertyGet, index(Value) },
        { "property get by a call", Target::Member, Value, method, false, S_OK, Operation::PropertyGet, index(Value) },
        { "property put", Target::Member, Value, put, true, S_OK, Operation::PropertyPut, index(ValuePut) },
        { "put by reference", Target::Member, Value, DISPATCH_PROPERTYPUTREF, true, S_OK, Operation::PropertyPut,
          index(ValuePut) },
        { "get on a put-only member", Target::Member, Setter, get, false, notFound, {}, 0 },
        { "variable get", Target::Member, Field, get, false, S_OK, Operation::GetVariable, 0 },
        { "variable put", Target::Member, Field, put, true, S_OK, Operation::PutVariable, 0 },
        { "no flags", Target::Member, Click, 0, false, notFound, {}, 0 },
        { "unknown identifier", Target::UnknownMember, Click, method, false, notFound, {}, 0 },
        { "default member", Target::DefaultMember, Click, method, false, S_OK, Operation::Default, -1 },
    };
    int instance = 0;
    for (const InvokeRow &row : rows) {
        SCOPED_TRACE(row.name);
        const MEMBERID memberId = row.target == Target::Member          ? id(row.row)
                                  : row.target == Target::UnknownMember ? 0x0EFFFFFF
                                                                        : DISPID_VALUE;
        VARIANT argument, result;
        V_VT(&argument) = VT_I4;
        V_I4(&argument) = 5;
        VariantInit(&result);
        DISPID named = DISPID_PROPERTYPUT;
        DISPPARAMS params = { &argument, &named, 1, 1 };
        const size_t callsBefore = derived.description->Calls().size();
        // A call without arguments passes no parameter block at all.
        EXPECT_EQ(type->Invoke(&instance, memberId, row.flags, row.withArgument ? &params : nullptr, &result, nullptr,
                               nullptr),
                  row.result);
        const std::vector<InvokeRecord> calls = derived.description->Calls();
        ASSERT_EQ(calls.size(), callsBefore + (row.result == S_OK ? 1 : 0));
        if (row.result != S_OK)
            continue;
        EXPECT_EQ(calls.back().operation, row.operation);
        EXPECT_EQ(calls.back().index, row.index);
        EXPECT_EQ(calls.back().instance, &instance);
        EXPECT_EQ(calls.back().argumentCount, row.withArgument ? 1u : 0u);
        const bool answers = row.operation != Operation::PropertyPut && row.operation != Operation::PutVariable;
        EXPECT_EQ(V_VT(&result), answers ? VT_BSTR : VT_EMPTY);
        VariantClear(&result);
    }
    EXPECT_EQ(type->Invoke(nullptr, DISPID_VALUE, method, nullptr, nullptr, nullptr, nullptr), notFound);
}

TEST_F(CustomTypeInfo, InvokeReachesTheBaseAndTranslatesFailures)
{
    ITypeInfo *type = built();
    int instance = 0;
    VARIANT result;
    VariantInit(&result);
    EXPECT_EQ(type->Invoke(&instance, idOf(type, u"BaseOnly"), DISPATCH_PROPERTYGET, nullptr, &result, nullptr, nullptr),
              S_OK);
    ASSERT_EQ(base.description->Calls().size(), 1u);
    EXPECT_EQ(base.description->Calls()[0].operation, Operation::PropertyGet);
    EXPECT_EQ(V_VT(&result), VT_BSTR) << "the base's outcome";
    // A result holding a value is cleared first, a null result discards
    // the outcome (the sanitizer build sees a leak otherwise).
    EXPECT_EQ(type->Invoke(&instance, id(Click), DISPATCH_METHOD, nullptr, &result, nullptr, nullptr), S_OK);
    VariantClear(&result);
    EXPECT_EQ(type->Invoke(&instance, id(Click), DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr), S_OK);

    // Failures go through TranslateError, except "member not found".
    EXCEPINFO exception = {};
    DISPPARAMS none = {};
    EXPECT_EQ(type->Invoke(&instance, id(Field), DISPATCH_PROPERTYPUT, &none, nullptr, &exception, nullptr),
              DISP_E_EXCEPTION);
    EXPECT_EQ(exception.scode, DISP_E_BADPARAMCOUNT) << "a variable put without a value";
    derived.description->operationResult = E_ACCESSDENIED;
    EXPECT_EQ(type->Invoke(&instance, id(Click), DISPATCH_METHOD, nullptr, &result, &exception, nullptr),
              DISP_E_EXCEPTION);
    EXPECT_EQ(exception.scode, E_ACCESSDENIED);
    EXPECT_EQ(V_VT(&result), VT_EMPTY);
    derived.description->operationResult = DISP_E_MEMBERNOTFOUND;
    EXPECT_EQ(type->Invoke(&instance, id(Click), DISPATCH_METHOD, nullptr, &result, &exception, nullptr),
              DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(derived.description->translated, (std::vector<HRESULT>{ DISP_E_BADPARAMCOUNT, E_ACCESSDENIED }));
}

TEST_F(CustomTypeInfo, AnswersItsInterfacesAndRegistersAsAStub)
{
    ITypeInfo *type = derived.description.get();
    ComPtr<IUnknown> typeInfo, usage, marshal, viaMarshal, other;
    ASSERT_EQ(type->QueryInterface(IID_ITypeInfo, typeInfo.putVoid()), S_OK);
    EXPECT_EQ(typeInfo.get(), static_cast<IUnknown *>(type)) << "the object itself, not the wrapper";
    ASSERT_EQ(type->QueryInterface(IID_IzkScriptFwTypeInfoMemberUsageInfo, usage.putVoid()), S_OK);
    ASSERT_EQ(type->QueryInterface(IID_IMarshal, marshal.putVoid()), S_OK);
    ASSERT_EQ(marshal->QueryInterface(IID_IUnknown, viaMarshal.putVoid()), S_OK);
    EXPECT_EQ(viaMarshal.get(), static_cast<IUnknown *>(type)) << "the aggregated marshaler answers for the object";
    EXPECT_EQ(type->QueryInterface(IID_ITypeInfo2, other.putVoid()), E_NOINTERFACE);

    vrOpenAppHook::CStubManager *created = nullptr;
    ASSERT_EQ(vrOpenAppHook::CStubManager::CreateInstance(&created), S_OK);
    const ComPtr<vrOpenAppHook::CStubManager> manager(created);
    auto registered = RecordingTypeInfo::Create({}, {}, manager.get());
    EXPECT_EQ(manager->ShutdownStubs(0), 1u) << "disconnected, it stays listed until it ends";
    registered = RecordingTypeInfo::Create({}, {}, manager.get());
    registered = {};
    EXPECT_EQ(manager->ShutdownStubs(0), 0u) << "gone from the table with its end";
}

TEST_F(CustomTypeInfo, ConcurrentFirstCallsBuildOnce)
{
    std::mutex lock;
    std::condition_variable changed;
    bool building = false, secondCalling = false, secondDone = false, secondDoneDuringBuild = true;
    derived.description->duringBuild = [&] {
        std::unique_lock<std::mutex> held(lock);
        building = true;
        changed.notify_all();
        changed.wait_for(held, std::chrono::seconds(10), [&] { return secondCalling; });
        // The second caller must wait for this build, not read half of it.
        secondDoneDuringBuild = changed.wait_for(held, std::chrono::milliseconds(200), [&] { return secondDone; });
        return S_OK;
    };
    MEMBERID firstId = 0, secondId = 0;
    std::thread first([&] { idOf(derived.description.get(), u"Item", &firstId); });
    std::thread second([&] {
        {
            std::unique_lock<std::mutex> held(lock);
            changed.wait_for(held, std::chrono::seconds(10), [&] { return building; });
            secondCalling = true;
            changed.notify_all();
        }
        idOf(derived.description.get(), u"Field", &secondId);
        std::lock_guard<std::mutex> held(lock);
        secondDone = true;
        changed.notify_all();
    });
    first.join();
    second.join();
    EXPECT_EQ(derived.description->builds, 1);
    EXPECT_FALSE(secondDoneDuringBuild);
    EXPECT_EQ(firstId, id(Item));
    EXPECT_EQ(secondId, id(Field));
}

TEST_F(CustomTypeInfo, BuildRunsOnceBetweenTheDebugMarkers)
{
    const ScopedFolder folder;
    const std::string path = folder.path() + "/debug.txt";
    const ScopedVariable output("VRQT_DEBUG_OUTPUT_FILE", path.c_str());
    derived.description->duringBuild = [] {
        OutputDebugStringW(u"[build]");
        return S_OK;
    };
    built();
    built();
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    // The base builds inside the derived build, between markers of its own.
    EXPECT_EQ(text.str(), "ZKA_INTERNAL_DISABLE_EXCEPTION"
                          "ZKA_INTERNAL_DISABLE_EXCEPTIONZKA_INTERNAL_ENABLE_EXCEPTION"
                          "[build]ZKA_INTERNAL_ENABLE_EXCEPTION");
}

TEST_F(CustomTypeInfo, FailedBuildIsNotRepeatedAndKeepsWhatWasAdded)
{
    derived.description->duringBuild = [] { return E_ACCESSDENIED; };
    TYPEATTR *attributes = nullptr;
    EXPECT_EQ(derived.description->GetTypeAttr(&attributes), E_ACCESSDENIED);
    EXPECT_EQ(idOf(derived.description.get(), u"Field"), id(Field));
    EXPECT_EQ(derived.description->builds, 1);
}

} // namespace
