// Rows of VariantChangeType cases: a source literal, flags, the target type,
// the expected result code and value. The expected values are those the
// Windows implementation gives.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "platform/automation.h"

namespace conversion_cases {

constexpr LCID kEnglishUS = MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), SORT_DEFAULT);

// A VARIANT value written as a literal; text stays a literal until a case
// runs, so that rows can live in constant tables.
struct Literal {
    VARTYPE vt = VT_EMPTY;
    LONGLONG integer = 0;            // integer types, VT_BOOL, VT_ERROR, raw VT_CY
    double real = 0;                 // VT_R4, VT_R8, VT_DATE
    const char16_t *text = nullptr;  // VT_BSTR (null: a null BSTR)
    BYTE scale = 0, sign = 0;        // VT_DECIMAL
    ULONG high = 0;
    ULONGLONG low = 0;
};

namespace v {
inline Literal integer(VARTYPE vt, LONGLONG value) { Literal l; l.vt = vt; l.integer = value; return l; }
inline Literal I1(int value) { return integer(VT_I1, value); }
inline Literal UI1(unsigned value) { return integer(VT_UI1, value); }
inline Literal I2(int value) { return integer(VT_I2, value); }
inline Literal UI2(unsigned value) { return integer(VT_UI2, value); }
inline Literal I4(LONGLONG value) { return integer(VT_I4, value); }
inline Literal UI4(ULONGLONG value) { return integer(VT_UI4, LONGLONG(value)); }
inline Literal Int(LONGLONG value) { return integer(VT_INT, value); }
inline Literal UInt(ULONGLONG value) { return integer(VT_UINT, LONGLONG(value)); }
inline Literal I8(LONGLONG value) { return integer(VT_I8, value); }
inline Literal UI8(ULONGLONG value) { return integer(VT_UI8, LONGLONG(value)); }
inline Literal Bool(int value) { return integer(VT_BOOL, value); }
inline Literal Error(SCODE value) { return integer(VT_ERROR, value); }
inline Literal Cy(LONGLONG raw) { return integer(VT_CY, raw); } // raw: 10000 is 1.0
inline Literal real(VARTYPE vt, double value) { Literal l; l.vt = vt; l.real = value; return l; }
inline Literal R4(float value) { return real(VT_R4, value); }
inline Literal R8(double value) { return real(VT_R8, value); }
inline Literal Date(double value) { return real(VT_DATE, value); }
inline Literal Str(const char16_t *text) { Literal l; l.vt = VT_BSTR; l.text = text; return l; }
inline Literal Dec(BYTE scale, bool negative, ULONG high, ULONGLONG low)
{
    Literal l;
    l.vt = VT_DECIMAL;
    l.scale = scale;
    l.sign = negative ? DECIMAL_NEG : 0;
    l.high = high;
    l.low = low;
    return l;
}
inline Literal Empty() { return Literal(); }
inline Literal Null() { return integer(VT_NULL, 0); }
} // namespace v

inline VARIANT makeVariant(const Literal &literal)
{
    VARIANT variant;
    VariantInit(&variant);
    variant.vt = literal.vt;
    switch (literal.vt) {
    case VT_R4: variant.fltVal = float(literal.real); break;
    case VT_R8:
    case VT_DATE: variant.dblVal = literal.real; break;
    case VT_BSTR: variant.bstrVal = literal.text ? SysAllocString(literal.text) : nullptr; break;
    case VT_DECIMAL:
        variant.decVal.scale = literal.scale;
        variant.decVal.sign = literal.sign;
        variant.decVal.Hi32 = literal.high;
        variant.decVal.Lo64 = literal.low;
        break;
    default: variant.llVal = literal.integer; break; // little-endian: each width reads its low bytes
    }
    return variant;
}

inline std::string describe(const VARIANT &variant)
{
    std::string text = "vt " + std::to_string(variant.vt) + " ";
    switch (variant.vt) {
    case VT_R4: return text + std::to_string(variant.fltVal);
    case VT_R8:
    case VT_DATE: {
        char buffer[40];
        snprintf(buffer, sizeof(buffer), "%.17g", variant.dblVal);
        return text + buffer;
    }
    case VT_BSTR: {
        std::string ascii;
        for (const OLECHAR *p = variant.bstrVal; p && *p; ++p)
            ascii += char(*p);
        return text + "\"" + ascii + "\"";
    }
    case VT_DECIMAL:
        return text + "scale " + std::to_string(variant.decVal.scale) + " sign " + std::to_string(variant.decVal.sign)
            + " hi " + std::to_string(variant.decVal.Hi32) + " lo " + std::to_string(variant.decVal.Lo64);
    default: return text + std::to_string(variant.llVal);
    }
}

// The bytes a type owns in the union; the rest of the union is not compared.
inline size_t valueBytes(VARTYPE vt)
{
    switch (vt) {
    case VT_I1: case VT_UI1: return 1;
    case VT_I2: case VT_UI2: case VT_BOOL: return 2;
    case VT_I4: case VT_UI4: case VT_INT: case VT_UINT: case VT_R4: case VT_ERROR: return 4;
    case VT_EMPTY: case VT_NULL: return 0;
    default: return 8;
    }
}

inline ::testing::AssertionResult sameValue(const VARIANT &actual, const Literal &expected)
{
    VARIANT wanted = makeVariant(expected);
    bool same = actual.vt == wanted.vt;
    if (same && wanted.vt == VT_BSTR) {
        same = actual.bstrVal && std::u16string(actual.bstrVal, SysStringLen(actual.bstrVal)) == expected.text;
    } else if (same && wanted.vt == VT_DECIMAL) {
        same = actual.decVal.scale == wanted.decVal.scale && actual.decVal.sign == wanted.decVal.sign
            && actual.decVal.Hi32 == wanted.decVal.Hi32 && actual.decVal.Lo64 == wanted.decVal.Lo64;
    } else if (same) {
        same = std::memcmp(&actual.llVal, &wanted.llVal, valueBytes(wanted.vt)) == 0;
    }
    ::testing::AssertionResult result = same ? ::testing::AssertionSuccess() : ::testing::AssertionFailure();
    result << "got " << describe(actual) << ", want " << describe(wanted);
    VariantClear(&wanted);
    return result;
}

struct Case {
    const char *name;
    Literal source;
    VARTYPE target;
    HRESULT expected;
    Literal result; // compared only when expected is S_OK
    USHORT flags = 0;
};

// Converts into a fresh destination; a failure must leave it untouched.
inline void runCase(const Case &row)
{
    SCOPED_TRACE(row.name);
    VARIANT source = makeVariant(row.source);
    VARIANT dest;
    VariantInit(&dest);
    const HRESULT hr = VariantChangeTypeEx(&dest, &source, kEnglishUS, row.flags, row.target);
    EXPECT_EQ(hr, row.expected) << std::hex << "0x" << hr;
    if (row.expected == S_OK && hr == S_OK) {
        EXPECT_TRUE(sameValue(dest, row.result));
    }
    if (FAILED(hr)) {
        EXPECT_EQ(dest.vt, VT_EMPTY);
    }
    VariantClear(&dest);
    VariantClear(&source);
}

template <size_t N>
void runCases(const Case (&rows)[N])
{
    for (const Case &row : rows)
        runCase(row);
}

} // namespace conversion_cases
