// Binary layouts of the automation structures, checked in the running
// program against the Windows x64 values that hosts rely on.
#include <gtest/gtest.h>

#include <cstddef>

#include "platform/automation.h"

namespace {

struct LayoutRow {
    const char *name;
    size_t actual;
    size_t expected;
};

#define SIZE_ROW(type, expected) { "sizeof(" #type ")", sizeof(type), expected }
#define OFFSET_ROW(type, field, expected) { #type "." #field, offsetof(type, field), expected }

// Every value is what the Windows x64 headers give.
const LayoutRow layoutRows[] = {
    SIZE_ROW(GUID, 16), OFFSET_ROW(GUID, Data2, 4), OFFSET_ROW(GUID, Data3, 6), OFFSET_ROW(GUID, Data4, 8),
    SIZE_ROW(CY, 8), SIZE_ROW(DECIMAL, 16), OFFSET_ROW(DECIMAL, scale, 2), OFFSET_ROW(DECIMAL, sign, 3),
    OFFSET_ROW(DECIMAL, Hi32, 4), OFFSET_ROW(DECIMAL, Lo32, 8), OFFSET_ROW(DECIMAL, Mid32, 12),
    SIZE_ROW(VARIANT, 24), OFFSET_ROW(VARIANT, vt, 0), OFFSET_ROW(VARIANT, wReserved1, 2),
    OFFSET_ROW(VARIANT, wReserved2, 4), OFFSET_ROW(VARIANT, wReserved3, 6), OFFSET_ROW(VARIANT, lVal, 8),
    OFFSET_ROW(VARIANT, llVal, 8), OFFSET_ROW(VARIANT, bstrVal, 8), OFFSET_ROW(VARIANT, pvRecord, 8),
    OFFSET_ROW(VARIANT, pRecInfo, 16), OFFSET_ROW(VARIANT, decVal, 0),
    SIZE_ROW(SAFEARRAYBOUND, 8), OFFSET_ROW(SAFEARRAYBOUND, cElements, 0), OFFSET_ROW(SAFEARRAYBOUND, lLbound, 4),
    SIZE_ROW(SAFEARRAY, 32), OFFSET_ROW(SAFEARRAY, cDims, 0), OFFSET_ROW(SAFEARRAY, fFeatures, 2),
    OFFSET_ROW(SAFEARRAY, cbElements, 4), OFFSET_ROW(SAFEARRAY, cLocks, 8), OFFSET_ROW(SAFEARRAY, pvData, 16),
    OFFSET_ROW(SAFEARRAY, rgsabound, 24),
    SIZE_ROW(DISPPARAMS, 24), OFFSET_ROW(DISPPARAMS, rgvarg, 0), OFFSET_ROW(DISPPARAMS, rgdispidNamedArgs, 8),
    OFFSET_ROW(DISPPARAMS, cArgs, 16), OFFSET_ROW(DISPPARAMS, cNamedArgs, 20),
    SIZE_ROW(EXCEPINFO, 64), OFFSET_ROW(EXCEPINFO, wCode, 0), OFFSET_ROW(EXCEPINFO, wReserved, 2),
    OFFSET_ROW(EXCEPINFO, bstrSource, 8), OFFSET_ROW(EXCEPINFO, bstrDescription, 16),
    OFFSET_ROW(EXCEPINFO, bstrHelpFile, 24), OFFSET_ROW(EXCEPINFO, dwHelpContext, 32),
    OFFSET_ROW(EXCEPINFO, pvReserved, 40), OFFSET_ROW(EXCEPINFO, pfnDeferredFillIn, 48),
    OFFSET_ROW(EXCEPINFO, scode, 56),
    SIZE_ROW(TYPEDESC, 16), OFFSET_ROW(TYPEDESC, lptdesc, 0), OFFSET_ROW(TYPEDESC, hreftype, 0),
    OFFSET_ROW(TYPEDESC, vt, 8), SIZE_ROW(ARRAYDESC, 32), OFFSET_ROW(ARRAYDESC, cDims, 16),
    OFFSET_ROW(ARRAYDESC, rgbounds, 20),
    SIZE_ROW(IDLDESC, 16), OFFSET_ROW(IDLDESC, dwReserved, 0), OFFSET_ROW(IDLDESC, wIDLFlags, 8),
    SIZE_ROW(PARAMDESCEX, 32), OFFSET_ROW(PARAMDESCEX, varDefaultValue, 8), SIZE_ROW(PARAMDESC, 16),
    OFFSET_ROW(PARAMDESC, pparamdescex, 0), OFFSET_ROW(PARAMDESC, wParamFlags, 8), SIZE_ROW(ELEMDESC, 32),
    OFFSET_ROW(ELEMDESC, tdesc, 0), OFFSET_ROW(ELEMDESC, idldesc, 16), OFFSET_ROW(ELEMDESC, paramdesc, 16),
    SIZE_ROW(FUNCDESC, 88), OFFSET_ROW(FUNCDESC, memid, 0), OFFSET_ROW(FUNCDESC, lprgscode, 8),
    OFFSET_ROW(FUNCDESC, lprgelemdescParam, 16), OFFSET_ROW(FUNCDESC, funckind, 24), OFFSET_ROW(FUNCDESC, invkind, 28),
    OFFSET_ROW(FUNCDESC, callconv, 32), OFFSET_ROW(FUNCDESC, cParams, 36), OFFSET_ROW(FUNCDESC, cParamsOpt, 38),
    OFFSET_ROW(FUNCDESC, oVft, 40), OFFSET_ROW(FUNCDESC, cScodes, 42), OFFSET_ROW(FUNCDESC, elemdescFunc, 48),
    OFFSET_ROW(FUNCDESC, wFuncFlags, 80),
    SIZE_ROW(VARDESC, 64), OFFSET_ROW(VARDESC, memid, 0), OFFSET_ROW(VARDESC, lpstrSchema, 8),
    OFFSET_ROW(VARDESC, oInst, 16), OFFSET_ROW(VARDESC, lpvarValue, 16), OFFSET_ROW(VARDESC, elemdescVar, 24),
    OFFSET_ROW(VARDESC, wVarFlags, 56), OFFSET_ROW(VARDESC, varkind, 60),
    SIZE_ROW(TYPEATTR, 96), OFFSET_ROW(TYPEATTR, guid, 0), OFFSET_ROW(TYPEATTR, lcid, 16),
    OFFSET_ROW(TYPEATTR, dwReserved, 20), OFFSET_ROW(TYPEATTR, memidConstructor, 24),
    OFFSET_ROW(TYPEATTR, memidDestructor, 28), OFFSET_ROW(TYPEATTR, lpstrSchema, 32),
    OFFSET_ROW(TYPEATTR, cbSizeInstance, 40), OFFSET_ROW(TYPEATTR, typekind, 44), OFFSET_ROW(TYPEATTR, cFuncs, 48),
    OFFSET_ROW(TYPEATTR, cVars, 50), OFFSET_ROW(TYPEATTR, cImplTypes, 52), OFFSET_ROW(TYPEATTR, cbSizeVft, 54),
    OFFSET_ROW(TYPEATTR, cbAlignment, 56), OFFSET_ROW(TYPEATTR, wTypeFlags, 58), OFFSET_ROW(TYPEATTR, wMajorVerNum, 60),
    OFFSET_ROW(TYPEATTR, wMinorVerNum, 62), OFFSET_ROW(TYPEATTR, tdescAlias, 64), OFFSET_ROW(TYPEATTR, idldescType, 80),
    SIZE_ROW(CUSTDATAITEM, 40), OFFSET_ROW(CUSTDATAITEM, guid, 0), OFFSET_ROW(CUSTDATAITEM, varValue, 16),
    SIZE_ROW(CUSTDATA, 16), OFFSET_ROW(CUSTDATA, cCustData, 0), OFFSET_ROW(CUSTDATA, prgCustData, 8),
    SIZE_ROW(SYSTEMTIME, 16), OFFSET_ROW(SYSTEMTIME, wYear, 0), OFFSET_ROW(SYSTEMTIME, wMonth, 2),
    OFFSET_ROW(SYSTEMTIME, wDayOfWeek, 4), OFFSET_ROW(SYSTEMTIME, wDay, 6), OFFSET_ROW(SYSTEMTIME, wHour, 8),
    OFFSET_ROW(SYSTEMTIME, wMinute, 10), OFFSET_ROW(SYSTEMTIME, wSecond, 12), OFFSET_ROW(SYSTEMTIME, wMilliseconds, 14),
    SIZE_ROW(EXCEPTION_RECORD, 152), OFFSET_ROW(EXCEPTION_RECORD, ExceptionCode, 0),
    OFFSET_ROW(EXCEPTION_RECORD, ExceptionFlags, 4), OFFSET_ROW(EXCEPTION_RECORD, ExceptionRecord, 8),
    OFFSET_ROW(EXCEPTION_RECORD, ExceptionAddress, 16), OFFSET_ROW(EXCEPTION_RECORD, NumberParameters, 24),
    OFFSET_ROW(EXCEPTION_RECORD, ExceptionInformation, 32),
    SIZE_ROW(LONG, 4), SIZE_ROW(ULONG, 4), SIZE_ROW(HRESULT, 4), SIZE_ROW(OLECHAR, 2), SIZE_ROW(VARIANT_BOOL, 2),
    SIZE_ROW(VARTYPE, 2), SIZE_ROW(DATE, 8),
};

#undef SIZE_ROW
#undef OFFSET_ROW

} // namespace

TEST(Layout, AutomationStructuresHaveTheWindowsX64Layout)
{
    for (const LayoutRow &row : layoutRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.actual, row.expected);
    }
}
