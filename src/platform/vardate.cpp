// SystemTimeToVariantTime, VariantTimeToSystemTime and the calendar
// arithmetic under them (proleptic Gregorian calendar).
#include "platform/vardate.h"

#include <cmath>

#include "platform/oleauto.h"

namespace platform {

namespace {

constexpr long long kSecondsPerDay = 86400;
constexpr int kDaysBeforeMonth[] = { 0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334 };
constexpr int kDaysInMonth[] = { 0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 };

constexpr bool isLeapYear(long long year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int daysInMonth(int month, long long year)
{
    return month == 2 && isLeapYear(year) ? 29 : kDaysInMonth[month];
}

// Days from 0001-01-01 to the first of the given month (year >= 1).
constexpr long long daysToMonthStart(long long year, int month)
{
    const long long before = year - 1;
    return before * 365 + before / 4 - before / 100 + before / 400 + kDaysBeforeMonth[month]
        + (month > 2 && isLeapYear(year) ? 1 : 0);
}

constexpr long long kEpoch = daysToMonthStart(1899, 12) + 29; // 1899-12-30

void civilFromSerial(long long serial, SYSTEMTIME &time)
{
    long long days = serial + kEpoch; // since 0001-01-01
    const long long cycles400 = days / 146097;
    days %= 146097;
    long long centuries = days / 36524;
    if (centuries > 3)
        centuries = 3; // the last day of a 400-year cycle
    days -= centuries * 36524;
    const long long cycles4 = days / 1461;
    days %= 1461;
    long long years = days / 365;
    if (years > 3)
        years = 3; // the last day of a leap year
    days -= years * 365;
    const long long year = cycles400 * 400 + centuries * 100 + cycles4 * 4 + years + 1;
    int month = 12;
    while (month > 1 && days < kDaysBeforeMonth[month] + (month > 2 && isLeapYear(year) ? 1 : 0))
        --month;
    time.wYear = WORD(year);
    time.wMonth = WORD(month);
    time.wDay = WORD(days - kDaysBeforeMonth[month] - (month > 2 && isLeapYear(year) ? 1 : 0) + 1);
    // 1899-12-30 was a Saturday.
    time.wDayOfWeek = WORD(((serial % 7) + 7 + 6) % 7);
}

} // namespace

bool isDateInRange(double date)
{
    return date > kDateMinimum - 1.0 && date < kDateMaximum + 1.0;
}

bool unpackDate(double date, SYSTEMTIME &time)
{
    if (!isDateInRange(date))
        return false;
    const double whole = std::trunc(date);
    long long serial = (long long)whole;
    long long seconds = (long long)std::floor(std::fabs(date - whole) * double(kSecondsPerDay) + 0.5);
    if (seconds >= kSecondsPerDay) {
        seconds -= kSecondsPerDay;
        ++serial;
    }
    civilFromSerial(serial, time);
    time.wHour = WORD(seconds / 3600);
    time.wMinute = WORD(seconds / 60 % 60);
    time.wSecond = WORD(seconds % 60);
    time.wMilliseconds = 0;
    return true;
}

bool packDate(int year, int month, int day, int hour, int minute, int second, double &date)
{
    if (year > 9999 || year < -9999)
        return false;
    if (year >= 0 && year <= 49)
        year += 2000;
    else if (year >= 50 && year <= 99)
        year += 1900;
    // Larger fields take over what overflows the smaller ones (C division
    // truncates, so negative remainders are settled after the days).
    minute += second / 60;
    second %= 60;
    hour += minute / 60;
    minute %= 60;
    day += hour / 24;
    hour %= 24;
    year += month / 12;
    month %= 12;
    if (month <= 0) {
        month += 12;
        --year;
    }
    while (day > daysInMonth(month, year)) {
        day -= daysInMonth(month, year);
        if (++month > 12) {
            month = 1;
            ++year;
        }
    }
    while (day <= 0) {
        if (--month <= 0) {
            month = 12;
            --year;
        }
        day += daysInMonth(month, year);
    }
    if (second < 0) {
        second += 60;
        --minute;
    }
    if (minute < 0) {
        minute += 60;
        --hour;
    }
    if (hour < 0) {
        hour += 24;
        --day; // may reach day 0, the last day of the previous month
    }
    if (year <= 0)
        year += 2000;
    if (year < 1)
        return false;
    const long long serial = daysToMonthStart(year, month) + day - 1 - kEpoch;
    const double fraction = double(hour * 3600 + minute * 60 + second) / double(kSecondsPerDay);
    date = double(serial) + (serial < 0 ? -fraction : fraction);
    return isDateInRange(date);
}

} // namespace platform

/// SystemTimeToVariantTime: converts a SYSTEMTIME to a VT_DATE.
///   systemTime  [in]  the date and time; wDayOfWeek and wMilliseconds are
///                     ignored, other fields out of their ranges roll over
///   variantTime [out] the date
/// Returns TRUE; FALSE for null pointers, a month above 12, a day above 31, a
/// negative or five-digit year, or a result outside 100-01-01 to 9999-12-31.
/// Two-digit years mean 2000-2049 (0-49) and 1950-1999 (50-99), as on
/// Windows 10 1903 and later.
PLATFORM_API INT SystemTimeToVariantTime(LPSYSTEMTIME systemTime, DOUBLE *variantTime)
{
    if (!systemTime || !variantTime)
        return FALSE;
    const SYSTEMTIME &time = *systemTime;
    if (time.wMonth > 12 || time.wDay > 31 || SHORT(time.wYear) < 0)
        return FALSE;
    // Windows reads the time fields as signed values.
    double date = 0;
    if (!platform::packDate(SHORT(time.wYear), SHORT(time.wMonth), SHORT(time.wDay), SHORT(time.wHour),
                            SHORT(time.wMinute), SHORT(time.wSecond), date))
        return FALSE;
    *variantTime = date;
    return TRUE;
}

/// VariantTimeToSystemTime: converts a VT_DATE to a SYSTEMTIME.
///   variantTime [in]  the date; before 1899-12-30 the fraction still counts
///                     forward from midnight
///   systemTime  [out] the fields, with wDayOfWeek; rounded to the nearest
///                     whole second, so wMilliseconds is always 0
/// Returns TRUE; FALSE for a null pointer or a date outside 100-01-01 to
/// 9999-12-31 (or not a number).
PLATFORM_API INT VariantTimeToSystemTime(DOUBLE variantTime, LPSYSTEMTIME systemTime)
{
    if (!systemTime)
        return FALSE;
    SYSTEMTIME time{};
    if (!platform::unpackDate(variantTime, time))
        return FALSE;
    *systemTime = time;
    return TRUE;
}
