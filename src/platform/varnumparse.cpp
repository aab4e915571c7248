// VarParseNumFromStr and VarNumFromParseNum, with the US English number
// characters: "-", "+", "." as decimal point, "," between thousands, "$".
#include "platform/varnumparse.h"

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <string>

#include "platform/vardecimal.h"
#include "platform/varround.h"

namespace {

using namespace platform;

constexpr int kDigitCapacity = 1024;
constexpr OLECHAR kNegativeSign = u'-';
constexpr OLECHAR kPositiveSign = u'+';
constexpr OLECHAR kDecimalPoint = u'.';
constexpr OLECHAR kThousandsSeparator = u',';
constexpr OLECHAR kCurrencySign = u'$';

constexpr ULONG kIntegerBits = VTBIT_I1 | VTBIT_UI1 | VTBIT_I2 | VTBIT_UI2 | VTBIT_I4 | VTBIT_UI4 | VTBIT_I8 | VTBIT_UI8;
constexpr ULONG kRealBits = VTBIT_R4 | VTBIT_R8 | VTBIT_CY;

bool isDecimalDigit(OLECHAR c)
{
    return c >= u'0' && c <= u'9';
}

int hexLetterValue(OLECHAR c)
{
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

// One pass over the text, filling a NUMPARSE the way Windows does: digits
// without leading or trailing zeros, nPwr10 for the scale, flags for what was
// seen. Leading, body and trailing parts each accept their own symbols.
class NumberScanner {
public:
    NumberScanner(const OLECHAR *text, NUMPARSE &parse, int maxDigits)
        : m_start(text), m_cursor(text), m_parse(parse), m_maxDigits(maxDigits)
    {
    }

    HRESULT scan(BYTE *digitsOut)
    {
        HRESULT hr = scanLeading();
        if (FAILED(hr))
            return hr;
        scanPrefix();
        while (*m_cursor == u'0') {
            m_leadingZero = true;
            ++m_cursor;
        }
        hr = scanBody();
        if (FAILED(hr))
            return hr;
        if (m_parse.cDig == 0 && m_leadingZero) {
            m_parse.cDig = 1;
            m_digits[0] = 0;
        }
        if (m_inExponent) {
            m_parse.cchUsed = used();
            return DISP_E_TYPEMISMATCH; // "1e" with no exponent digits
        }
        finishDigits();
        for (int i = 0; i < m_parse.cDig; ++i)
            digitsOut[i] = m_digits[i];
        scanTrailing();
        const ULONG out = m_parse.dwOutFlags;
        if ((out & NUMPRS_PARENS) && !(out & NUMPRS_NEG)) {
            m_parse.cchUsed = used();
            return DISP_E_TYPEMISMATCH; // "(" never closed
        }
        if ((m_parse.dwInFlags & NUMPRS_USE_ALL) && *m_cursor)
            return DISP_E_TYPEMISMATCH;
        if (m_parse.cDig == 0)
            return DISP_E_TYPEMISMATCH;
        m_parse.cchUsed = used();
        return S_OK;
    }

private:
    enum class Base { Ten, Hex, Octal };

    bool accepts(ULONG flag) const { return (m_parse.dwInFlags & flag) != 0; }
    bool seen(ULONG flag) const { return (m_parse.dwOutFlags & flag) != 0; }
    void mark(ULONG flag) { m_parse.dwOutFlags |= flag; }
    int used() const { return int(m_cursor - m_start); }

    // Zeros right after the decimal point, before any digit, only scale.
    void skipZerosAfterPoint()
    {
        if (m_parse.cDig != 0)
            return;
        while (*m_cursor == u'0') {
            m_leadingZero = true;
            --m_parse.nPwr10;
            ++m_cursor;
        }
    }

    HRESULT scanLeading()
    {
        for (;;) {
            const OLECHAR c = *m_cursor;
            if (accepts(NUMPRS_DECIMAL) && c == kDecimalPoint) {
                mark(NUMPRS_DECIMAL);
                ++m_cursor;
                skipZerosAfterPoint();
                return S_OK;
            }
            if (accepts(NUMPRS_LEADING_WHITE) && isBlank(c)) {
                mark(NUMPRS_LEADING_WHITE);
                while (isBlank(*m_cursor))
                    ++m_cursor;
            } else if (accepts(NUMPRS_THOUSANDS) && c == kThousandsSeparator) {
                return DISP_E_TYPEMISMATCH; // no separator before the first digit
            } else if (accepts(NUMPRS_LEADING_PLUS) && c == kPositiveSign && !seen(NUMPRS_LEADING_PLUS)) {
                mark(NUMPRS_LEADING_PLUS);
                ++m_cursor;
            } else if (accepts(NUMPRS_LEADING_MINUS) && c == kNegativeSign && !seen(NUMPRS_LEADING_MINUS)) {
                mark(NUMPRS_LEADING_MINUS | NUMPRS_NEG);
                ++m_cursor;
            } else if (accepts(NUMPRS_CURRENCY) && c == kCurrencySign && !seen(NUMPRS_CURRENCY)) {
                mark(NUMPRS_CURRENCY);
                ++m_cursor;
            } else if (accepts(NUMPRS_PARENS) && c == u'(' && !seen(NUMPRS_PARENS)) {
                mark(NUMPRS_PARENS);
                ++m_cursor;
            } else {
                return S_OK;
            }
        }
    }

    // "&H" and "&O" in either case, as Visual Basic writes them.
    void scanPrefix()
    {
        if (!accepts(NUMPRS_HEX_OCT) || seen(NUMPRS_CURRENCY | NUMPRS_DECIMAL) || m_cursor[0] != u'&')
            return;
        const OLECHAR kind = m_cursor[1];
        if (kind == u'H' || kind == u'h')
            m_base = Base::Hex;
        else if (kind == u'O' || kind == u'o')
            m_base = Base::Octal;
        else
            return;
        mark(NUMPRS_HEX_OCT);
        m_cursor += 2;
    }

    void scanExponentDigits()
    {
        long long exponent = 0;
        while (isDecimalDigit(*m_cursor)) {
            if (exponent < 1000000000)
                exponent = exponent * 10 + (*m_cursor - u'0');
            ++m_cursor;
        }
        m_parse.nPwr10 += int(m_exponentNegative ? -exponent : exponent);
        m_inExponent = false;
    }

    HRESULT addDigit(int value)
    {
        if (m_parse.cDig >= m_maxDigits) {
            if (m_base != Base::Ten)
                return DISP_E_OVERFLOW;
            // Digits beyond the buffer only move the scale.
            mark(NUMPRS_INEXACT);
            if (value != 0)
                m_onlyZerosDropped = false;
            m_parse.nPwr10 += seen(NUMPRS_DECIMAL) ? -1 : 1;
        } else {
            if (seen(NUMPRS_DECIMAL))
                --m_parse.nPwr10;
            m_digits[m_parse.cDig] = BYTE(value);
        }
        ++m_parse.cDig;
        ++m_cursor;
        return S_OK;
    }

    HRESULT scanBody()
    {
        while (const OLECHAR c = *m_cursor) {
            HRESULT hr = S_OK;
            if (isDecimalDigit(c)) {
                if (m_inExponent) {
                    scanExponentDigits();
                    continue;
                }
                if (m_base == Base::Octal && c >= u'8')
                    break;
                hr = addDigit(c - u'0');
            } else if (accepts(NUMPRS_THOUSANDS) && !seen(NUMPRS_HEX_OCT) && c == kThousandsSeparator) {
                mark(NUMPRS_THOUSANDS);
                ++m_cursor;
            } else if (accepts(NUMPRS_DECIMAL) && c == kDecimalPoint
                       && !seen(NUMPRS_HEX_OCT | NUMPRS_DECIMAL | NUMPRS_EXPONENT)) {
                mark(NUMPRS_DECIMAL);
                ++m_cursor;
                skipZerosAfterPoint();
            } else if (m_base == Base::Hex && hexLetterValue(c) >= 0) {
                hr = addDigit(hexLetterValue(c));
            } else if ((c == u'e' || c == u'E') && accepts(NUMPRS_EXPONENT)
                       && !seen(NUMPRS_HEX_OCT | NUMPRS_CURRENCY | NUMPRS_EXPONENT)) {
                mark(NUMPRS_EXPONENT);
                m_inExponent = true;
                ++m_cursor;
            } else if (m_inExponent && c == kPositiveSign) {
                ++m_cursor;
            } else if (m_inExponent && c == kNegativeSign) {
                m_exponentNegative = true;
                ++m_cursor;
            } else {
                break;
            }
            if (FAILED(hr))
                return hr;
        }
        return S_OK;
    }

    void finishDigits()
    {
        if (seen(NUMPRS_INEXACT)) {
            if (m_onlyZerosDropped)
                m_parse.dwOutFlags &= ~ULONG(NUMPRS_INEXACT);
        } else if (m_base != Base::Ten) {
            m_parse.nBaseShift = m_base == Base::Hex ? 4 : 3;
            m_parse.nPwr10 = 0;
        } else {
            while (m_parse.cDig > 1 && m_digits[m_parse.cDig - 1] == 0) {
                --m_parse.cDig;
                ++m_parse.nPwr10;
            }
        }
        if (m_parse.cDig <= m_maxDigits)
            m_parse.dwOutFlags &= ~ULONG(NUMPRS_INEXACT);
        else
            m_parse.cDig = m_maxDigits;
    }

    void scanTrailing()
    {
        for (;;) {
            const OLECHAR c = *m_cursor;
            if (c == kThousandsSeparator) {
                if (!accepts(NUMPRS_THOUSANDS) || seen(NUMPRS_HEX_OCT))
                    return; // not even with NUMPRS_TRAILING_WHITE
                mark(NUMPRS_THOUSANDS);
                ++m_cursor;
            } else if (accepts(NUMPRS_TRAILING_WHITE) && isBlank(c)) {
                mark(NUMPRS_TRAILING_WHITE);
                while (isBlank(*m_cursor))
                    ++m_cursor;
            } else if (accepts(NUMPRS_TRAILING_PLUS) && !seen(NUMPRS_LEADING_PLUS) && c == kPositiveSign) {
                mark(NUMPRS_TRAILING_PLUS);
                ++m_cursor;
            } else if (accepts(NUMPRS_TRAILING_MINUS) && !seen(NUMPRS_LEADING_MINUS) && c == kNegativeSign) {
                mark(NUMPRS_TRAILING_MINUS | NUMPRS_NEG);
                ++m_cursor;
            } else if (accepts(NUMPRS_PARENS) && seen(NUMPRS_PARENS) && c == u')') {
                mark(NUMPRS_NEG);
                ++m_cursor;
            } else if (accepts(NUMPRS_CURRENCY) && !seen(NUMPRS_HEX_OCT) && c == kCurrencySign) {
                mark(NUMPRS_CURRENCY); // may repeat after the amount, as on Windows
                ++m_cursor;
            } else {
                return;
            }
        }
    }

    const OLECHAR *m_start;
    const OLECHAR *m_cursor;
    NUMPARSE &m_parse;
    int m_maxDigits;
    BYTE m_digits[kDigitCapacity];
    Base m_base = Base::Ten;
    bool m_leadingZero = false;
    bool m_inExponent = false;
    bool m_exponentNegative = false;
    bool m_onlyZerosDropped = true;
};

// The integer types in the order Windows tries them: smallest first, signed
// before unsigned of the same size; negative values only fit signed ones.
struct IntegerCandidate {
    ULONG bit;
    VARTYPE vt;
};
constexpr IntegerCandidate kIntegerCandidates[] = {
    { VTBIT_I1, VT_I1 }, { VTBIT_UI1, VT_UI1 }, { VTBIT_I2, VT_I2 }, { VTBIT_UI2, VT_UI2 },
    { VTBIT_I4, VT_I4 }, { VTBIT_UI4, VT_UI4 }, { VTBIT_I8, VT_I8 }, { VTBIT_UI8, VT_UI8 },
};

bool storeSmallestInteger(IntegerValue value, ULONG vtBits, VARIANT &result)
{
    for (const IntegerCandidate &candidate : kIntegerCandidates) {
        if (!(vtBits & candidate.bit))
            continue;
        const IntegerType &type = *integerType(candidate.vt);
        if (value.negative && !type.isSigned)
            continue;
        if (SUCCEEDED(storeInteger(type, value, result))) {
            result.vt = candidate.vt;
            return true;
        }
    }
    return false;
}

void storeDecimalInteger(IntegerValue value, VARIANT &result)
{
    decimalFromExact(exactFromInteger(value.negative, value.magnitude), result.decVal);
    result.vt = VT_DECIMAL;
}

// Hexadecimal and octal digits are bit patterns: a type takes them when they
// fit its width, so "&HFFFF" is -1 as VT_I2 and 65535 as VT_I4. Reals and
// currency read them as a 32-bit Long, as Visual Basic does.
HRESULT numberFromBitPattern(const NUMPARSE &parse, const BYTE *digits, ULONG vtBits, VARIANT &result)
{
    ULONGLONG bits = 0;
    for (int i = 0; i < parse.cDig; ++i) {
        if (bits > ((~ULONGLONG(0) - digits[i]) >> parse.nBaseShift))
            return DISP_E_OVERFLOW;
        bits = (bits << parse.nBaseShift) + digits[i];
    }
    for (const IntegerCandidate &candidate : kIntegerCandidates) {
        const IntegerType &type = *integerType(candidate.vt);
        if ((vtBits & candidate.bit) && (type.bytes == 8 || (bits >> (type.bytes * 8)) == 0)) {
            storeWrapped(type, bits, result);
            result.vt = candidate.vt;
            return S_OK;
        }
    }
    if (vtBits & VTBIT_DECIMAL) {
        storeDecimalInteger(IntegerValue{ false, bits }, result);
        return S_OK;
    }
    if (bits > 0xFFFFFFFFu)
        return DISP_E_OVERFLOW;
    const LONG asLong = LONG(ULONG(bits));
    if (vtBits & VTBIT_R4) {
        result.fltVal = float(asLong);
        result.vt = VT_R4;
        return S_OK;
    }
    if (vtBits & VTBIT_R8) {
        result.dblVal = double(asLong);
        result.vt = VT_R8;
        return S_OK;
    }
    if (vtBits & VTBIT_CY) {
        result.cyVal.int64 = LONGLONG(asLong) * kCurrencyScale;
        result.vt = VT_CY;
        return S_OK;
    }
    return DISP_E_OVERFLOW;
}

// The correctly rounded double of the digits; underflow gives 0, overflow
// infinity.
double doubleFromDigits(const BYTE *digits, int count, int power10)
{
    std::string text;
    text.reserve(size_t(count) + 16);
    for (int i = 0; i < count; ++i)
        text += char('0' + digits[i]);
    text += 'e';
    text += std::to_string(power10);
    const double value = strtod(text.c_str(), nullptr);
    return value < DBL_MIN ? 0.0 : value;
}

HRESULT storeReal(const NUMPARSE &parse, const BYTE *digits, ULONG vtBits, VARIANT &result)
{
    const bool negative = (parse.dwOutFlags & NUMPRS_NEG) != 0;
    const double magnitude = doubleFromDigits(digits, parse.cDig, parse.nPwr10);
    // A float too small to be normal counts as out of range, as on Windows.
    if ((vtBits & VTBIT_R4) && ((magnitude <= FLT_MAX && magnitude >= FLT_MIN) || magnitude == 0.0)) {
        result.fltVal = float(negative ? -magnitude : magnitude);
        result.vt = VT_R4;
        return S_OK;
    }
    if ((vtBits & VTBIT_R8) && std::isfinite(magnitude)) {
        result.dblVal = negative ? -magnitude : magnitude;
        result.vt = VT_R8;
        return S_OK;
    }
    if (vtBits & VTBIT_CY) {
        ExactNumber number;
        LONGLONG currency = 0;
        if (exactFromDigits(digits, parse.cDig, parse.nPwr10, negative, 4, number)
            && SUCCEEDED(currencyFromExact(number, currency))) {
            result.cyVal.int64 = currency;
            result.vt = VT_CY;
            return S_OK;
        }
    }
    return DISP_E_OVERFLOW;
}

// Keeps as many decimals as the text has, up to what a DECIMAL holds; extra
// decimals are rounded half to even.
HRESULT storeDecimal(const NUMPARSE &parse, const BYTE *digits, VARIANT &result)
{
    const long long wholeDigits = (long long)parse.cDig + parse.nPwr10;
    long long scale = parse.nPwr10 < 0 ? -(long long)parse.nPwr10 : 0;
    if (scale > kDecimalMaxScale)
        scale = kDecimalMaxScale;
    if (wholeDigits + scale > 38)
        scale = wholeDigits >= 38 ? 0 : 38 - wholeDigits;
    ExactNumber number;
    if (!exactFromDigits(digits, parse.cDig, parse.nPwr10, (parse.dwOutFlags & NUMPRS_NEG) != 0, int(scale), number))
        return DISP_E_OVERFLOW;
    const HRESULT hr = decimalFromExact(number, result.decVal);
    if (SUCCEEDED(hr))
        result.vt = VT_DECIMAL;
    return hr;
}

HRESULT numberFromParsed(const NUMPARSE &parse, const BYTE *digits, ULONG vtBits, VARIANT &result)
{
    if (parse.nBaseShift)
        return numberFromBitPattern(parse, digits, vtBits, result);
    const bool fractional = parse.nPwr10 < 0;
    if ((vtBits & (kIntegerBits | VTBIT_DECIMAL)) && (!fractional || !(vtBits & (kRealBits | VTBIT_DECIMAL)))) {
        // An integer answer: rounded half to even, smallest type first.
        ExactNumber number;
        IntegerValue value;
        if (exactFromDigits(digits, parse.cDig, parse.nPwr10, false, 0, number)
            && integerFromExact(number, value.magnitude)) {
            value.negative = (parse.dwOutFlags & NUMPRS_NEG) && value.magnitude != 0;
            if (storeSmallestInteger(value, vtBits, result))
                return S_OK;
            if ((vtBits & (kRealBits | VTBIT_DECIMAL)) == VTBIT_DECIMAL) {
                storeDecimalInteger(value, result);
                return S_OK;
            }
        }
    }
    if (vtBits & kRealBits) {
        const HRESULT hr = storeReal(parse, digits, vtBits, result);
        if (SUCCEEDED(hr) || !(vtBits & VTBIT_DECIMAL))
            return hr;
    }
    if (vtBits & VTBIT_DECIMAL)
        return storeDecimal(parse, digits, result);
    return DISP_E_OVERFLOW;
}

} // namespace

namespace platform {

bool isBlank(OLECHAR c)
{
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680
        || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F
        || c == 0x3000;
}

HRESULT numberFromText(const OLECHAR *text, VARTYPE vt, VARIANT &result)
{
    NUMPARSE parse{};
    parse.cDig = kDigitCapacity;
    parse.dwInFlags = NUMPRS_STD;
    BYTE digits[kDigitCapacity];
    HRESULT hr = VarParseNumFromStr(text, LOCALE_USER_DEFAULT, 0, &parse, digits);
    if (FAILED(hr))
        return hr;
    return numberFromParsed(parse, digits, ULONG(1) << vt, result);
}

HRESULT doubleFromText(const OLECHAR *text, double &value)
{
    VARIANT number;
    const HRESULT hr = numberFromText(text, VT_R8, number);
    if (SUCCEEDED(hr))
        value = number.dblVal;
    return hr;
}

} // namespace platform

/// VarParseNumFromStr: parses text into a NUMPARSE and its digits.
///   text     [in]     the text; null gives DISP_E_TYPEMISMATCH
///   lcid     [in]     locale; US English characters are used for every locale
///   flags    [in]     LOCALE_NOUSEROVERRIDE or 0; no effect here
///   numprs   [in/out] cDig: room in digits; dwInFlags: NUMPRS_ flags allowed.
///                     On return the digit count, flags seen, characters
///                     used, base shift (4 hex, 3 octal) and power of ten.
///   digits   [out]    the digits, most significant first, values 0-15
/// Returns S_OK; E_INVALIDARG for a null numprs or digits; DISP_E_TYPEMISMATCH
/// when no number was found or the syntax is broken; DISP_E_OVERFLOW when
/// hexadecimal digits exceed the room given.
/// Differs from Windows: the number characters of other locales are not used.
PLATFORM_API HRESULT VarParseNumFromStr(const OLECHAR *text, LCID lcid, ULONG flags, NUMPARSE *numprs, BYTE *digits)
{
    (void)lcid;
    (void)flags;
    if (!numprs || !digits)
        return E_INVALIDARG;
    int maxDigits = numprs->cDig < kDigitCapacity ? numprs->cDig : kDigitCapacity;
    if (maxDigits < 0)
        maxDigits = 0;
    numprs->cDig = 0;
    numprs->dwOutFlags = 0;
    numprs->cchUsed = 0;
    numprs->nBaseShift = 0;
    numprs->nPwr10 = 0;
    if (!text)
        return DISP_E_TYPEMISMATCH;
    NumberScanner scanner(text, *numprs, maxDigits);
    return scanner.scan(digits);
}

/// VarNumFromParseNum: makes a numeric VARIANT from a parsed number.
///   numprs  [in]  the result of VarParseNumFromStr
///   digits  [in]  its digits
///   vtBits  [in]  VTBIT_ flags of the acceptable types
///   result  [out] the value; not cleared first
/// The smallest acceptable type that holds the number is used: integers
/// (signed before unsigned of one size, rounded half to even when only
/// integers are acceptable), then VT_R4, VT_R8, VT_CY and VT_DECIMAL.
/// Returns S_OK; E_INVALIDARG for null arguments; DISP_E_OVERFLOW when no
/// acceptable type holds the number.
/// Differs from Windows: decimal digits are converted exactly (rounded half
/// to even) rather than through a double for VT_CY.
PLATFORM_API HRESULT VarNumFromParseNum(NUMPARSE *numprs, BYTE *digits, ULONG vtBits, VARIANT *result)
{
    if (!numprs || !digits || !result || numprs->cDig < 0 || numprs->cDig > kDigitCapacity)
        return E_INVALIDARG;
    return numberFromParsed(*numprs, digits, vtBits, *result);
}
