#include "platform/varnumformat.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace platform {

namespace {

std::u16string ascii(const std::string &text)
{
    return std::u16string(text.begin(), text.end());
}

// Parses "d.ddd...e+XX" as printed by %e into digits and exponent.
int readScientific(const char *text, std::string &digits)
{
    digits.clear();
    const char *p = text;
    for (; *p && *p != 'e'; ++p) {
        if (*p != '.')
            digits += *p;
    }
    return *p == 'e' ? atoi(p + 1) : 0;
}

// Whether digits after `position` leave the rounding decision open at the
// printed precision: a run of 9s after a 4, or of 0s after a 5, may hide a
// carry or a remainder beyond the last printed digit.
bool roundingUndecided(const std::string &digits, size_t position)
{
    const char first = digits[position];
    if (first != '4' && first != '5')
        return false;
    const char filler = first == '4' ? '9' : '0';
    for (size_t i = position + 1; i < digits.size(); ++i) {
        if (digits[i] != filler)
            return false;
    }
    return true;
}

// Fixed notation with a decimal point after `wholeDigits` digits of
// `digits` (a negative count puts zeros after the point first).
std::string fixedNotation(const char *digits, int count, int wholeDigits)
{
    std::string text;
    if (wholeDigits <= 0) {
        text = "0.";
        text.append(size_t(-wholeDigits), '0');
        text.append(digits, size_t(count));
        return text;
    }
    for (int i = 0; i < wholeDigits; ++i)
        text += i < count ? digits[i] : '0';
    if (count > wholeDigits) {
        text += '.';
        text.append(digits + wholeDigits, size_t(count - wholeDigits));
    }
    return text;
}

// A number with `scale` decimals in its digits, without trailing zeros
// after the point; zero never carries a sign.
std::u16string scaledText(bool negative, const char *digits, int count, int scale)
{
    while (scale > 0 && count > 1 && digits[count - 1] == '0') {
        --count;
        --scale;
    }
    if (scale > 0 && count == 1 && digits[0] == '0')
        scale = 0;
    std::string text = (negative && !(count == 1 && digits[0] == '0')) ? "-" : "";
    text += fixedNotation(digits, count, count - scale);
    return ascii(text);
}

// Splits "-123.456" into sign, whole digits and decimals.
bool splitPlain(const std::u16string &plain, bool &negative, std::string &whole, std::string &decimals)
{
    negative = false;
    whole.clear();
    decimals.clear();
    size_t i = 0;
    if (i < plain.size() && plain[i] == u'-') {
        negative = true;
        ++i;
    }
    bool afterPoint = false;
    for (; i < plain.size(); ++i) {
        const char16_t c = plain[i];
        if (c == u'.' && !afterPoint)
            afterPoint = true;
        else if (c >= u'0' && c <= u'9')
            (afterPoint ? decimals : whole) += char(c);
        else
            return false;
    }
    return !whole.empty();
}

// "1234.567" -> "1,234.57": two decimals, half away from zero, groups of 3.
std::string groupedTwoDecimals(std::string whole, std::string decimals, bool &isZero)
{
    decimals.resize(std::max<size_t>(decimals.size(), 3), '0');
    std::string digits = whole + decimals.substr(0, 2);
    if (decimals[2] >= '5') {
        size_t i = digits.size();
        while (i > 0 && digits[i - 1] == '9')
            digits[--i] = '0';
        if (i == 0)
            digits.insert(digits.begin(), '1');
        else
            ++digits[i - 1];
    }
    whole = digits.substr(0, digits.size() - 2);
    isZero = digits.find_first_not_of('0') == std::string::npos;
    std::string grouped;
    for (size_t i = 0; i < whole.size(); ++i) {
        if (i > 0 && (whole.size() - i) % 3 == 0)
            grouped += ',';
        grouped += whole[i];
    }
    return grouped + "." + digits.substr(digits.size() - 2);
}

// The plain number grouped with two decimals, after the sign's prefix.
std::u16string groupedText(const std::u16string &plain, const char *positivePrefix, const char *negativePrefix)
{
    bool negative = false;
    bool isZero = false;
    std::string whole, decimals;
    if (!splitPlain(plain, negative, whole, decimals))
        return std::u16string();
    const std::string text = groupedTwoDecimals(whole, decimals, isZero);
    return ascii((negative && !isZero ? negativePrefix : positivePrefix) + text);
}

} // namespace

RealDigits realDigits(double value, int precision)
{
    RealDigits result;
    result.negative = std::signbit(value) && value != 0.0;
    const double magnitude = std::fabs(value);
    if (magnitude == 0.0) {
        result.digits[0] = '0';
        result.count = 1;
        return result;
    }
    char printed[1100];
    snprintf(printed, sizeof(printed), "%.40e", magnitude);
    std::string digits;
    int exponent = readScientific(printed, digits);
    if (roundingUndecided(digits, size_t(precision))) {
        // Every double has a finite decimal expansion; print all of it.
        snprintf(printed, sizeof(printed), "%.800e", magnitude);
        exponent = readScientific(printed, digits);
    }
    std::string kept = digits.substr(0, size_t(precision));
    if (digits[size_t(precision)] >= '5') {
        size_t i = kept.size();
        while (i > 0 && kept[i - 1] == '9')
            kept[--i] = '0';
        if (i == 0) {
            kept.insert(kept.begin(), '1');
            kept.pop_back();
            ++exponent;
        } else {
            ++kept[i - 1];
        }
    }
    while (kept.size() > 1 && kept.back() == '0')
        kept.pop_back();
    std::memcpy(result.digits, kept.data(), kept.size());
    result.count = int(kept.size());
    result.exponent = exponent;
    return result;
}

std::u16string textFromInteger(IntegerValue value)
{
    std::string text = value.negative && value.magnitude ? "-" : "";
    text += std::to_string(value.magnitude);
    return ascii(text);
}

std::u16string textFromReal(double value, int precision)
{
    if (std::isnan(value))
        return std::signbit(value) ? u"-1.#IND" : u"1.#QNAN";
    if (std::isinf(value))
        return value < 0 ? u"-1.#INF" : u"1.#INF";
    const RealDigits real = realDigits(value, precision);
    const int exponent = real.exponent;
    // Fixed notation from 1E-4 up to the precision; below 1E-4 as long as
    // the digits fit the precision's count of decimals.
    const int extraDecimals = real.count > 2 ? real.count - 2 : 0;
    const bool fixed = exponent < precision && (exponent >= -4 || -exponent + extraDecimals < precision);
    std::string text = real.negative ? "-" : "";
    if (fixed) {
        text += fixedNotation(real.digits, real.count, exponent + 1);
    } else {
        text += real.digits[0];
        if (real.count > 1) {
            text += '.';
            text.append(real.digits + 1, size_t(real.count - 1));
        }
        char power[16];
        snprintf(power, sizeof(power), "E%c%02d", exponent < 0 ? '-' : '+', exponent < 0 ? -exponent : exponent);
        text += power;
    }
    return ascii(text);
}

std::u16string textFromCurrency(LONGLONG currency)
{
    const ExactNumber number = exactFromCurrency(currency);
    return textFromExact(number);
}

std::u16string textFromExact(const ExactNumber &number)
{
    char digits[48];
    const int count = mantissaDigits(number.mantissa, digits, int(sizeof(digits)));
    // A mantissa shorter than its scale gets the leading zeros it implies.
    if (count <= number.scale) {
        char padded[96];
        const int zeros = number.scale - count + 1;
        std::memset(padded, '0', size_t(zeros));
        std::memcpy(padded + zeros, digits, size_t(count));
        return scaledText(number.negative, padded, zeros + count, number.scale);
    }
    return scaledText(number.negative, digits, count, number.scale);
}

std::u16string localNumberText(const std::u16string &plain)
{
    return groupedText(plain, "", "-");
}

std::u16string localCurrencyText(const std::u16string &plain)
{
    return groupedText(plain, "$", "-$");
}

} // namespace platform
