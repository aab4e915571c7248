// Dates to and from text in the US English default format: "1/2/2003",
// "3:04:05 PM", "1/2/2003 3:04:05 PM". Internal to the platform library.
#pragma once

#include <string>

#include "platform/oleauto.h"

namespace platform {

// The text of a date: the date alone when there is no time, the time alone
// on day 0 (1899-12-30), both otherwise (always both with LOCALE_USE_NLS).
// VAR_TIMEVALUEONLY / VAR_DATEVALUEONLY in flags drop a part, VAR_CALENDAR_THAI
// counts Buddhist years. E_INVALIDARG outside 100-01-01 to 9999-12-31.
HRESULT textFromDate(double date, ULONG flags, std::u16string &text);

// Reads a date, a time or both, in the many spellings Windows accepts for
// US English: numbers with "/", "-", "," or blanks between them, month and
// day names, ":" or "." in times, AM/PM (or A/P). DISP_E_TYPEMISMATCH when
// the text is none of them; E_INVALIDARG when flags ask for the time only
// and the date only at once.
HRESULT dateFromText(const OLECHAR *text, ULONG flags, double &date);

} // namespace platform
