#include "controls/variantdates.h"

#include <QTime>

#include "platform/automation.h"

namespace {

// The fields of a date and time as plain numbers, wider than SYSTEMTIME's.
struct DateTimeFields {
    int year, month, day, hour, minute, second;
};

double FieldsToVariantTime(const DateTimeFields &fields)
{
    SYSTEMTIME time{};
    time.wYear = WORD(fields.year);
    time.wMonth = WORD(fields.month);
    time.wDay = WORD(fields.day);
    time.wHour = WORD(fields.hour);
    time.wMinute = WORD(fields.minute);
    time.wSecond = WORD(fields.second);
    double variantTime = 0.0;
    if (!SystemTimeToVariantTime(&time, &variantTime))
        return -1.0;
    SYSTEMTIME back{};
    if (!VariantTimeToSystemTime(variantTime, &back))
        return -1.0;
    // Compared with Qt's own numbers, not the 16-bit fields, so that a year
    // the fields would wrap is refused as well.
    const DateTimeFields returned{ back.wYear, back.wMonth, back.wDay, back.wHour, back.wMinute, back.wSecond };
    if (returned.year != fields.year || returned.month != fields.month || returned.day != fields.day
        || returned.hour != fields.hour || returned.minute != fields.minute || returned.second != fields.second)
        return -1.0;
    return variantTime;
}

// Every field -1 when the platform cannot convert the value, which makes
// the QDate and QTime built from them invalid.
DateTimeFields VariantTimeToFields(double variantTime)
{
    SYSTEMTIME time{};
    if (!VariantTimeToSystemTime(variantTime, &time))
        return { -1, -1, -1, -1, -1, -1 };
    return { time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond };
}

} // namespace

double DateTimeToVariantTime(const QDateTime &value)
{
    const QDate date = value.date();
    const QTime time = value.time();
    return FieldsToVariantTime({ date.year(), date.month(), date.day(), time.hour(), time.minute(), time.second() });
}

double DateToVariantTime(const QDate &date)
{
    return FieldsToVariantTime({ date.year(), date.month(), date.day(), 0, 0, 0 });
}

QDateTime VariantTimeToDateTime(double variantTime)
{
    const DateTimeFields fields = VariantTimeToFields(variantTime);
    return QDateTime(QDate(fields.year, fields.month, fields.day), QTime(fields.hour, fields.minute, fields.second, 0),
                     Qt::LocalTime);
}

QDate VariantTimeToDate(double variantTime)
{
    const DateTimeFields fields = VariantTimeToFields(variantTime);
    return QDate(fields.year, fields.month, fields.day);
}
