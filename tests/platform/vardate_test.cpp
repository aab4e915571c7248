// Dates: SystemTimeToVariantTime and VariantTimeToSystemTime with their range
// checks and rounding, and dates to and from text in the US English default
// format. Expected values are the Windows results.
#include <cmath>
#include <cstdint>

#include "varconv_cases.h"

using namespace conversion_cases;

namespace {

// Less than a millisecond, in days.
constexpr double kTolerance = 1e-8;

SYSTEMTIME systemTime(int day, int month, int year, int hour = 0, int minute = 0, int second = 0,
                      int milliseconds = 0)
{
    SYSTEMTIME time{};
    time.wYear = WORD(year);
    time.wMonth = WORD(month);
    time.wDay = WORD(day);
    time.wHour = WORD(hour);
    time.wMinute = WORD(minute);
    time.wSecond = WORD(second);
    time.wMilliseconds = WORD(milliseconds);
    return time;
}

double dateOf(int day, int month, int year)
{
    SYSTEMTIME time = systemTime(day, month, year);
    double date = 0;
    EXPECT_TRUE(SystemTimeToVariantTime(&time, &date));
    return date;
}

int currentYear()
{
    SYSTEMTIME now{};
    GetSystemTime(&now);
    return now.wYear;
}

TEST(SystemTimeToVariantTime, MatchesWindows)
{
    struct Row {
        const char *name;
        SYSTEMTIME time;
        INT expected;
        double date;
    } rows[] = {
        { "1/1/1980", systemTime(1, 1, 1980), TRUE, 29221.0 },
        { "day 0 is the last of the previous month", systemTime(0, 1, 1980), TRUE, 29220.0 },
        { "29 February of a common year rolls on", systemTime(29, 2, 1981), TRUE, 29646.0 },
        { "month 13", systemTime(1, 13, 1980), FALSE, 0 },
        { "year 10000", systemTime(1, 1, 10000), FALSE, 0 },
        { "last day", systemTime(31, 12, 9999), TRUE, 2958465.0 },
        { "last second", systemTime(31, 12, 9999, 23, 59, 59), TRUE, 2958465.0 + 86399.0 / 86400 },
        { "rolling past the last day", systemTime(31, 12, 9999, 24), FALSE, 0 },
        { "first day", systemTime(1, 1, 100), TRUE, -657434.0 },
        { "rolling before the first day", systemTime(0, 1, 100), FALSE, 0 },
        { "year 0 is 2000", systemTime(1, 1, 0), TRUE, 36526.0 },
        { "year 50 is 1950", systemTime(1, 1, 50), TRUE, 18264.0 },
        { "6:18:02 PM", systemTime(1, 1, 1980, 18, 1, 16), TRUE, 29221.75087962963 },
        { "hour 42 rolls into the day", systemTime(0, 1, 1980, 42, 1, 16), TRUE, 29221.75087962963 },
        { "hour 65535 reads as -1", systemTime(2, 1, 1980, 65535), TRUE, 29221.0 + 23.0 / 24 },
        { "time before the epoch counts forward", systemTime(25, 12, 1899, 6), TRUE, -5.25 },
        { "day before the epoch", systemTime(26, 12, 1899), TRUE, -4.0 },
    };
    for (Row &row : rows) {
        SCOPED_TRACE(row.name);
        double date = -12345;
        EXPECT_EQ(SystemTimeToVariantTime(&row.time, &date), row.expected);
        if (row.expected)
            EXPECT_NEAR(date, row.date, kTolerance);
        else
            EXPECT_EQ(date, -12345) << "left alone on failure";
    }
    double date = 0;
    SYSTEMTIME time = systemTime(1, 1, 2000);
    EXPECT_FALSE(SystemTimeToVariantTime(nullptr, &date));
    EXPECT_FALSE(SystemTimeToVariantTime(&time, nullptr));
}

TEST(VariantTimeToSystemTime, RoundsToTheWholeSecond)
{
    struct Row {
        const char *name;
        double date;
        INT expected;
        WORD weekday;
        SYSTEMTIME time;
    } rows[] = {
        { "1/1/1980", 29221.0, TRUE, 2, systemTime(1, 1, 1980) },
        { "first day", -657434.0, TRUE, 5, systemTime(1, 1, 100) },
        { "before the first day", -657435.0, FALSE, 0, {} },
        { "last day", 2958465.0, TRUE, 5, systemTime(31, 12, 9999) },
        { "after the last day", 2958466.0, FALSE, 0, {} },
        { "not a number", std::nan(""), FALSE, 0, {} },
        { "seconds round up", 29221.7508765432, TRUE, 2, systemTime(1, 1, 1980, 18, 1, 16) },
        { "half a second rounds up", 0.5 / 86400, TRUE, 6, systemTime(30, 12, 1899, 0, 0, 1) },
        { "end of day rounds into the next", 0.99999999, TRUE, 0, systemTime(31, 12, 1899) },
        { "before the epoch", -5.25, TRUE, 1, systemTime(25, 12, 1899, 6) },
        { "-x is x within day 0", -0.25, TRUE, 6, systemTime(30, 12, 1899, 6) },
        { "no 29 February 1900", 60.0, TRUE, 3, systemTime(28, 2, 1900) },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        SYSTEMTIME time;
        std::memset(&time, 0xAB, sizeof(time));
        EXPECT_EQ(VariantTimeToSystemTime(row.date, &time), row.expected);
        if (!row.expected)
            continue;
        EXPECT_EQ(time.wYear, row.time.wYear);
        EXPECT_EQ(time.wMonth, row.time.wMonth);
        EXPECT_EQ(time.wDay, row.time.wDay);
        EXPECT_EQ(time.wHour, row.time.wHour);
        EXPECT_EQ(time.wMinute, row.time.wMinute);
        EXPECT_EQ(time.wSecond, row.time.wSecond);
        EXPECT_EQ(time.wMilliseconds, 0);
        EXPECT_EQ(time.wDayOfWeek, row.weekday);
    }
    EXPECT_FALSE(VariantTimeToSystemTime(29221.0, nullptr));
}

// Every 997th day over the whole range, with a time of day that moves along,
// comes back to the same value.
TEST(VariantTimeToSystemTime, RoundTripsOverTheWholeRange)
{
    for (long long day = -657434, step = 0; day <= 2958465; day += 997, ++step) {
        const double seconds = double(step * 7919 % 86400);
        const double date = double(day) + (day < 0 ? -1 : 1) * seconds / 86400;
        SYSTEMTIME time{};
        ASSERT_TRUE(VariantTimeToSystemTime(date, &time)) << date;
        double back = 0;
        ASSERT_TRUE(SystemTimeToVariantTime(&time, &back)) << date;
        ASSERT_NEAR(back, date, kTolerance) << "day " << day;
    }
}

TEST(VarConvDate, DatesAsText)
{
    const Case rows[] = {
        { "day 0 shows the time only", v::Date(0.0), VT_BSTR, S_OK, v::Str(u"12:00:00 AM") },
        { "midnight shows the date only", v::Date(365.0), VT_BSTR, S_OK, v::Str(u"12/30/1900") },
        { "before 1899-12-30", v::Date(-49192.24), VT_BSTR, S_OK, v::Str(u"4/24/1765 5:45:36 AM") },
        { "first day", v::Date(-657434.0), VT_BSTR, S_OK, v::Str(u"1/1/100") },
        { "last day", v::Date(2958465.0), VT_BSTR, S_OK, v::Str(u"12/31/9999") },
        { "last second", v::Date(2958465.0 + 86399.0 / 86400), VT_BSTR, S_OK, v::Str(u"12/31/9999 11:59:59 PM") },
        { "before the first day", v::Date(-657435.0), VT_BSTR, E_INVALIDARG, {} },
        { "NLS shows both parts", v::Date(25570.0), VT_BSTR, S_OK, v::Str(u"1/2/1970 12:00:00 AM"), VARIANT_USE_NLS },
        { "Thai calendar", v::Date(25570.0), VT_BSTR, S_OK, v::Str(u"1/2/2513"), VARIANT_CALENDAR_THAI },
    };
    runCases(rows);
}

struct TextDate {
    const char *name;
    const char16_t *text;
    HRESULT expected;
    double date;
};

void runTextDates(const TextDate *rows, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        const TextDate &row = rows[i];
        SCOPED_TRACE(row.name);
        VARIANT source = makeVariant(v::Str(row.text));
        VARIANT dest;
        VariantInit(&dest);
        EXPECT_EQ(VariantChangeTypeEx(&dest, &source, kEnglishUS, 0, VT_DATE), row.expected);
        if (row.expected == S_OK) {
            EXPECT_EQ(dest.vt, VT_DATE);
            EXPECT_NEAR(dest.date, row.date, kTolerance);
        }
        VariantClear(&source);
    }
}

TEST(VarConvDate, DatesFromText)
{
    const TextDate rows[] = {
        { "point as time separator", u"2.5", S_OK, (2 * 60 + 5) / 1440.0 },
        { "colon", u"3:5", S_OK, (3 * 60 + 5) / 1440.0 },
        { "p for pm", u"12:59 p", S_OK, 0.5409722222222222 },
        { "00:00 pm", u"00:00 pm", S_OK, 0.5 },
        { "am ignored after 12", u"13:00 AM", S_OK, 0.5416666666666666 },
        { "two numbers as month and year", u"30 2", S_OK, 47515.0 },
        { "month/day/year", u"1 2 3", S_OK, 37623.0 },
        { "year first when month is impossible", u"14 2 3", S_OK, 41673.0 },
        { "day past 12", u"2 14 3", S_OK, 37666.0 },
        { "year 50", u"1 1 50", S_OK, 18264.0 },
        { "year 100", u"1 1 100", S_OK, -657434.0 },
        { "time first then date", u"1.2 3 4 5", S_OK, 38415.04305555556 },
        { "day month name, year", u"2 January, 1970", S_OK, 25570.0 },
        { "US default", u"1/2/1970", S_OK, 25570.0 },
        { "day first when month is impossible", u"13-1-1970", S_OK, 25581.0 },
        { "day name ignored", u"Friday, January 2, 1970", S_OK, 25570.0 },
        { "ISO date and time", u"2013-05-14 02:04:12", S_OK, 41408.08625000001 },
        { "fractional seconds", u"2013-05-14 02:04:12.017000000", DISP_E_TYPEMISMATCH, 0 },
        { "German order", u"02.01.1970", DISP_E_TYPEMISMATCH, 0 },
        { "no valid order", u"32 49", DISP_E_TYPEMISMATCH, 0 },
        { "one number", u"1", DISP_E_TYPEMISMATCH, 0 },
        { "point at the end", u"0.", DISP_E_TYPEMISMATCH, 0 },
        { "minute 60", u"0:60", DISP_E_TYPEMISMATCH, 0 },
        { "am between numbers", u"1 am 2", DISP_E_TYPEMISMATCH, 0 },
        { "time in the middle", u"1 5.2", DISP_E_TYPEMISMATCH, 0 },
        { "four plain numbers", u"1 2 3 4", DISP_E_TYPEMISMATCH, 0 },
        { "year beyond 9999", u"1/1/10000", DISP_E_TYPEMISMATCH, 0 },
        { "null BSTR", nullptr, DISP_E_TYPEMISMATCH, 0 },
    };
    runTextDates(rows, sizeof(rows) / sizeof(rows[0]));
}

// A day and month without year take the current year.
TEST(VarConvDate, DatesFromTextWithoutYear)
{
    const int year = currentYear();
    const TextDate rows[] = {
        { "month day", u"1 2", S_OK, dateOf(2, 1, year) },
        { "day past 12 first", u"14 1", S_OK, dateOf(14, 1, year) },
        { "hour before date", u"3 am 1 2", S_OK, dateOf(2, 1, year) + 0.125 },
        { "time then date", u"1.2 3 4", S_OK, dateOf(4, 3, year) + 62.0 / 1440 },
    };
    runTextDates(rows, sizeof(rows) / sizeof(rows[0]));
}

TEST(VarDateFromStrAndBack, FlagsAndArguments)
{
    DATE date = 0;
    EXPECT_EQ(VarDateFromStr(u"1/2/2003 3:04:05 PM", kEnglishUS, VAR_TIMEVALUEONLY, &date), S_OK);
    EXPECT_NEAR(date, (15 * 3600 + 4 * 60 + 5) / 86400.0, kTolerance);
    EXPECT_EQ(VarDateFromStr(u"1/2/2003 3:04:05 PM", kEnglishUS, VAR_DATEVALUEONLY, &date), S_OK);
    EXPECT_EQ(date, 37623.0);
    EXPECT_EQ(VarDateFromStr(u"1/2/2003", kEnglishUS, VAR_TIMEVALUEONLY | VAR_DATEVALUEONLY, &date), E_INVALIDARG);
    EXPECT_EQ(VarDateFromStr(nullptr, kEnglishUS, 0, &date), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VarDateFromStr(u"1/2/2003", kEnglishUS, 0, nullptr), E_INVALIDARG);

    for (ULONG flags : { VAR_DATEVALUEONLY, VAR_TIMEVALUEONLY }) {
        BSTR text = nullptr;
        ASSERT_EQ(VarBstrFromDate(37623.5, kEnglishUS, flags, &text), S_OK);
        EXPECT_EQ(std::u16string(text), flags == VAR_DATEVALUEONLY ? u"1/2/2003" : u"12:00:00 PM");
        SysFreeString(text);
    }
    BSTR text = nullptr;
    EXPECT_EQ(VarBstrFromDate(2958466.0, kEnglishUS, 0, &text), E_INVALIDARG);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(VarBstrFromDate(0.0, kEnglishUS, 0, nullptr), E_INVALIDARG);
}

// The text a date becomes reads back as the same date, to the second.
TEST(VarConvDate, TextRoundTrip)
{
    for (double date : { 0.25, -0.75, 1.0, 37623.645844907407, -49192.24, -657434.0, 2958465.999988426, -5.5 }) {
        SCOPED_TRACE(date);
        VARIANT source = makeVariant(v::Date(date));
        VARIANT text, back;
        VariantInit(&text);
        VariantInit(&back);
        ASSERT_EQ(VariantChangeType(&text, &source, 0, VT_BSTR), S_OK);
        ASSERT_EQ(VariantChangeType(&back, &text, 0, VT_DATE), S_OK);
        // Day 0 is written as a time alone, which reads back as a positive
        // time of day 0.
        EXPECT_NEAR(back.date, date > -1 && date < 0 ? -date : date, 0.5 / 86400);
        VariantClear(&text);
    }
}

} // namespace
