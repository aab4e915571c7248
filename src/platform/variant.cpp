// VARIANT life cycle: initialise, clear, copy and copy through a reference.
#include <cstdlib>
#include <cstring>

#include "interfaces/dispatch.h"
#include "platform/oleauto.h"

namespace {

// Base types a VARIANT may hold, as Windows accepts them: VT_EMPTY up to
// VT_UINT except the unassigned 15, plus VT_RECORD and VT_CLSID.
constexpr bool isVariantBaseType(VARTYPE base)
{
    return (base < VT_VOID && base != 15) || base == VT_RECORD || base == VT_CLSID;
}

// Whether Windows accepts vt in a VARIANT: VT_VECTOR and VT_RESERVED never,
// VT_EMPTY and VT_NULL not by reference nor as arrays.
HRESULT validateVarType(VARTYPE vt)
{
    const VARTYPE base = vt & VT_TYPEMASK;
    if (vt & (VT_VECTOR | VT_RESERVED))
        return DISP_E_BADVARTYPE;
    if (!isVariantBaseType(base))
        return DISP_E_BADVARTYPE;
    if ((vt & (VT_BYREF | VT_ARRAY)) && base <= VT_NULL)
        return DISP_E_BADVARTYPE;
    return S_OK;
}

// Whether VariantCopyInd dereferences a VT_BYREF type; its rules are laxer
// than VariantClear's and answer E_INVALIDARG, not DISP_E_BADVARTYPE.
bool isDereferenceable(VARTYPE vt)
{
    const VARTYPE base = vt & VT_TYPEMASK;
    if ((vt & VT_ARRAY) || vt == (VT_RECORD | VT_BYREF))
        return true;
    return base > VT_NULL && base != 15 && base < VT_VOID && !(vt & (VT_VECTOR | VT_RESERVED));
}

// Size of the value a VT_BYREF variant points to, for the types copied as
// plain bytes by VariantCopyInd; indexed by base type.
constexpr unsigned char byRefValueSize[VT_UINT + 1] = {
    0,                    // VT_EMPTY
    0,                    // VT_NULL
    sizeof(SHORT),        // VT_I2
    sizeof(LONG),         // VT_I4
    sizeof(FLOAT),        // VT_R4
    sizeof(DOUBLE),       // VT_R8
    sizeof(CY),           // VT_CY
    sizeof(DATE),         // VT_DATE
    sizeof(BSTR),         // VT_BSTR
    sizeof(IDispatch *),  // VT_DISPATCH
    sizeof(SCODE),        // VT_ERROR
    sizeof(VARIANT_BOOL), // VT_BOOL
    0,                    // VT_VARIANT
    sizeof(IUnknown *),   // VT_UNKNOWN
    0,                    // VT_DECIMAL: copied around the reserved word
    0,                    // 15
    sizeof(CHAR),         // VT_I1
    sizeof(BYTE),         // VT_UI1
    sizeof(USHORT),       // VT_UI2
    sizeof(ULONG),        // VT_UI4
    sizeof(LONGLONG),     // VT_I8
    sizeof(ULONGLONG),    // VT_UI8
    sizeof(INT),          // VT_INT
    sizeof(UINT),         // VT_UINT
};

// Deep copy of a record: a new zeroed malloc block of the record's size,
// filled by IRecordInfo::RecordCopy; the record info gains a reference.
HRESULT copyRecord(VARIANT *dest, PVOID sourceRecord, IRecordInfo *recordInfo)
{
    dest->pvRecord = nullptr;
    dest->pRecInfo = nullptr;
    if (!recordInfo)
        return sourceRecord ? E_INVALIDARG : S_OK;
    ULONG size = 0;
    HRESULT hr = recordInfo->GetSize(&size);
    if (FAILED(hr))
        return hr;
    void *record = std::calloc(1, size ? size : 1);
    if (!record)
        return E_OUTOFMEMORY;
    // Zeroed memory rather than RecordInit, as Windows does.
    hr = recordInfo->RecordCopy(sourceRecord, record);
    if (FAILED(hr)) {
        std::free(record);
        return hr;
    }
    recordInfo->AddRef();
    dest->pvRecord = record;
    dest->pRecInfo = recordInfo;
    return S_OK;
}

// Copy of a string byte for byte; a null string gives an empty one.
BSTR copyString(BSTR text)
{
    return SysAllocStringByteLen(reinterpret_cast<LPCSTR>(text), SysStringByteLen(text));
}

// Releases what a variant of a valid, non-reference type owns.
HRESULT releaseContents(VARIANT *variant)
{
    const VARTYPE vt = variant->vt;
    if (vt & VT_ARRAY)
        return SafeArrayDestroy(variant->parray);
    switch (vt) {
    case VT_BSTR:
        SysFreeString(variant->bstrVal);
        break;
    case VT_DISPATCH:
    case VT_UNKNOWN:
        if (variant->punkVal)
            variant->punkVal->Release();
        break;
    case VT_RECORD:
        if (variant->pRecInfo) {
            variant->pRecInfo->RecordClear(variant->pvRecord);
            variant->pRecInfo->Release();
        }
        break;
    default:
        break;
    }
    return S_OK;
}

} // namespace

/// VariantInit: makes a variant VT_EMPTY without looking at its contents.
///   variant [out]: the variant; all 24 bytes are zeroed, as Windows does
///                  since 8.1 (earlier versions set only vt).
PLATFORM_API void VariantInit(VARIANTARG *variant)
{
    if (variant)
        std::memset(variant, 0, sizeof *variant);
}

/// VariantClear: releases what a variant holds and makes it VT_EMPTY.
///   variant [in/out]: the variant; strings are freed, interfaces released,
///                     arrays destroyed, records cleared through their
///                     IRecordInfo; nothing is released for VT_BYREF.
/// Returns S_OK; E_INVALIDARG for a null pointer (Windows crashes);
/// DISP_E_BADVARTYPE for a type Windows does not accept in a variant (the
/// variant is left as it was); DISP_E_ARRAYISLOCKED when its array is locked:
/// the variant still becomes VT_EMPTY, as on Windows, and the array lives on
/// for whoever holds the lock. Only vt is written; the value stays.
PLATFORM_API HRESULT VariantClear(VARIANTARG *variant)
{
    if (!variant)
        return E_INVALIDARG;
    HRESULT hr = validateVarType(variant->vt);
    if (FAILED(hr))
        return hr;
    if (!(variant->vt & VT_BYREF))
        hr = releaseContents(variant);
    variant->vt = VT_EMPTY;
    return hr;
}

/// VariantCopy: deep copy of one variant into another.
///   dest [in/out]: cleared first, then receives the copy.
///   source [in]: the variant to copy; strings and arrays are duplicated,
///                interfaces gain a reference, records are copied through
///                their IRecordInfo, VT_BYREF copies the pointer.
///                A null string is copied as an empty one, as on Windows.
/// Returns S_OK (also when source and dest are the same variant, which is
/// left alone); E_INVALIDARG for null pointers; DISP_E_BADVARTYPE for a source
/// type Windows refuses (VT_CLSID among them); the failure of clearing dest;
/// E_OUTOFMEMORY.
PLATFORM_API HRESULT VariantCopy(VARIANTARG *dest, const VARIANTARG *source)
{
    if (!dest || !source)
        return E_INVALIDARG;
    if ((source->vt & VT_TYPEMASK) == VT_CLSID || FAILED(validateVarType(source->vt)))
        return DISP_E_BADVARTYPE;
    if (dest == source)
        return S_OK;
    HRESULT hr = VariantClear(dest);
    if (FAILED(hr))
        return hr;
    *dest = *source;
    if (source->vt & VT_BYREF)
        return S_OK;
    if (source->vt & VT_ARRAY) {
        dest->parray = nullptr;
        hr = SafeArrayCopy(source->parray, &dest->parray);
    } else if (source->vt == VT_BSTR) {
        dest->bstrVal = copyString(source->bstrVal);
        if (!dest->bstrVal)
            hr = E_OUTOFMEMORY;
    } else if (source->vt == VT_DISPATCH || source->vt == VT_UNKNOWN) {
        if (source->punkVal)
            source->punkVal->AddRef();
    } else if (source->vt == VT_RECORD) {
        hr = copyRecord(dest, source->pvRecord, source->pRecInfo);
    }
    if (FAILED(hr))
        dest->vt = VT_EMPTY;
    return hr;
}

/// VariantCopyInd: copies a variant, dereferencing one VT_BYREF level.
///   dest [in/out]: cleared first (unless it is source), then receives the
///                  copy, which owns its values.
///   source [in]: the variant; without VT_BYREF this is VariantCopy. With
///                VT_BYREF|VT_VARIANT the referenced variant is copied the
///                same way, unless it is itself VT_BYREF|VT_VARIANT.
/// Returns S_OK; E_INVALIDARG for null pointers, for a reference type Windows
/// does not dereference, or for a reference to a VT_BYREF|VT_VARIANT;
/// DISP_E_BADVARTYPE and E_OUTOFMEMORY as VariantCopy.
PLATFORM_API HRESULT VariantCopyInd(VARIANT *dest, const VARIANTARG *source)
{
    if (!dest || !source)
        return E_INVALIDARG;
    if (!(source->vt & VT_BYREF))
        return VariantCopy(dest, source);

    const VARTYPE base = source->vt & VT_TYPEMASK;
    const bool array = source->vt & VT_ARRAY;
    if (!isDereferenceable(source->vt))
        return E_INVALIDARG;
    if (!source->byref)
        return E_INVALIDARG; // Windows crashes

    // Copying in place reads from a shallow copy: a reference owns nothing.
    const VARIANT reference = *source;
    if (dest == source) {
        dest->vt = VT_EMPTY;
    } else {
        const HRESULT hr = VariantClear(dest);
        if (FAILED(hr))
            return hr;
    }

    HRESULT hr = S_OK;
    const VARTYPE target = reference.vt & ~VT_BYREF;
    if (array) {
        dest->parray = nullptr;
        hr = SafeArrayCopy(*reference.pparray, &dest->parray);
    } else if (base == VT_VARIANT) {
        const VARIANT *inner = reference.pvarVal;
        if (inner->vt == (VT_VARIANT | VT_BYREF))
            return E_INVALIDARG; // only one level is dereferenced
        return VariantCopyInd(dest, inner);
    } else if (base == VT_BSTR) {
        dest->bstrVal = copyString(*reference.pbstrVal);
        if (!dest->bstrVal)
            hr = E_OUTOFMEMORY;
    } else if (base == VT_DISPATCH || base == VT_UNKNOWN) {
        dest->punkVal = *reference.ppunkVal;
        if (dest->punkVal)
            dest->punkVal->AddRef();
    } else if (base == VT_RECORD) {
        hr = copyRecord(dest, reference.pvRecord, reference.pRecInfo);
    } else if (base == VT_DECIMAL) {
        // The decimal overlays the whole variant; its first word is vt.
        std::memcpy(reinterpret_cast<char *>(dest) + sizeof(VARTYPE),
                    reinterpret_cast<const char *>(reference.pdecVal) + sizeof(VARTYPE), sizeof(DECIMAL) - sizeof(VARTYPE));
    } else {
        dest->llVal = 0;
        std::memcpy(&dest->llVal, reference.byref, byRefValueSize[base]);
    }
    dest->vt = FAILED(hr) ? VARTYPE(VT_EMPTY) : target;
    return hr;
}
