// VariantChangeType's cells for numeric targets: integers, reals, VT_DATE,
// VT_CY, VT_DECIMAL and VT_BOOL, with Windows' rounding and overflow rules.
#include <cfloat>
#include <cmath>
#include <cstring>

#include "platform/varconvcells.h"
#include "platform/vardate.h"
#include "platform/vardecimal.h"
#include "platform/varnumformat.h"
#include "platform/varround.h"

namespace platform {

namespace {

const IntegerType &targetInteger(const Conversion &conversion)
{
    return *integerType(conversion.target);
}

// Integers and VT_BOOL (a 16-bit integer, -1 for true) as one value.
IntegerValue integerOf(const VARIANT &source)
{
    if (source.vt == VT_BOOL)
        return loadInteger(*integerType(VT_I2), source);
    return loadInteger(*integerType(source.vt), source);
}

// VT_R4, VT_R8 and VT_DATE.
double realOf(const VARIANT &source)
{
    return source.vt == VT_R4 ? double(source.fltVal) : source.dblVal;
}

HRESULT storeRounded(const Conversion &conversion, const ExactNumber &number, VARIANT &result)
{
    IntegerValue value;
    if (!integerFromExact(number, value.magnitude))
        return DISP_E_OVERFLOW;
    value.negative = number.negative && value.magnitude != 0;
    return storeInteger(targetInteger(conversion), value, result);
}

} // namespace

HRESULT convertMismatch(const Conversion &, const VARIANT &, VARIANT &)
{
    return DISP_E_TYPEMISMATCH;
}

HRESULT convertToZero(const Conversion &, const VARIANT &, VARIANT &result)
{
    const VARTYPE vt = result.vt;
    std::memset(&result, 0, sizeof(result)); // also the DECIMAL's scale and sign
    result.vt = vt;
    return S_OK;
}

HRESULT doubleFromNumber(const VARIANT &source, double &value)
{
    if (source.vt == VT_BOOL || integerType(source.vt)) {
        value = doubleFromInteger(integerOf(source));
    } else if (source.vt == VT_R4 || source.vt == VT_R8 || source.vt == VT_DATE) {
        value = realOf(source);
    } else if (source.vt == VT_CY) {
        value = double(source.cyVal.int64) / double(kCurrencyScale);
    } else if (source.vt == VT_DECIMAL) {
        if (!isValidDecimal(source.decVal))
            return E_INVALIDARG;
        value = doubleFromExact(exactFromDecimal(source.decVal));
    } else {
        return DISP_E_TYPEMISMATCH;
    }
    return S_OK;
}

HRESULT integerFromInteger(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    const IntegerType &from = *integerType(source.vt);
    const IntegerType &to = targetInteger(conversion);
    const IntegerValue value = loadInteger(from, source);
    // Deliberate: between signed and unsigned types of one width Windows
    // keeps the bits (VT_I4 -1 becomes VT_UI4 4294967295), no overflow.
    if (from.bytes == to.bytes) {
        storeWrapped(to, integerBits(value), result);
        return S_OK;
    }
    return storeInteger(to, value, result);
}

HRESULT integerFromBool(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    // Deliberate: VARIANT_TRUE wraps (255 as VT_UI1, 65535 as VT_UI2).
    storeWrapped(targetInteger(conversion), ULONGLONG(LONGLONG(source.boolVal)), result);
    return S_OK;
}

HRESULT integerFromReal(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    IntegerValue value;
    const HRESULT hr = integerFromDouble(realOf(source), value);
    return FAILED(hr) ? hr : storeInteger(targetInteger(conversion), value, result);
}

HRESULT integerFromCurrency(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    const LONGLONG currency = source.cyVal.int64;
    // Deliberate: Windows' VT_CY to VT_I8 truncates a negative amount and
    // subtracts one (-1.0 gives -2, -0.5 gives -1).
    if (conversion.target == VT_I8 && currency < 0) {
        result.llVal = currency / kCurrencyScale - 1;
        return S_OK;
    }
    return storeRounded(conversion, exactFromCurrency(currency), result);
}

HRESULT integerFromDecimal(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    if (!isValidDecimal(source.decVal))
        return E_INVALIDARG;
    const ExactNumber number = exactFromDecimal(source.decVal);
    // Deliberate: Windows ignores the sign of a whole DECIMAL that fits 64
    // bits when converting to VT_UI8 (-1 gives 1).
    if (conversion.target == VT_UI8 && number.scale == 0 && (number.mantissa >> 64) == 0) {
        result.ullVal = ULONGLONG(number.mantissa);
        return S_OK;
    }
    return storeRounded(conversion, number, result);
}

HRESULT realFromInteger(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    const IntegerValue value = integerOf(source);
    if (conversion.target == VT_R4)
        result.fltVal = floatFromInteger(value);
    else
        result.dblVal = doubleFromInteger(value);
    return S_OK;
}

HRESULT realFromNumber(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    double value = 0;
    const HRESULT hr = doubleFromNumber(source, value);
    if (FAILED(hr))
        return hr;
    if (conversion.target == VT_R8) {
        result.dblVal = value;
        return S_OK;
    }
    if (std::fabs(value) > FLT_MAX)
        return DISP_E_OVERFLOW;
    result.fltVal = float(value);
    return S_OK;
}

HRESULT dateFromNumber(const Conversion &, const VARIANT &source, VARIANT &result)
{
    double value = 0;
    const HRESULT hr = doubleFromNumber(source, value);
    if (FAILED(hr))
        return hr;
    if (!isDateInRange(value))
        return DISP_E_OVERFLOW;
    result.date = value;
    return S_OK;
}

HRESULT currencyFromInteger(const Conversion &, const VARIANT &source, VARIANT &result)
{
    const IntegerValue value = integerOf(source);
    return currencyFromExact(exactFromInteger(value.negative, value.magnitude), result.cyVal.int64);
}

HRESULT currencyFromReal(const Conversion &, const VARIANT &source, VARIANT &result)
{
    return currencyFromDouble(realOf(source), result.cyVal.int64);
}

HRESULT currencyFromDecimal(const Conversion &, const VARIANT &source, VARIANT &result)
{
    if (!isValidDecimal(source.decVal))
        return E_INVALIDARG;
    return currencyFromExact(exactFromDecimal(source.decVal), result.cyVal.int64);
}

HRESULT decimalFromInteger(const Conversion &, const VARIANT &source, VARIANT &result)
{
    const IntegerValue value = integerOf(source);
    return decimalFromExact(exactFromInteger(value.negative, value.magnitude), result.decVal);
}

HRESULT decimalFromBool(const Conversion &, const VARIANT &source, VARIANT &result)
{
    // Deliberate: VariantChangeType makes true 1, not -1, as a DECIMAL.
    return decimalFromExact(exactFromInteger(false, source.boolVal ? 1 : 0), result.decVal);
}

HRESULT decimalFromReal(const Conversion &, const VARIANT &source, VARIANT &result)
{
    // The real's displayed digits become the DECIMAL: 7 for VT_R4, 15
    // otherwise, so 0.1 is exactly 0.1.
    const double value = realOf(source);
    if (!std::isfinite(value))
        return DISP_E_OVERFLOW;
    const RealDigits real = realDigits(value, source.vt == VT_R4 ? kSingleDigits : kDoubleDigits);
    BYTE digits[sizeof(real.digits)];
    for (int i = 0; i < real.count; ++i)
        digits[i] = BYTE(real.digits[i] - '0');
    const int power10 = real.exponent - (real.count - 1);
    ExactNumber number;
    if (!exactFromDigits(digits, real.count, power10, real.negative, power10 < 0 ? -power10 : 0, number))
        return DISP_E_OVERFLOW;
    return decimalFromExact(number, result.decVal);
}

HRESULT decimalFromCurrency(const Conversion &, const VARIANT &source, VARIANT &result)
{
    return decimalFromExact(exactFromCurrency(source.cyVal.int64), result.decVal);
}

HRESULT boolFromNumber(const Conversion &, const VARIANT &source, VARIANT &result)
{
    double value = 0;
    const HRESULT hr = doubleFromNumber(source, value);
    if (FAILED(hr))
        return hr;
    result.boolVal = value != 0.0 ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

} // namespace platform
