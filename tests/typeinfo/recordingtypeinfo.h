// A type description for tests: adds the members of a table on first use
// and records which operation each Invoke reached.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <mutex>
#include <vector>

#include "runtime/stubmanager.h"
#include "typeinfo/customtypeinfo.h"
#include "typeinfo/multithreadtypeinfo.h"

namespace typeinfotest {

enum class MemberKind { Method, Getter, Putter, PutJoinsPrevious, Variable };
struct MemberSpec {
    const char16_t *name;
    MemberKind kind;
    SHORT parameterCount = 0;
};
enum class Operation { Function, PropertyGet, PropertyPut, GetVariable, PutVariable, Default };
struct InvokeRecord {
    Operation operation;
    PVOID instance;
    int index; // function or variable index; -1 for the default member
    UINT argumentCount;
};

class RecordingTypeInfo : public vrOpenAppHook::CCustomTypeInfo
{
public:
    struct Made {
        ComPtr<RecordingTypeInfo> description;
        ComPtr<IUnknown> wrapper; // the multi-thread wrapper's inner IUnknown
    };

    // A new description, initialised with its wrapper, as the module makes them.
    static Made Create(std::vector<MemberSpec> members, std::vector<ITypeInfo *> bases = {},
                       vrOpenAppHook::CStubManager *stubManager = nullptr, LPCOLESTR name = u"TestType")
    {
        Made made;
        made.description = ComPtr<RecordingTypeInfo>(new RecordingTypeInfo(std::move(members), std::move(bases)));
        made.description->AddRef();
        EXPECT_EQ(vrOpenAppHook::CreateMultiThreadTypeInfo(made.description.get(), made.wrapper.put()), S_OK);
        EXPECT_EQ(made.description->Initialize(stubManager, made.wrapper.get(), name), S_OK);
        return made;
    }

    std::vector<MEMBERID> memberIds; // by row of the table, filled by the build
    std::vector<int> indices;        // function or variable index, by row
    std::atomic<int> builds{ 0 };
    std::function<HRESULT()> duringBuild; // after the members are added
    std::function<void()> duringInvoke;   // inside every operation
    HRESULT operationResult = S_OK;       // what every operation answers
    std::vector<HRESULT> translated;      // what reached TranslateError
    std::atomic<int> releasedTypeAttrs{ 0 };

    std::vector<InvokeRecord> Calls()
    {
        std::lock_guard<std::mutex> held(callsLock);
        return calls;
    }

    void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR *typeAttr) override
    {
        ++releasedTypeAttrs;
        CCustomTypeInfo::ReleaseTypeAttr(typeAttr);
    }

    // The table slot of a virtual member: an Itanium pointer to one holds 1
    // plus the byte offset of its slot.
    template <typename Member>
    static long SlotOf(Member member)
    {
        ptrdiff_t words[2];
        static_assert(sizeof member == sizeof words, "Itanium member pointer");
        std::memcpy(words, &member, sizeof words);
        return long((words[0] - 1) / ptrdiff_t(sizeof(void *)));
    }
    static std::vector<long> ExtraSlots()
    {
        using T = RecordingTypeInfo;
        return { SlotOf(&T::BuildTypeInfo),     SlotOf(&T::InvokeFunction), SlotOf(&T::InvokePropertyGet),
                 SlotOf(&T::InvokePropertyPut), SlotOf(&T::GetVariable),    SlotOf(&T::PutVariable),
                 SlotOf(&T::InvokeDefault),     SlotOf(&T::TranslateError), SlotOf(&T::NormalizeMemberName),
                 SlotOf(&T::AppendNameSuffix),  SlotOf(&T::DeletingDestructor) };
    }

protected:
    HRESULT STDMETHODCALLTYPE BuildTypeInfo() override
    {
        ++builds;
        for (ITypeInfo *base : bases)
            EXPECT_EQ(AddBaseType(base), S_OK);
        for (const MemberSpec &member : members) {
            int memberId = 0, index = -1;
            std::vector<ELEMDESC> parameters(size_t(member.parameterCount));
            for (ELEMDESC &parameter : parameters)
                parameter.tdesc.vt = VT_BSTR;
            FUNCDESC function = {};
            function.funckind = FUNC_DISPATCH;
            function.invkind = member.kind == MemberKind::Method   ? INVOKE_FUNC
                               : member.kind == MemberKind::Getter ? INVOKE_PROPERTYGET
                                                                   : INVOKE_PROPERTYPUT;
            function.callconv = CC_STDCALL;
            function.cParams = member.parameterCount;
            function.lprgelemdescParam = parameters.empty() ? nullptr : parameters.data();
            function.elemdescFunc.tdesc.vt = VT_I4;
            VARDESC variable = {};
            variable.varkind = VAR_DISPATCH;
            HRESULT hr = S_OK;
            if (member.kind == MemberKind::Variable)
                hr = AddVariable(member.name, &variable, &memberId, &index);
            else if (member.kind == MemberKind::PutJoinsPrevious)
                hr = AddFunctionToMember(memberId = memberIds.back(), &function, &index);
            else
                hr = AddFunction(member.name, &function, &memberId, &index);
            if (FAILED(hr))
                return hr;
            memberIds.push_back(memberId);
            indices.push_back(index);
        }
        return duringBuild ? duringBuild() : S_OK;
    }

    HRESULT STDMETHODCALLTYPE InvokeFunction(PVOID instance, int index, DISPPARAMS *params, VARIANT *result) override
    {
        return record(Operation::Function, instance, index, params->cArgs, result);
    }
    HRESULT STDMETHODCALLTYPE InvokePropertyGet(PVOID instance, int index, DISPPARAMS *params, VARIANT *result) override
    {
        return record(Operation::PropertyGet, instance, index, params->cArgs, result);
    }
    HRESULT STDMETHODCALLTYPE InvokePropertyPut(PVOID instance, int index, DISPPARAMS *params) override
    {
        return record(Operation::PropertyPut, instance, index, params->cArgs, nullptr);
    }
    HRESULT STDMETHODCALLTYPE GetVariable(PVOID instance, int index, VARIANT *result) override
    {
        return record(Operation::GetVariable, instance, index, 0, result);
    }
    HRESULT STDMETHODCALLTYPE PutVariable(PVOID instance, int index, VARIANT *value) override
    {
        return record(Operation::PutVariable, instance, index, value ? 1 : 0, nullptr);
    }
    HRESULT STDMETHODCALLTYPE InvokeDefault(PVOID instance, VARIANT *result) override
    {
        return record(Operation::Default, instance, -1, 0, result);
    }
    // Marks what passed through here: DISP_E_EXCEPTION, the code in scode.
    HRESULT STDMETHODCALLTYPE TranslateError(HRESULT hr, EXCEPINFO *excepInfo) override
    {
        translated.push_back(hr);
        if (excepInfo)
            excepInfo->scode = hr;
        return DISP_E_EXCEPTION;
    }

private:
    RecordingTypeInfo(std::vector<MemberSpec> members, std::vector<ITypeInfo *> bases)
        : members(std::move(members)), bases(std::move(bases))
    {
    }

    // A successful operation answers a string, so that a discarded or
    // overwritten result shows up as a leak.
    HRESULT record(Operation operation, PVOID instance, int index, UINT argumentCount, VARIANT *result)
    {
        {
            std::lock_guard<std::mutex> held(callsLock);
            calls.push_back({ operation, instance, index, argumentCount });
        }
        if (duringInvoke)
            duringInvoke();
        if (SUCCEEDED(operationResult) && result) {
            V_VT(result) = VT_BSTR;
            V_BSTR(result) = SysAllocString(u"answer");
        }
        return operationResult;
    }

    std::vector<MemberSpec> members;
    std::vector<ITypeInfo *> bases;
    std::mutex callsLock;
    std::vector<InvokeRecord> calls;
};

} // namespace typeinfotest
