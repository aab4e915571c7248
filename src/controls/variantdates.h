// Dates and times across the boundary: Qt's QDate and QDateTime to and from
// automation dates (variant time, days since 1899-12-30), through the
// platform's SystemTimeToVariantTime and VariantTimeToSystemTime. The
// date-time edit and calendar helpers and the event handlers use them.
#pragma once

#include <QDate>
#include <QDateTime>

// The variant time of value's date and time, seconds included and
// milliseconds dropped; -1.0 when the platform cannot convert it or the
// result does not convert back to the same fields (a year below 100, which
// the platform reads as a two-digit year, or above 9999). Deliberately a
// value, not a failure: callers hand -1.0 on with S_OK.
double DateTimeToVariantTime(const QDateTime &value);

// DateTimeToVariantTime at midnight of date.
double DateToVariantTime(const QDate &date);

// The local date and time of a variant time, rounded to the whole second
// by the platform; an invalid QDateTime when the platform cannot convert it.
QDateTime VariantTimeToDateTime(double variantTime);

// The date of a variant time; an invalid QDate when the platform cannot
// convert it.
QDate VariantTimeToDate(double variantTime);
