// VarBstrFromDate and VarDateFromStr for the US English locale.
#include "platform/vardatetext.h"

#include <climits>
#include <cmath>
#include <cstdio>

#include "platform/system.h"
#include "platform/vardate.h"
#include "platform/varnumparse.h"

namespace {

using namespace platform;

constexpr int kThaiYearOffset = 543;

// ---------------------------------------------------------------- reading

constexpr int kMaxFields = 6;

enum FieldFlag : unsigned {
    kTimeSeparator = 0x01, // followed by ':' or '.'
    kDateSeparator = 0x02, // followed by '/' or '-', or a month name
    kMonthName = 0x04,
    kAm = 0x08,
    kPm = 0x10,
};
constexpr unsigned kMeridiem = kAm | kPm;

// The numbers of a date text with what followed each of them.
struct DateFields {
    int count = 0;
    unsigned flags[kMaxFields] = {};
    unsigned long values[kMaxFields] = {};
    unsigned meridiem = 0;
};

// Words of the US English locale; longer spellings come first so that
// "March" is not read as "Mar" and a stray "ch".
struct Word {
    const char16_t *text;
    int month;         // 1-12 for month names, 0 otherwise
    unsigned meridiem; // kAm / kPm, 0 otherwise
};
constexpr Word kWords[] = {
    { u"January", 1, 0 }, { u"February", 2, 0 }, { u"March", 3, 0 }, { u"April", 4, 0 },
    { u"May", 5, 0 }, { u"June", 6, 0 }, { u"July", 7, 0 }, { u"August", 8, 0 },
    { u"September", 9, 0 }, { u"October", 10, 0 }, { u"November", 11, 0 }, { u"December", 12, 0 },
    { u"Jan", 1, 0 }, { u"Feb", 2, 0 }, { u"Mar", 3, 0 }, { u"Apr", 4, 0 }, { u"May", 5, 0 },
    { u"Jun", 6, 0 }, { u"Jul", 7, 0 }, { u"Aug", 8, 0 }, { u"Sep", 9, 0 }, { u"Oct", 10, 0 },
    { u"Nov", 11, 0 }, { u"Dec", 12, 0 },
    // Day names are recognised and carry no value.
    { u"Monday", 0, 0 }, { u"Tuesday", 0, 0 }, { u"Wednesday", 0, 0 }, { u"Thursday", 0, 0 },
    { u"Friday", 0, 0 }, { u"Saturday", 0, 0 }, { u"Sunday", 0, 0 },
    { u"Mon", 0, 0 }, { u"Tue", 0, 0 }, { u"Wed", 0, 0 }, { u"Thu", 0, 0 }, { u"Fri", 0, 0 },
    { u"Sat", 0, 0 }, { u"Sun", 0, 0 },
    { u"AM", 0, kAm }, { u"PM", 0, kPm },
};

char16_t asciiUpper(char16_t c)
{
    return c >= u'a' && c <= u'z' ? char16_t(c - u'a' + u'A') : c;
}

bool isLetter(OLECHAR c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

// Length of the word if text starts with it (ignoring case), else 0.
int matchWord(const OLECHAR *text, const char16_t *word)
{
    int length = 0;
    for (; word[length]; ++length) {
        if (asciiUpper(text[length]) != asciiUpper(word[length]))
            return 0;
    }
    return length;
}

bool addField(DateFields &fields, unsigned long value, unsigned flags)
{
    if (fields.count >= kMaxFields)
        return false;
    fields.values[fields.count] = value;
    fields.flags[fields.count] |= flags;
    ++fields.count;
    return true;
}

// AM or PM belongs to the number before it, once per text.
bool addMeridiem(DateFields &fields, unsigned meridiem)
{
    if (fields.count == 0 || fields.meridiem)
        return false;
    fields.flags[fields.count - 1] |= meridiem;
    fields.meridiem = meridiem;
    return true;
}

HRESULT readFields(const OLECHAR *text, DateFields &fields)
{
    int dateSeparators = 0;
    for (const OLECHAR *p = text; *p; ++p) {
        const OLECHAR c = *p;
        if (c >= u'0' && c <= u'9') {
            unsigned long value = 0;
            for (; *p >= u'0' && *p <= u'9'; ++p)
                value = value > (ULONG_MAX - 9) / 10 ? ULONG_MAX : value * 10 + (*p - u'0');
            --p;
            if (!addField(fields, value, 0))
                return DISP_E_TYPEMISMATCH;
        } else if (isLetter(c)) {
            int length = 0;
            const Word *found = nullptr;
            for (const Word &word : kWords) {
                if ((length = matchWord(p, word.text)) > 0) {
                    found = &word;
                    break;
                }
            }
            bool accepted = true;
            if (found && found->month)
                accepted = addField(fields, ULONG(found->month), kMonthName | kDateSeparator);
            else if (found && found->meridiem)
                accepted = addMeridiem(fields, found->meridiem);
            else if (!found && (asciiUpper(c) == u'A' || asciiUpper(c) == u'P'))
                accepted = addMeridiem(fields, asciiUpper(c) == u'A' ? kAm : kPm); // "1 a", "12:59 p"
            else if (!found)
                accepted = false;
            if (!accepted)
                return DISP_E_TYPEMISMATCH;
            p += (found ? length : 1) - 1;
        } else if (c == u':' || c == u'.') {
            if (fields.count == 0 || !p[1])
                return DISP_E_TYPEMISMATCH;
            fields.flags[fields.count - 1] |= kTimeSeparator;
        } else if (c == u'-' || c == u'/') {
            if (++dateSeparators > 2 || fields.count == 0 || !p[1])
                return DISP_E_TYPEMISMATCH;
            fields.flags[fields.count - 1] |= kDateSeparator;
        } else if (c == u',') {
            if (!p[1])
                return DISP_E_TYPEMISMATCH;
        } else if (!isBlank(c)) {
            return DISP_E_TYPEMISMATCH;
        }
    }
    if (fields.count == 0 || (fields.count == 1 && !fields.meridiem))
        return DISP_E_TYPEMISMATCH;
    return S_OK;
}

// Where the time sits among the fields, told apart by which of the first
// five numbers are followed by a time separator ("1:2 3/4" is bits 0x1).
struct TimeLayout {
    unsigned separatorMask;
    unsigned allowedCounts;   // bit n: n fields in all
    int timeStart;
    int timeCount;
    unsigned noMeridiemFields; // fields that must not carry AM/PM
};
constexpr TimeLayout kTimeLayouts[] = {
    { 0x01, 1u << 2 | 1u << 4 | 1u << 5, 0, 2, 0x1C }, // h:m [d d [d]]
    { 0x03, 1u << 3 | 1u << 5 | 1u << 6, 0, 3, 0x38 }, // h:m:s [d d [d]]
    { 0x04, 1u << 4, 2, 2, 0x03 },                     // d d h:m
    { 0x08, 1u << 5, 3, 2, 0x07 },                     // d d d h:m
    { 0x0C, 1u << 5, 2, 3, 0x03 },                     // d d h:m:s
    { 0x18, 1u << 6, 3, 3, 0x07 },                     // d d d h:m:s
};

struct DateParts {
    int dateStart = 0;
    int dateCount = 0;
    unsigned long hour = 0, minute = 0, second = 0;
};

bool hasMeridiem(const DateFields &fields, unsigned fieldMask)
{
    for (int i = 0; i < fields.count; ++i) {
        if ((fieldMask & (1u << i)) && (fields.flags[i] & kMeridiem))
            return true;
    }
    return false;
}

// Without time separators a number is an hour only when AM/PM follows it:
// "3 PM", "3 PM 1/2", "1/2 3 PM", "1/2/2003 3 PM".
bool splitWithoutSeparators(const DateFields &fields, DateParts &parts)
{
    const int count = fields.count;
    const bool firstIsHour = (fields.flags[0] & kMeridiem) != 0;
    const bool lastIsHour = (fields.flags[count - 1] & kMeridiem) != 0;
    if (count == 1) {
        parts.hour = fields.values[0];
        return true;
    }
    if (count > 4 || (count == 2 && fields.meridiem))
        return false;
    if (count == 2 || (count == 3 && !fields.meridiem)) {
        parts.dateCount = count;
        return true;
    }
    if (!firstIsHour && !lastIsHour)
        return false;
    parts.hour = fields.values[firstIsHour ? 0 : count - 1];
    parts.dateStart = firstIsHour ? 1 : 0;
    parts.dateCount = count - 1;
    return true;
}

bool splitTimeAndDate(const DateFields &fields, DateParts &parts)
{
    unsigned mask = 0;
    for (int i = 0; i < 5 && i < fields.count; ++i)
        mask |= (fields.flags[i] & kTimeSeparator) << i;
    if (mask == 0)
        return splitWithoutSeparators(fields, parts);
    for (const TimeLayout &layout : kTimeLayouts) {
        if (layout.separatorMask != mask)
            continue;
        if (!(layout.allowedCounts & (1u << fields.count)) || hasMeridiem(fields, layout.noMeridiemFields))
            return false;
        unsigned long *time[] = { &parts.hour, &parts.minute, &parts.second };
        for (int i = 0; i < layout.timeCount; ++i)
            *time[i] = fields.values[layout.timeStart + i];
        parts.dateStart = layout.timeStart == 0 ? layout.timeCount : 0;
        parts.dateCount = fields.count - layout.timeCount;
        return true;
    }
    return false;
}

// The orders three date numbers may come in, tried in this sequence.
enum Order : unsigned { kMDY = 0x01, kYMD = 0x02, kYDM = 0x04, kDMY = 0x08, kMYD = 0x10 };
struct OrderLayout {
    Order order;
    int month, day, year; // positions among the three numbers
};
constexpr OrderLayout kOrders[] = {
    { kMDY, 0, 1, 2 }, { kYMD, 1, 2, 0 }, { kYDM, 2, 1, 0 }, { kDMY, 1, 0, 2 }, { kMYD, 0, 2, 1 },
};

// The leap-year test sees the year as written ("2/29/04" is valid).
bool isValidMonthDay(unsigned long day, unsigned long month, unsigned long year)
{
    static const int days[] = { 0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 };
    if (!day || !month || month > 12)
        return false;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return day <= (unsigned long)days[month] || (month == 2 && day == 29 && leap);
}

// Picks day, month and year from two or three numbers, preferring the US
// month/day/year order, then orders close to it, then any that gives a valid
// date. Two numbers take the current year; if they make no day and month
// they are read as month and year of the first day of that month.
bool chooseDate(const DateFields &fields, const DateParts &parts, unsigned long date[3])
{
    const unsigned long *v = fields.values + parts.dateStart;
    const unsigned *flags = fields.flags + parts.dateStart;
    unsigned long numbers[3] = { v[0], v[1], 0 };
    if (parts.dateCount == 2) {
        SYSTEMTIME now{};
        GetSystemTime(&now);
        numbers[2] = now.wYear;
    } else {
        numbers[2] = v[2];
    }
    unsigned allowed;
    if (flags[0] & kMonthName)
        allowed = kMDY;
    else if (flags[1] & kMonthName)
        allowed = kDMY | (parts.dateCount > 2 ? unsigned(kYMD) : 0u);
    else if (parts.dateCount > 2 && (flags[2] & kMonthName))
        allowed = kYDM;
    else
        allowed = kMDY | kDMY | (parts.dateCount > 2 ? unsigned(kYMD | kYDM) : 0u);
    for (int attempt = 0; attempt < 2; ++attempt) {
        const unsigned passes[] = { kMDY, ~unsigned(kDMY | kYDM), ~0u };
        for (unsigned pass : passes) {
            for (const OrderLayout &layout : kOrders) {
                if (!(allowed & pass & layout.order))
                    continue;
                if (isValidMonthDay(numbers[layout.day], numbers[layout.month], numbers[layout.year])) {
                    date[0] = numbers[layout.year];
                    date[1] = numbers[layout.month];
                    date[2] = numbers[layout.day];
                    return true;
                }
                allowed &= ~unsigned(layout.order);
            }
        }
        if (parts.dateCount != 2)
            return false;
        numbers[2] = 1; // "Jan 35": January 2035, "2 30": February 2030
        allowed = kYMD | kMYD;
    }
    return false;
}

// ---------------------------------------------------------------- writing

void appendNumber(std::u16string &text, unsigned value, int minimumDigits)
{
    char digits[16];
    snprintf(digits, sizeof(digits), "%0*u", minimumDigits, value);
    for (const char *p = digits; *p; ++p)
        text += char16_t(*p);
}

} // namespace

namespace platform {

HRESULT textFromDate(double date, ULONG flags, std::u16string &text)
{
    SYSTEMTIME time{};
    if (!unpackDate(date, time))
        return E_INVALIDARG;
    if (flags & VAR_CALENDAR_THAI)
        time.wYear = WORD(time.wYear + kThaiYearOffset);
    if (flags & LOCALE_USE_NLS) {
        flags &= ~ULONG(VAR_TIMEVALUEONLY | VAR_DATEVALUEONLY);
    } else {
        const double whole = std::trunc(date);
        const double partial = date - whole;
        if (whole == 0.0)
            flags |= VAR_TIMEVALUEONLY;
        else if (partial > -1e-12 && partial < 1e-12)
            flags |= VAR_DATEVALUEONLY;
    }
    text.clear();
    if (!(flags & VAR_TIMEVALUEONLY)) { // M/d/yyyy
        appendNumber(text, time.wMonth, 1);
        text += u'/';
        appendNumber(text, time.wDay, 1);
        text += u'/';
        appendNumber(text, time.wYear, 1);
    }
    if (!(flags & VAR_DATEVALUEONLY)) { // h:mm:ss tt
        if (!text.empty())
            text += u' ';
        const unsigned hour12 = time.wHour % 12 == 0 ? 12 : time.wHour % 12;
        appendNumber(text, hour12, 1);
        text += u':';
        appendNumber(text, time.wMinute, 2);
        text += u':';
        appendNumber(text, time.wSecond, 2);
        text += time.wHour < 12 ? u" AM" : u" PM";
    }
    return S_OK;
}

HRESULT dateFromText(const OLECHAR *text, ULONG flags, double &date)
{
    if ((flags & (VAR_TIMEVALUEONLY | VAR_DATEVALUEONLY)) == (VAR_TIMEVALUEONLY | VAR_DATEVALUEONLY))
        return E_INVALIDARG;
    if (!text)
        return DISP_E_TYPEMISMATCH;
    DateFields fields;
    HRESULT hr = readFields(text, fields);
    if (FAILED(hr))
        return hr;
    DateParts parts;
    if (!splitTimeAndDate(fields, parts))
        return DISP_E_TYPEMISMATCH;
    unsigned long day[3] = { 1899, 12, 30 }; // year, month, day of date 0
    if (parts.dateCount && !chooseDate(fields, parts, day))
        return DISP_E_TYPEMISMATCH;
    if (parts.hour > 23 || parts.minute > 59 || parts.second > 59)
        return DISP_E_TYPEMISMATCH;
    if (parts.hour < 12 && fields.meridiem == kPm)
        parts.hour += 12;
    else if (parts.hour == 12 && fields.meridiem == kAm)
        parts.hour = 0;
    if (flags & VAR_TIMEVALUEONLY) {
        day[0] = 1899;
        day[1] = 12;
        day[2] = 30;
    } else if (flags & VAR_DATEVALUEONLY) {
        parts.hour = parts.minute = parts.second = 0;
    }
    unsigned long year = day[0];
    if (year <= 49)
        year += 2000;
    else if (year <= 99)
        year += 1900;
    if (year > 9999 || !packDate(int(year), int(day[1]), int(day[2]), int(parts.hour), int(parts.minute),
                                 int(parts.second), date))
        return DISP_E_TYPEMISMATCH;
    return S_OK;
}

} // namespace platform

/// VarBstrFromDate: converts a VT_DATE to text in the US English default
/// format ("1/2/2003 3:04:05 PM"; the date alone at midnight, the time alone
/// on day 0).
///   date  [in]  the date
///   lcid  [in]  locale; US English is used for every locale
///   flags [in]  VAR_TIMEVALUEONLY, VAR_DATEVALUEONLY, VAR_CALENDAR_THAI,
///               LOCALE_USE_NLS (always date and time), LOCALE_NOUSEROVERRIDE
///   text  [out] the new string
/// Returns S_OK; E_INVALIDARG for a null text or a date outside 100-01-01 to
/// 9999-12-31; E_OUTOFMEMORY.
/// Differs from Windows: other locales' formats and the Hijri calendar are
/// not served.
PLATFORM_API HRESULT VarBstrFromDate(DATE date, LCID lcid, ULONG flags, BSTR *text)
{
    (void)lcid;
    if (!text)
        return E_INVALIDARG;
    std::u16string value;
    const HRESULT hr = platform::textFromDate(date, flags, value);
    if (FAILED(hr))
        return hr;
    *text = SysAllocStringLen(value.data(), UINT(value.size()));
    return *text ? S_OK : E_OUTOFMEMORY;
}

/// VarDateFromStr: reads a date and/or time from text, as Windows does for
/// US English (see platform::dateFromText for the spellings).
///   text  [in]  the text
///   lcid  [in]  locale; US English is used for every locale
///   flags [in]  VAR_TIMEVALUEONLY, VAR_DATEVALUEONLY, LOCALE_NOUSEROVERRIDE
///   date  [out] the date
/// Returns S_OK; E_INVALIDARG for both VALUEONLY flags or a null date;
/// DISP_E_TYPEMISMATCH when the text is no date or names an invalid one.
/// Two-digit years mean 2000-2049 and 1950-1999, as on Windows 10 1903 and
/// later; a day and month without year take the current (UTC) year.
/// Differs from Windows: other locales' names and orders are not served.
PLATFORM_API HRESULT VarDateFromStr(const OLECHAR *text, LCID lcid, ULONG flags, DATE *date)
{
    (void)lcid;
    if (!date)
        return E_INVALIDARG;
    double value = 0;
    const HRESULT hr = platform::dateFromText(text, flags, value);
    if (SUCCEEDED(hr))
        *date = value;
    return hr;
}
