#include "platform/vardecimal.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "platform/errors.h"
#include "platform/varround.h"

namespace platform {

namespace {

constexpr int kMaxPower = 38;
constexpr Mantissa kMantissaMax = ~Mantissa(0);

struct PowersOfTen {
    Mantissa values[kMaxPower + 1];
    constexpr PowersOfTen() : values()
    {
        values[0] = 1;
        for (int i = 1; i <= kMaxPower; ++i)
            values[i] = values[i - 1] * 10;
    }
};
constexpr PowersOfTen kPowers;

// Divides by 10^exponent, rounding the quotient half to even.
Mantissa divideRounded(Mantissa mantissa, int exponent)
{
    if (exponent <= 0)
        return mantissa;
    if (exponent > kMaxPower)
        return 0; // every 128-bit mantissa is below half of 10^39
    const Mantissa divisor = kPowers.values[exponent];
    const Mantissa quotient = mantissa / divisor;
    const Mantissa remainder = mantissa % divisor;
    const Mantissa half = divisor / 2;
    if (remainder > half || (remainder == half && (quotient & 1)))
        return quotient + 1;
    return quotient;
}

bool multiplyByPowerOfTen(Mantissa &mantissa, int exponent)
{
    if (mantissa == 0)
        return true;
    if (exponent > kMaxPower)
        return false;
    const Mantissa factor = kPowers.values[exponent];
    if (mantissa > kMantissaMax / factor)
        return false;
    mantissa *= factor;
    return true;
}

} // namespace

Mantissa powerOfTen(int exponent)
{
    return kPowers.values[exponent];
}

bool isValidDecimal(const DECIMAL &value)
{
    return value.scale <= kDecimalMaxScale && (value.sign & ~DECIMAL_NEG) == 0;
}

ExactNumber exactFromDecimal(const DECIMAL &value)
{
    ExactNumber number;
    number.negative = (value.sign & DECIMAL_NEG) != 0;
    number.mantissa = (Mantissa(value.Hi32) << 64) | value.Lo64;
    number.scale = value.scale;
    return number;
}

ExactNumber exactFromCurrency(LONGLONG currency)
{
    ExactNumber number;
    number.negative = currency < 0;
    number.mantissa = currency < 0 ? Mantissa(0 - ULONGLONG(currency)) : Mantissa(currency);
    number.scale = 4;
    return number;
}

ExactNumber exactFromInteger(bool negative, ULONGLONG magnitude)
{
    ExactNumber number;
    number.negative = negative;
    number.mantissa = magnitude;
    return number;
}

bool rescale(ExactNumber &number, int scale)
{
    if (scale >= number.scale) {
        if (!multiplyByPowerOfTen(number.mantissa, scale - number.scale))
            return false;
    } else {
        number.mantissa = divideRounded(number.mantissa, number.scale - scale);
    }
    number.scale = scale;
    return true;
}

bool exactFromDigits(const BYTE *digits, int count, int power10, bool negative, int scale, ExactNumber &number)
{
    number = ExactNumber();
    number.negative = negative;
    number.scale = scale;
    // The digits form an integer; keep the first `kept` of them as the whole
    // number of units at the wanted scale and round on the ones that go.
    const long long shift = (long long)power10 + scale;
    const long long kept = shift >= 0 ? count : count + shift;
    Mantissa mantissa = 0;
    for (long long i = 0; i < kept; ++i) {
        if (mantissa > (kMantissaMax - digits[i]) / 10)
            return false;
        mantissa = mantissa * 10 + digits[i];
    }
    if (shift > 0) {
        if (shift > kMaxPower && mantissa != 0)
            return false;
        if (!multiplyByPowerOfTen(mantissa, int(shift)))
            return false;
    } else if (kept >= 0 && kept < count) {
        const BYTE first = digits[kept];
        bool beyondHalf = false;
        for (long long i = kept + 1; i < count && !beyondHalf; ++i)
            beyondHalf = digits[i] != 0;
        if (first > 5 || (first == 5 && (beyondHalf || (mantissa & 1)))) {
            if (mantissa == kMantissaMax)
                return false;
            ++mantissa;
        }
    }
    number.mantissa = mantissa;
    return true;
}

HRESULT decimalFromExact(ExactNumber number, DECIMAL &value)
{
    if (number.scale < 0 && !rescale(number, 0))
        return DISP_E_OVERFLOW;
    if (number.scale > kDecimalMaxScale)
        rescale(number, kDecimalMaxScale);
    while (number.mantissa > kDecimalMaxMantissa && number.scale > 0)
        rescale(number, number.scale - 1);
    if (number.mantissa > kDecimalMaxMantissa)
        return DISP_E_OVERFLOW;
    // Field by field: in a VARIANT, wReserved is the vt.
    value.scale = BYTE(number.scale);
    value.sign = number.negative && number.mantissa ? DECIMAL_NEG : 0;
    value.Hi32 = ULONG(number.mantissa >> 64);
    value.Lo64 = ULONGLONG(number.mantissa);
    return S_OK;
}

HRESULT currencyFromExact(ExactNumber number, LONGLONG &currency)
{
    if (!rescale(number, 4))
        return DISP_E_OVERFLOW;
    const Mantissa limit = Mantissa(ULONGLONG(1) << 63);
    if (number.negative ? number.mantissa > limit : number.mantissa >= limit)
        return DISP_E_OVERFLOW;
    const ULONGLONG magnitude = ULONGLONG(number.mantissa);
    currency = number.negative ? LONGLONG(0 - magnitude) : LONGLONG(magnitude);
    return S_OK;
}

bool integerFromExact(ExactNumber number, ULONGLONG &magnitude)
{
    if (!rescale(number, 0) || number.mantissa > Mantissa(~ULONGLONG(0)))
        return false;
    magnitude = ULONGLONG(number.mantissa);
    return true;
}

double doubleFromExact(const ExactNumber &number)
{
    char text[64];
    int length = number.negative ? 1 : 0;
    text[0] = '-';
    length += mantissaDigits(number.mantissa, text + length, int(sizeof(text)) - length - 8);
    snprintf(text + length, sizeof(text) - size_t(length), "e%d", -number.scale);
    return strtod(text, nullptr);
}

HRESULT currencyFromDouble(double value, LONGLONG &currency)
{
    const double scaled = roundHalfEven(value * double(kCurrencyScale));
    // -2^63 is a valid currency; 2^63 is not.
    if (!(scaled >= -9223372036854775808.0 && scaled < 9223372036854775808.0))
        return DISP_E_OVERFLOW;
    currency = LONGLONG(scaled);
    return S_OK;
}

int mantissaDigits(Mantissa mantissa, char *buffer, int capacity)
{
    char reversed[40];
    int count = 0;
    do {
        reversed[count++] = char('0' + int(mantissa % 10));
        mantissa /= 10;
    } while (mantissa != 0);
    if (count >= capacity)
        return 0;
    for (int i = 0; i < count; ++i)
        buffer[i] = reversed[count - 1 - i];
    buffer[count] = '\0';
    return count;
}

} // namespace platform
