// How a script may use a member of a type description: what the host's
// script engine asks before it decides between a call and a property access.
#pragma once

#include "interfaces/unknown.h"
#include "platform/basetypes.h"

DEFINE_IID(IID_IzkScriptFwTypeInfoMemberUsageInfo, 0x7C806927, 0x9554, 0x416D, 0x87, 0x0E, 0x14, 0x3A, 0x17, 0x8B, 0x5B, 0x72);

// Usage values: 0 unknown, 1 a member with only a put, 2 a property or
// variable, 3 a method, 4 a property with parameters.
enum MemberUsage : int {
    MemberUsageUnknown = 0,
    MemberUsagePutOnly = 1,
    MemberUsageProperty = 2,
    MemberUsageMethod = 3,
    MemberUsageIndexedProperty = 4,
};

struct IzkScriptFwTypeInfoMemberUsageInfo : IUnknown {
    // S_OK, or E_UNEXPECTED for a member the description cannot classify.
    virtual HRESULT STDMETHODCALLTYPE GetMemberUsage(BSTR name, int *usage) = 0;
};
