// Strings, variants, arrays and dates: the automation runtime's value functions.
// Each function is documented where it is defined.
#pragma once

#include "platform/errors.h"
#include "platform/variant.h"

// BSTR
PLATFORM_API BSTR SysAllocString(const OLECHAR *text);
PLATFORM_API BSTR SysAllocStringLen(const OLECHAR *text, UINT length);
PLATFORM_API BSTR SysAllocStringByteLen(LPCSTR bytes, UINT length);
PLATFORM_API INT SysReAllocString(BSTR *string, const OLECHAR *text);
PLATFORM_API INT SysReAllocStringLen(BSTR *string, const OLECHAR *text, UINT length);
PLATFORM_API void SysFreeString(BSTR string);
PLATFORM_API UINT SysStringLen(BSTR string);
PLATFORM_API UINT SysStringByteLen(BSTR string);
PLATFORM_API HRESULT VarBstrCmp(BSTR left, BSTR right, LCID lcid, ULONG flags);
PLATFORM_API HRESULT VarBstrCat(BSTR left, BSTR right, LPBSTR result);

// VARIANT
PLATFORM_API void VariantInit(VARIANTARG *variant);
PLATFORM_API HRESULT VariantClear(VARIANTARG *variant);
PLATFORM_API HRESULT VariantCopy(VARIANTARG *dest, const VARIANTARG *source);
PLATFORM_API HRESULT VariantCopyInd(VARIANT *dest, const VARIANTARG *source);
PLATFORM_API HRESULT VariantChangeType(VARIANTARG *dest, const VARIANTARG *source, USHORT flags, VARTYPE vt);
PLATFORM_API HRESULT VariantChangeTypeEx(VARIANTARG *dest, const VARIANTARG *source, LCID lcid, USHORT flags, VARTYPE vt);

// SAFEARRAY
PLATFORM_API SAFEARRAY *SafeArrayCreate(VARTYPE vt, UINT dims, SAFEARRAYBOUND *bounds);
PLATFORM_API SAFEARRAY *SafeArrayCreateVector(VARTYPE vt, LONG lowerBound, ULONG elements);
PLATFORM_API HRESULT SafeArrayAllocDescriptor(UINT dims, SAFEARRAY **array);
PLATFORM_API HRESULT SafeArrayAllocData(SAFEARRAY *array);
PLATFORM_API HRESULT SafeArrayDestroyDescriptor(SAFEARRAY *array);
PLATFORM_API HRESULT SafeArrayDestroyData(SAFEARRAY *array);
PLATFORM_API HRESULT SafeArrayDestroy(SAFEARRAY *array);
PLATFORM_API UINT SafeArrayGetDim(SAFEARRAY *array);
PLATFORM_API UINT SafeArrayGetElemsize(SAFEARRAY *array);
PLATFORM_API HRESULT SafeArrayGetVartype(SAFEARRAY *array, VARTYPE *vt);
PLATFORM_API HRESULT SafeArrayGetLBound(SAFEARRAY *array, UINT dim, LONG *lowerBound);
PLATFORM_API HRESULT SafeArrayGetUBound(SAFEARRAY *array, UINT dim, LONG *upperBound);
PLATFORM_API HRESULT SafeArrayLock(SAFEARRAY *array);
PLATFORM_API HRESULT SafeArrayUnlock(SAFEARRAY *array);
PLATFORM_API HRESULT SafeArrayAccessData(SAFEARRAY *array, void **data);
PLATFORM_API HRESULT SafeArrayUnaccessData(SAFEARRAY *array);
PLATFORM_API HRESULT SafeArrayPtrOfIndex(SAFEARRAY *array, LONG *indices, void **element);
PLATFORM_API HRESULT SafeArrayPutElement(SAFEARRAY *array, LONG *indices, void *value);
PLATFORM_API HRESULT SafeArrayGetElement(SAFEARRAY *array, LONG *indices, void *value);
PLATFORM_API HRESULT SafeArrayCopy(SAFEARRAY *source, SAFEARRAY **dest);
PLATFORM_API HRESULT SafeArrayCopyData(SAFEARRAY *source, SAFEARRAY *dest);
PLATFORM_API HRESULT SafeArrayRedim(SAFEARRAY *array, SAFEARRAYBOUND *lastBound);

// Dates: days since 1899-12-30, the fraction the time of day.
PLATFORM_API INT SystemTimeToVariantTime(LPSYSTEMTIME systemTime, DOUBLE *variantTime);
PLATFORM_API INT VariantTimeToSystemTime(DOUBLE variantTime, LPSYSTEMTIME systemTime);

// Number parsing: text to a NUMPARSE and digits, then to the smallest
// acceptable numeric type. Only the US English number characters are served.
typedef struct tagNUMPARSE {
    INT cDig;
    ULONG dwInFlags;
    ULONG dwOutFlags;
    INT cchUsed;
    INT nBaseShift;
    INT nPwr10;
} NUMPARSE;

#define NUMPRS_LEADING_WHITE 0x0001
#define NUMPRS_TRAILING_WHITE 0x0002
#define NUMPRS_LEADING_PLUS 0x0004
#define NUMPRS_TRAILING_PLUS 0x0008
#define NUMPRS_LEADING_MINUS 0x0010
#define NUMPRS_TRAILING_MINUS 0x0020
#define NUMPRS_HEX_OCT 0x0040
#define NUMPRS_PARENS 0x0080
#define NUMPRS_DECIMAL 0x0100
#define NUMPRS_THOUSANDS 0x0200
#define NUMPRS_CURRENCY 0x0400
#define NUMPRS_EXPONENT 0x0800
#define NUMPRS_USE_ALL 0x1000
#define NUMPRS_STD 0x1FFF
#define NUMPRS_NEG 0x10000
#define NUMPRS_INEXACT 0x20000

#define VTBIT_I1 (1 << VT_I1)
#define VTBIT_UI1 (1 << VT_UI1)
#define VTBIT_I2 (1 << VT_I2)
#define VTBIT_UI2 (1 << VT_UI2)
#define VTBIT_I4 (1 << VT_I4)
#define VTBIT_UI4 (1 << VT_UI4)
#define VTBIT_I8 (1 << VT_I8)
#define VTBIT_UI8 (1 << VT_UI8)
#define VTBIT_R4 (1 << VT_R4)
#define VTBIT_R8 (1 << VT_R8)
#define VTBIT_CY (1 << VT_CY)
#define VTBIT_DECIMAL (1 << VT_DECIMAL)

PLATFORM_API HRESULT VarParseNumFromStr(const OLECHAR *text, LCID lcid, ULONG flags, NUMPARSE *numprs, BYTE *digits);
PLATFORM_API HRESULT VarNumFromParseNum(NUMPARSE *numprs, BYTE *digits, ULONG vtBits, VARIANT *result);

// Dates as text, in the US English default format ("1/2/2003 3:04:05 PM").
#define LOCALE_NOUSEROVERRIDE 0x80000000
#define LOCALE_USE_NLS 0x10000000
#define VAR_TIMEVALUEONLY 0x00000001
#define VAR_DATEVALUEONLY 0x00000002
#define VAR_VALIDDATE 0x00000004
#define VAR_CALENDAR_HIJRI 0x00000008
#define VAR_LOCALBOOL 0x00000010
#define VAR_FORMAT_NOSUBSTITUTE 0x00000020
#define VAR_FOURDIGITYEARS 0x00000040
#define VAR_CALENDAR_THAI 0x00000080
#define VAR_CALENDAR_GREGORIAN 0x00000100

PLATFORM_API HRESULT VarDateFromStr(const OLECHAR *text, LCID lcid, ULONG flags, DATE *date);
PLATFORM_API HRESULT VarBstrFromDate(DATE date, LCID lcid, ULONG flags, BSTR *text);
