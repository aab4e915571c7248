// The cells of VariantChangeType's conversion table: one function for each
// kind of target and kind of source that convert. varconv.cpp arranges them
// in the table; the cells read the source's union and write the result's,
// leaving the vt to the caller. Internal to the platform library.
#pragma once

#include "platform/oleauto.h"

namespace platform {

struct Conversion {
    VARTYPE target;  // VT_INT and VT_UINT already read as VT_I4 and VT_UI4
    LCID lcid;
    USHORT flags;    // VARIANT_ flags as given
    ULONG textFlags; // the VAR_ / LOCALE_ flags they mean for text
};

using Converter = HRESULT (*)(const Conversion &conversion, const VARIANT &source, VARIANT &result);

// Either side.
HRESULT convertMismatch(const Conversion &, const VARIANT &, VARIANT &);
HRESULT convertToZero(const Conversion &, const VARIANT &, VARIANT &);

// Integer targets (VT_I1 ... VT_UI8).
HRESULT integerFromInteger(const Conversion &, const VARIANT &, VARIANT &);
HRESULT integerFromBool(const Conversion &, const VARIANT &, VARIANT &);
HRESULT integerFromReal(const Conversion &, const VARIANT &, VARIANT &);
HRESULT integerFromCurrency(const Conversion &, const VARIANT &, VARIANT &);
HRESULT integerFromDecimal(const Conversion &, const VARIANT &, VARIANT &);

// Real targets (VT_R4, VT_R8).
HRESULT realFromInteger(const Conversion &, const VARIANT &, VARIANT &);
HRESULT realFromNumber(const Conversion &, const VARIANT &, VARIANT &);

// VT_DATE, VT_CY, VT_DECIMAL and VT_BOOL targets.
HRESULT dateFromNumber(const Conversion &, const VARIANT &, VARIANT &);
HRESULT currencyFromInteger(const Conversion &, const VARIANT &, VARIANT &);
HRESULT currencyFromReal(const Conversion &, const VARIANT &, VARIANT &);
HRESULT currencyFromDecimal(const Conversion &, const VARIANT &, VARIANT &);
HRESULT decimalFromInteger(const Conversion &, const VARIANT &, VARIANT &);
HRESULT decimalFromBool(const Conversion &, const VARIANT &, VARIANT &);
HRESULT decimalFromReal(const Conversion &, const VARIANT &, VARIANT &);
HRESULT decimalFromCurrency(const Conversion &, const VARIANT &, VARIANT &);
HRESULT boolFromNumber(const Conversion &, const VARIANT &, VARIANT &);

// Text on either side.
HRESULT numberFromTextCell(const Conversion &, const VARIANT &, VARIANT &);
HRESULT dateFromTextCell(const Conversion &, const VARIANT &, VARIANT &);
HRESULT boolFromTextCell(const Conversion &, const VARIANT &, VARIANT &);
HRESULT textFromEmpty(const Conversion &, const VARIANT &, VARIANT &);
HRESULT textFromIntegerCell(const Conversion &, const VARIANT &, VARIANT &);
HRESULT textFromBoolCell(const Conversion &, const VARIANT &, VARIANT &);
HRESULT textFromRealCell(const Conversion &, const VARIANT &, VARIANT &);
HRESULT textFromDateCell(const Conversion &, const VARIANT &, VARIANT &);
HRESULT textFromCurrencyCell(const Conversion &, const VARIANT &, VARIANT &);
HRESULT textFromDecimalCell(const Conversion &, const VARIANT &, VARIANT &);

// A numeric source of any kind as a double: integers, VT_BOOL, reals,
// VT_DATE, VT_CY and VT_DECIMAL (E_INVALIDARG for an invalid DECIMAL).
HRESULT doubleFromNumber(const VARIANT &source, double &value);

} // namespace platform
