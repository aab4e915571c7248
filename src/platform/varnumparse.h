// Text to number: the scanner behind VarParseNumFromStr and the type choice
// behind VarNumFromParseNum, shared with VariantChangeType. Internal to the
// platform library.
#pragma once

#include "platform/oleauto.h"

namespace platform {

// Reads text as a number with NUMPRS_STD acceptance (blanks, signs before or
// after, parentheses, decimal point, thousands separators, "$", exponent,
// &H and &O) and stores it in `result` as vt, which must be an integer,
// real, VT_CY or VT_DECIMAL type.
// DISP_E_TYPEMISMATCH when the text is no number, DISP_E_OVERFLOW when the
// number does not fit vt.
HRESULT numberFromText(const OLECHAR *text, VARTYPE vt, VARIANT &result);

// The real value of text for VT_BOOL's "is it zero" test.
HRESULT doubleFromText(const OLECHAR *text, double &value);

// The blanks Windows' iswspace accepts (ASCII controls 9-13, spaces of the
// Unicode space separators, the ideographic space).
bool isBlank(OLECHAR c);

} // namespace platform
