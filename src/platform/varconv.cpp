// VariantChangeType and VariantChangeTypeEx: type checks, by-reference
// sources, in-place conversion, objects and arrays here; the conversions
// themselves are the cells of one table, target kind by source kind.
#include <cstring>

#include "interfaces/dispatch.h"
#include "platform/varconvcells.h"

namespace {

using namespace platform;

// Kinds of value that convert alike; the table is indexed by them.
enum Family : int {
    kEmpty,
    kNull,
    kInteger,
    kBool,
    kReal,
    kDate,
    kCurrency,
    kDecimal,
    kText,
    kError,
    kDispatch,
    kUnknown,
    kOther, // valid but never converted: VT_VARIANT, VT_RECORD, by-reference targets ...
    kFamilyCount
};

struct TypeFamily {
    VARTYPE vt;
    Family family;
};
constexpr TypeFamily kTypeFamilies[] = {
    { VT_EMPTY, kEmpty }, { VT_NULL, kNull },
    { VT_I1, kInteger }, { VT_UI1, kInteger }, { VT_I2, kInteger }, { VT_UI2, kInteger },
    { VT_I4, kInteger }, { VT_UI4, kInteger }, { VT_INT, kInteger }, { VT_UINT, kInteger },
    { VT_I8, kInteger }, { VT_UI8, kInteger },
    { VT_BOOL, kBool }, { VT_R4, kReal }, { VT_R8, kReal }, { VT_DATE, kDate }, { VT_CY, kCurrency },
    { VT_DECIMAL, kDecimal }, { VT_BSTR, kText }, { VT_ERROR, kError }, { VT_DISPATCH, kDispatch },
    { VT_UNKNOWN, kUnknown },
};

Family familyOf(VARTYPE vt)
{
    for (const TypeFamily &entry : kTypeFamilies) {
        if (entry.vt == vt)
            return entry.family;
    }
    return kOther;
}

// VT_INT and VT_UINT convert as VT_I4 and VT_UI4.
VARTYPE canonical(VARTYPE vt)
{
    return vt == VT_INT ? VARTYPE(VT_I4) : vt == VT_UINT ? VARTYPE(VT_UI4) : vt;
}

// VariantChangeType's flags and the VAR_ / LOCALE_ flags they mean when
// text is read or written.
struct FlagMapping {
    USHORT variantFlag;
    ULONG textFlag;
};
constexpr FlagMapping kTextFlags[] = {
    { VARIANT_LOCALBOOL, VAR_LOCALBOOL },
    { VARIANT_CALENDAR_HIJRI, VAR_CALENDAR_HIJRI },
    { VARIANT_CALENDAR_THAI, VAR_CALENDAR_THAI },
    { VARIANT_CALENDAR_GREGORIAN, VAR_CALENDAR_GREGORIAN },
    { VARIANT_NOUSEROVERRIDE, LOCALE_NOUSEROVERRIDE },
    { VARIANT_USE_NLS, LOCALE_USE_NLS },
};

ULONG textFlagsFor(USHORT flags)
{
    ULONG textFlags = 0;
    for (const FlagMapping &mapping : kTextFlags) {
        if (flags & mapping.variantFlag)
            textFlags |= mapping.textFlag;
    }
    return textFlags;
}

// Windows clears the destination for VT_EMPTY and VT_NULL whenever the
// source is one of the classic types up to VT_UINT, VT_ERROR excepted.
HRESULT clearIfClassic(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    if (source.vt > VT_UINT || source.vt == 15 || source.vt == VT_ERROR)
        return DISP_E_TYPEMISMATCH;
    return convertToZero(conversion, source, result);
}

HRESULT convertFromDispatch(const Conversion &, const VARIANT &, VARIANT &);
HRESULT dispatchFromUnknown(const Conversion &, const VARIANT &, VARIANT &);
HRESULT unknownFromDispatch(const Conversion &, const VARIANT &, VARIANT &);

constexpr Converter X = convertMismatch;
constexpr Converter Z = convertToZero;
constexpr Converter C = clearIfClassic;
constexpr Converter D = convertFromDispatch;

// Rows: target kind; columns: source kind. A source of the target's own vt
// never gets here (it is copied).
constexpr Converter kConverters[kFamilyCount][kFamilyCount] = {
    //           Empty Null Integer              Bool                 Real                 Date                 Currency             Decimal              Text                 Error Disp Unknown Other
    /* Empty */ { C, X, C, C, C, C, C, C, C, X, C, C, C },
    /* Null  */ { C, C, C, C, C, C, C, C, C, X, C, C, C },
    /* Int   */ { Z, X, integerFromInteger, integerFromBool, integerFromReal, integerFromReal, integerFromCurrency, integerFromDecimal, numberFromTextCell, X, D, X, X },
    /* Bool  */ { Z, X, boolFromNumber, X, boolFromNumber, boolFromNumber, boolFromNumber, boolFromNumber, boolFromTextCell, X, D, X, X },
    /* Real  */ { Z, X, realFromInteger, realFromNumber, realFromNumber, realFromNumber, realFromNumber, realFromNumber, numberFromTextCell, X, D, X, X },
    /* Date  */ { Z, X, dateFromNumber, dateFromNumber, dateFromNumber, X, dateFromNumber, dateFromNumber, dateFromTextCell, X, D, X, X },
    /* Cy    */ { Z, X, currencyFromInteger, currencyFromInteger, currencyFromReal, currencyFromReal, X, currencyFromDecimal, numberFromTextCell, X, D, X, X },
    /* Dec   */ { Z, X, decimalFromInteger, decimalFromBool, decimalFromReal, decimalFromReal, decimalFromCurrency, X, numberFromTextCell, X, D, X, X },
    /* Text  */ { textFromEmpty, X, textFromIntegerCell, textFromBoolCell, textFromRealCell, textFromDateCell, textFromCurrencyCell, textFromDecimalCell, X, X, D, X, X },
    /* Error */ { X, X, X, X, X, X, X, X, X, X, X, X, X },
    /* Disp  */ { X, X, X, X, X, X, X, X, X, X, X, dispatchFromUnknown, X },
    /* Unk   */ { X, X, X, X, X, X, X, X, X, X, unknownFromDispatch, X, X },
    /* Other */ { X, X, X, X, X, X, X, X, X, X, X, X, X },
};

// A default member returning the object itself must not recurse for ever.
constexpr int kMaxDefaultMemberDepth = 16;
thread_local int defaultMemberDepth = 0;

// The default member (DISPID_VALUE, property get) stands for the object;
// its value is converted in turn. A failing call is DISP_E_TYPEMISMATCH.
HRESULT convertFromDispatch(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    IDispatch *object = source.pdispVal;
    if (!object)
        return DISP_E_BADVARTYPE;
    if (defaultMemberDepth >= kMaxDefaultMemberDepth)
        return DISP_E_TYPEMISMATCH;
    DISPPARAMS noArguments{ nullptr, nullptr, 0, 0 };
    VARIANT value;
    VariantInit(&value);
    HRESULT hr = object->Invoke(DISPID_VALUE, IID_NULL, conversion.lcid, DISPATCH_PROPERTYGET, &noArguments, &value,
                                nullptr, nullptr);
    if (FAILED(hr))
        return DISP_E_TYPEMISMATCH;
    VARIANT converted;
    VariantInit(&converted);
    ++defaultMemberDepth;
    hr = VariantChangeTypeEx(&converted, &value, conversion.lcid, USHORT(conversion.flags & ~VARIANT_NOVALUEPROP),
                             conversion.target);
    --defaultMemberDepth;
    VariantClear(&value);
    if (SUCCEEDED(hr))
        result = converted; // takes over what the converted value owns
    return hr;
}

HRESULT dispatchFromUnknown(const Conversion &, const VARIANT &source, VARIANT &result)
{
    result.pdispVal = nullptr;
    if (!source.punkVal)
        return S_OK;
    return source.punkVal->QueryInterface(IID_IDispatch, reinterpret_cast<void **>(&result.pdispVal));
}

HRESULT unknownFromDispatch(const Conversion &, const VARIANT &source, VARIANT &result)
{
    result.punkVal = nullptr;
    if (!source.pdispVal)
        return S_OK;
    return source.pdispVal->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(&result.punkVal));
}

// Windows' test of a vt: only the classic types below VT_VOID, VT_RECORD
// and VT_CLSID, optionally by reference or as an array (not VT_EMPTY or
// VT_NULL then); never a vector, never 15.
HRESULT validateType(VARTYPE vt)
{
    const VARTYPE modifiers = vt & ~VARTYPE(VT_TYPEMASK);
    const VARTYPE base = vt & VT_TYPEMASK;
    if (modifiers & (VT_VECTOR | VT_RESERVED))
        return DISP_E_BADVARTYPE;
    if (base >= VT_VOID && base != VT_RECORD && base != VT_CLSID)
        return DISP_E_BADVARTYPE;
    if ((modifiers & (VT_BYREF | VT_ARRAY)) && base <= VT_NULL)
        return DISP_E_BADVARTYPE;
    return base == 15 ? DISP_E_BADVARTYPE : S_OK;
}

// Arrays convert only to a copy of themselves, and a VT_UI1 array to and
// from the bytes of a BSTR.
HRESULT convertArray(const VARIANT &source, VARTYPE vt, VARIANT &result)
{
    if (vt == VT_BSTR && source.vt == (VT_ARRAY | VT_UI1)) {
        SAFEARRAY *bytes = source.parray;
        if (!bytes || SafeArrayGetDim(bytes) != 1)
            return E_INVALIDARG;
        result.bstrVal = SysAllocStringByteLen(static_cast<LPCSTR>(bytes->pvData), bytes->rgsabound[0].cElements);
        return result.bstrVal ? S_OK : E_OUTOFMEMORY;
    }
    if (source.vt == VT_BSTR && vt == (VT_ARRAY | VT_UI1)) {
        const UINT length = SysStringByteLen(source.bstrVal);
        SAFEARRAY *bytes = SafeArrayCreateVector(VT_UI1, 0, length);
        if (!bytes)
            return E_OUTOFMEMORY;
        if (length)
            std::memcpy(bytes->pvData, source.bstrVal, length);
        result.parray = bytes;
        return S_OK;
    }
    if (source.vt == vt)
        return SafeArrayCopy(source.parray, &result.parray);
    return DISP_E_TYPEMISMATCH;
}

HRESULT convertScalar(const VARIANT &source, LCID lcid, USHORT flags, VARTYPE vt, VARIANT &result)
{
    const VARTYPE from = canonical(source.vt);
    const VARTYPE to = canonical(vt);
    if (from == to)
        return VariantCopy(&result, &source);
    // Deliberate: VARIANT_NOVALUEPROP keeps objects from giving their value,
    // even for VT_EMPTY and VT_NULL; only IUnknown stays reachable.
    if ((flags & VARIANT_NOVALUEPROP) && from == VT_DISPATCH && to != VT_UNKNOWN)
        return DISP_E_TYPEMISMATCH;
    Conversion conversion{ to, lcid, flags, 0 };
    if (to == VT_BSTR || from == VT_BSTR)
        conversion.textFlags = textFlagsFor(flags);
    return kConverters[familyOf(to)][familyOf(from)](conversion, source, result);
}

} // namespace

/// VariantChangeTypeEx: converts a VARIANT to another type.
///   dest   [out]    the converted value; may be source (conversion in
///                   place). Left untouched when the conversion fails.
///   source [in]     the value; by-reference values are read through
///   lcid   [in]     locale; US English number and date formats are used
///                   for every locale
///   flags  [in]     VARIANT_NOVALUEPROP (objects give no default value),
///                   VARIANT_ALPHABOOL / VARIANT_LOCALBOOL ("True"/"False"
///                   instead of "-1"/"0"), VARIANT_USE_NLS (US number,
///                   currency and date formats), VARIANT_NOUSEROVERRIDE,
///                   VARIANT_CALENDAR_THAI (Buddhist years)
///   vt     [in]     the wanted type
/// Reals become integers rounded half to even; VT_DISPATCH sources give
/// their default member (DISPID_VALUE, property get); VT_UNKNOWN and
/// VT_DISPATCH convert into each other through QueryInterface.
/// Returns S_OK; DISP_E_BADVARTYPE for an unknown or invalid vt on either
/// side or in dest; DISP_E_TYPEMISMATCH when the types do not convert or the
/// text is no number or date; DISP_E_OVERFLOW when the value does not fit;
/// E_INVALIDARG for null pointers, an invalid DECIMAL or a date out of range
/// made text; E_OUTOFMEMORY.
/// Differs from Windows: other locales' formats and the Hijri calendar are
/// not served.
PLATFORM_API HRESULT VariantChangeTypeEx(VARIANTARG *dest, const VARIANTARG *source, LCID lcid, USHORT flags,
                                         VARTYPE vt)
{
    if (!dest || !source)
        return E_INVALIDARG;
    if (vt == VT_CLSID)
        return DISP_E_BADVARTYPE;
    HRESULT hr = validateType(source->vt);
    if (SUCCEEDED(hr))
        hr = validateType(vt);
    if (FAILED(hr))
        return hr;
    if ((source->vt & VT_BYREF) && !source->byref)
        return DISP_E_TYPEMISMATCH;
    // Work on a dereferenced copy, so that an in-place conversion may clear
    // the source only once the result exists.
    VARIANT value;
    VariantInit(&value);
    hr = VariantCopyInd(&value, source);
    if (FAILED(hr))
        return hr;
    VARIANT converted;
    VariantInit(&converted);
    if ((value.vt & VT_ARRAY) || (vt & VT_ARRAY))
        hr = convertArray(value, vt, converted);
    else
        hr = convertScalar(value, lcid, flags, vt, converted);
    if (SUCCEEDED(hr)) {
        converted.vt = vt;
        hr = VariantClear(dest);
        if (SUCCEEDED(hr))
            *dest = converted; // dest takes over the result
    }
    if (FAILED(hr))
        VariantClear(&converted);
    VariantClear(&value);
    return hr;
}

/// VariantChangeType: VariantChangeTypeEx for the user's default locale.
///   dest, source, flags, vt: as for VariantChangeTypeEx
/// Returns what VariantChangeTypeEx returns.
PLATFORM_API HRESULT VariantChangeType(VARIANTARG *dest, const VARIANTARG *source, USHORT flags, VARTYPE vt)
{
    return VariantChangeTypeEx(dest, source, LOCALE_USER_DEFAULT, flags, vt);
}
