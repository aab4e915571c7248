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
