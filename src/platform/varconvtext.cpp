// VariantChangeType's cells with text on one side: numbers, dates and
// booleans read from a BSTR, and every scalar written as one.
#include <string>

#include "platform/varconvcells.h"
#include "platform/vardatetext.h"
#include "platform/vardecimal.h"
#include "platform/varnumformat.h"
#include "platform/varnumparse.h"
#include "platform/varround.h"

namespace platform {

namespace {

constexpr char16_t kTrueText[] = u"True";
constexpr char16_t kFalseText[] = u"False";

bool equalsIgnoringCase(const OLECHAR *text, const char16_t *word)
{
    for (; *word; ++text, ++word) {
        const char16_t a = *text >= u'a' && *text <= u'z' ? char16_t(*text - 32) : *text;
        const char16_t b = *word >= u'a' && *word <= u'z' ? char16_t(*word - 32) : *word;
        if (a != b)
            return false;
    }
    return *text == 0;
}

bool equals(const OLECHAR *text, const char16_t *word)
{
    for (; *word; ++text, ++word) {
        if (*text != *word)
            return false;
    }
    return *text == 0;
}

HRESULT storeText(const std::u16string &text, VARIANT &result)
{
    result.bstrVal = SysAllocStringLen(text.data(), UINT(text.size()));
    return result.bstrVal ? S_OK : E_OUTOFMEMORY;
}

// Numbers take the US English number format with LOCALE_USE_NLS.
HRESULT storeNumberText(const Conversion &conversion, const std::u16string &plain, VARIANT &result)
{
    return storeText((conversion.textFlags & LOCALE_USE_NLS) ? localNumberText(plain) : plain, result);
}

} // namespace

HRESULT numberFromTextCell(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    return numberFromText(source.bstrVal, conversion.target, result);
}

HRESULT dateFromTextCell(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    const ULONG flags = conversion.textFlags & ~ULONG(VAR_TIMEVALUEONLY | VAR_DATEVALUEONLY);
    return dateFromText(source.bstrVal, flags, result.date);
}

HRESULT boolFromTextCell(const Conversion &, const VARIANT &source, VARIANT &result)
{
    const OLECHAR *text = source.bstrVal;
    if (!text)
        return DISP_E_TYPEMISMATCH;
    // The words in any case (US English is also the localised text here),
    // then the literal "#TRUE#" / "#FALSE#", then any number but 0.
    if (equalsIgnoringCase(text, kTrueText) || equals(text, u"#TRUE#")) {
        result.boolVal = VARIANT_TRUE;
        return S_OK;
    }
    if (equalsIgnoringCase(text, kFalseText) || equals(text, u"#FALSE#")) {
        result.boolVal = VARIANT_FALSE;
        return S_OK;
    }
    double value = 0;
    const HRESULT hr = doubleFromText(text, value);
    if (SUCCEEDED(hr))
        result.boolVal = value != 0.0 ? VARIANT_TRUE : VARIANT_FALSE;
    return hr;
}

HRESULT textFromEmpty(const Conversion &, const VARIANT &, VARIANT &result)
{
    return storeText(std::u16string(), result);
}

HRESULT textFromIntegerCell(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    return storeNumberText(conversion, textFromInteger(loadInteger(*integerType(source.vt), source)), result);
}

HRESULT textFromBoolCell(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    if (conversion.flags & (VARIANT_ALPHABOOL | VARIANT_LOCALBOOL))
        return storeText(source.boolVal ? kTrueText : kFalseText, result);
    // Without those flags a boolean is the number it holds: "-1" or "0".
    return storeNumberText(conversion, textFromInteger(loadInteger(*integerType(VT_I2), source)), result);
}

HRESULT textFromRealCell(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    const std::u16string text = source.vt == VT_R4 ? textFromReal(source.fltVal, kSingleDigits)
                                                   : textFromReal(source.dblVal, kDoubleDigits);
    return storeNumberText(conversion, text, result);
}

HRESULT textFromDateCell(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    std::u16string text;
    const HRESULT hr = textFromDate(source.date, conversion.textFlags, text);
    return FAILED(hr) ? hr : storeText(text, result);
}

HRESULT textFromCurrencyCell(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    const std::u16string plain = textFromCurrency(source.cyVal.int64);
    return storeText((conversion.textFlags & LOCALE_USE_NLS) ? localCurrencyText(plain) : plain, result);
}

HRESULT textFromDecimalCell(const Conversion &conversion, const VARIANT &source, VARIANT &result)
{
    if (!isValidDecimal(source.decVal))
        return E_INVALIDARG;
    return storeNumberText(conversion, textFromExact(exactFromDecimal(source.decVal)), result);
}

} // namespace platform
