// Number to text as the automation runtime writes it in US English: integers
// plainly, VT_R4 with 7 and VT_R8 with 15 significant digits (switching to
// "1E+20" / "1E-07" where Windows does), VT_CY and VT_DECIMAL with their
// decimals and no trailing zeros. Internal to the platform library.
#pragma once

#include <string>

#include "platform/vardecimal.h"
#include "platform/varround.h"

namespace platform {

constexpr int kSingleDigits = 7;
constexpr int kDoubleDigits = 15;

// The significant digits of |value| rounded to `precision` (ties away from
// zero, on the exact binary value), trailing zeros removed:
// value = d1.d2d3... * 10^exponent.
struct RealDigits {
    bool negative = false;
    char digits[24] = {};
    int count = 0;
    int exponent = 0;
};
RealDigits realDigits(double value, int precision);

std::u16string textFromInteger(IntegerValue value);
std::u16string textFromReal(double value, int precision);
std::u16string textFromCurrency(LONGLONG currency);
std::u16string textFromExact(const ExactNumber &number);

// LOCALE_USE_NLS: a plain number rewritten in the US English number format
// ("1,234.50", two decimals, rounded half away from zero) or currency format
// ("$1,234.50", "-$1,234.50"). Text in exponent form cannot be formatted and
// gives an empty string, as GetNumberFormat's failure does on Windows.
std::u16string localNumberText(const std::u16string &plain);
std::u16string localCurrencyText(const std::u16string &plain);

} // namespace platform
