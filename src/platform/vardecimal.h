// Exact decimal arithmetic behind VT_CY and VT_DECIMAL: a sign, a 128-bit
// mantissa and a power-of-ten scale, rounded half to even wherever digits are
// dropped. Internal to the platform library.
#pragma once

#include <cstdint>

#include "platform/basetypes.h"

namespace platform {

using Mantissa = unsigned __int128;

// (-1)^negative * mantissa / 10^scale. Conversions keep scale >= 0.
struct ExactNumber {
    bool negative = false;
    Mantissa mantissa = 0;
    int scale = 0;
};

constexpr int kDecimalMaxScale = 28;
constexpr Mantissa kDecimalMaxMantissa = (Mantissa(1) << 96) - 1;
constexpr LONGLONG kCurrencyScale = 10000;

// 10^exponent for 0 <= exponent <= 38, the powers a 128-bit mantissa holds.
Mantissa powerOfTen(int exponent);

// Scale above 28 or sign bits other than DECIMAL_NEG make a DECIMAL invalid;
// Windows answers E_INVALIDARG for them.
bool isValidDecimal(const DECIMAL &value);

ExactNumber exactFromDecimal(const DECIMAL &value);
ExactNumber exactFromCurrency(LONGLONG currency);
ExactNumber exactFromInteger(bool negative, ULONGLONG magnitude);

// Moves the number to the given scale, rounding half to even when digits go;
// false when the mantissa would no longer fit 128 bits.
bool rescale(ExactNumber &number, int scale);

// Digits (values 0-9, most significant first) times 10^power10, rounded half
// to even to `scale` decimals; false when the result does not fit 128 bits.
bool exactFromDigits(const BYTE *digits, int count, int power10, bool negative, int scale, ExactNumber &number);

// Fits the number into a DECIMAL: scale at most 28, mantissa at most 96 bits,
// dropping fractional digits (half to even) as needed. DISP_E_OVERFLOW when
// the whole part alone is too large.
HRESULT decimalFromExact(ExactNumber number, DECIMAL &value);

// Rounds to four decimals; DISP_E_OVERFLOW outside the VT_CY range.
HRESULT currencyFromExact(ExactNumber number, LONGLONG &currency);

// Rounds half to even to a whole number; false beyond 2^64 - 1 in magnitude.
bool integerFromExact(ExactNumber number, ULONGLONG &magnitude);

// The nearest double (correctly rounded).
double doubleFromExact(const ExactNumber &number);

// Multiplies a double by 10000 and rounds half to even; DISP_E_OVERFLOW
// outside the VT_CY range.
HRESULT currencyFromDouble(double value, LONGLONG &currency);

// Decimal digits of the mantissa, most significant first, "0" for zero.
int mantissaDigits(Mantissa mantissa, char *buffer, int capacity);

} // namespace platform
