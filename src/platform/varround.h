// Rounding half to even and the integer types' ranges: the one place that
// decides whether a value fits a VT_I1 ... VT_UI8. Internal to the platform
// library.
#pragma once

#include "platform/variant.h"

namespace platform {

// Round half to even ("banker's rounding"): 0.5 -> 0, 1.5 -> 2, 2.5 -> 2,
// -0.5 -> 0, -2.5 -> -2. Whole, infinite and NaN values come back unchanged.
double roundHalfEven(double value);

// An integer of any automation width, kept as sign and magnitude so that the
// whole of VT_I8 and VT_UI8 fits.
struct IntegerValue {
    bool negative = false;
    ULONGLONG magnitude = 0;
};

struct IntegerType {
    VARTYPE vt;
    BYTE bytes;
    bool isSigned;
    ULONGLONG maximum;          // largest value
    ULONGLONG negativeLimit;    // magnitude of the smallest value (0 if unsigned)
};

// The integer type of vt (VT_INT and VT_UINT are 32-bit); null if vt is no
// integer type.
const IntegerType *integerType(VARTYPE vt);

// Reads the integer stored in the variant's union as `type`.
IntegerValue loadInteger(const IntegerType &type, const VARIANT &variant);

// Stores value as `type`; DISP_E_OVERFLOW when it does not fit.
HRESULT storeInteger(const IntegerType &type, IntegerValue value, VARIANT &variant);

// Stores the low bits of a two's complement value as `type`, without range
// check: what Windows does between types of one width and from VT_BOOL.
void storeWrapped(const IntegerType &type, ULONGLONG bits, VARIANT &variant);

// Two's complement bits of a value (wrapping modulo 2^64).
ULONGLONG integerBits(IntegerValue value);

// Rounds half to even; DISP_E_OVERFLOW when the result leaves the 64-bit
// magnitude range (NaN and infinities overflow too).
HRESULT integerFromDouble(double value, IntegerValue &result);

// The integer as a double or a float, each with one rounding.
double doubleFromInteger(IntegerValue value);
float floatFromInteger(IntegerValue value);

} // namespace platform
