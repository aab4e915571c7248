#include "platform/varround.h"

#include <cmath>
#include <cstring>

#include "platform/errors.h"

namespace platform {

namespace {

constexpr ULONGLONG kTwoTo63 = ULONGLONG(1) << 63;

// One row per integer vt; VT_INT and VT_UINT are the 32-bit types.
constexpr IntegerType kIntegerTypes[] = {
    { VT_I1, 1, true, 0x7F, 0x80 },
    { VT_UI1, 1, false, 0xFF, 0 },
    { VT_I2, 2, true, 0x7FFF, 0x8000 },
    { VT_UI2, 2, false, 0xFFFF, 0 },
    { VT_I4, 4, true, 0x7FFFFFFF, 0x80000000 },
    { VT_UI4, 4, false, 0xFFFFFFFF, 0 },
    { VT_INT, 4, true, 0x7FFFFFFF, 0x80000000 },
    { VT_UINT, 4, false, 0xFFFFFFFF, 0 },
    { VT_I8, 8, true, kTwoTo63 - 1, kTwoTo63 },
    { VT_UI8, 8, false, ~ULONGLONG(0), 0 },
};

} // namespace

double roundHalfEven(double value)
{
    if (!std::isfinite(value))
        return value;
    const double whole = std::floor(value);
    // Exact: subtracting the floor of a double never rounds.
    const double fraction = value - whole;
    if (fraction > 0.5)
        return whole + 1.0;
    if (fraction == 0.5)
        return std::fmod(whole, 2.0) != 0.0 ? whole + 1.0 : whole;
    return whole;
}

const IntegerType *integerType(VARTYPE vt)
{
    for (const IntegerType &type : kIntegerTypes) {
        if (type.vt == vt)
            return &type;
    }
    return nullptr;
}

IntegerValue loadInteger(const IntegerType &type, const VARIANT &variant)
{
    ULONGLONG bits = 0;
    std::memcpy(&bits, &variant.llVal, type.bytes);
    if (type.isSigned && type.bytes < 8) {
        const ULONGLONG signBit = ULONGLONG(1) << (type.bytes * 8 - 1);
        bits = (bits ^ signBit) - signBit; // sign-extend
    }
    IntegerValue value;
    value.negative = type.isSigned && LONGLONG(bits) < 0;
    value.magnitude = value.negative ? 0 - bits : bits;
    return value;
}

HRESULT storeInteger(const IntegerType &type, IntegerValue value, VARIANT &variant)
{
    const bool fits = value.negative ? value.magnitude <= type.negativeLimit : value.magnitude <= type.maximum;
    if (!fits)
        return DISP_E_OVERFLOW;
    storeWrapped(type, integerBits(value), variant);
    return S_OK;
}

void storeWrapped(const IntegerType &type, ULONGLONG bits, VARIANT &variant)
{
    std::memcpy(&variant.llVal, &bits, type.bytes);
}

ULONGLONG integerBits(IntegerValue value)
{
    return value.negative ? 0 - value.magnitude : value.magnitude;
}

HRESULT integerFromDouble(double value, IntegerValue &result)
{
    const double rounded = roundHalfEven(value);
    const double magnitude = std::fabs(rounded);
    if (!(magnitude < 18446744073709551616.0))
        return DISP_E_OVERFLOW;
    result.negative = rounded < 0;
    result.magnitude = ULONGLONG(magnitude);
    return S_OK;
}

double doubleFromInteger(IntegerValue value)
{
    const double magnitude = double(value.magnitude);
    return value.negative ? -magnitude : magnitude;
}

float floatFromInteger(IntegerValue value)
{
    const float magnitude = float(value.magnitude);
    return value.negative ? -magnitude : magnitude;
}

} // namespace platform
