// VT_DATE: days since 1899-12-30, the fraction the time of day. Before that
// day the value is negative while its fraction still counts forward from
// midnight (-1.25 is 1899-12-29 06:00). Internal to the platform library.
#pragma once

#include "platform/basetypes.h"

namespace platform {

constexpr double kDateMinimum = -657434.0; // 100-01-01
constexpr double kDateMaximum = 2958465.0; // 9999-12-31

// Whether a VT_DATE value lies from 100-01-01 00:00 to 9999-12-31 23:59:59.
bool isDateInRange(double date);

// Splits a date into its fields, rounded to the whole second; false when the
// date is out of range or not a number.
bool unpackDate(double date, SYSTEMTIME &time);

// Joins date and time fields into a VT_DATE. Fields outside their ranges roll
// over into the next larger field (month 13 is January of the next year, day
// 0 the last day of the previous month); years 0-49 mean 2000-2049 and 50-99
// mean 1950-1999. False when the year is beyond +-9999 or the result leaves
// the VT_DATE range.
bool packDate(int year, int month, int day, int hour, int minute, int second, double &date);

} // namespace platform
