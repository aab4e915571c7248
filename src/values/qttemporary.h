// Scalars whose Qt type and automation type differ in width or in bit
// pattern: Qt's long and ulong are 8 bytes on this platform while the
// automation LONG and ULONG are 4, and Qt's bool is one byte holding 0 or 1
// while a VARIANT_BOOL is two holding -1 or 0. Such values move between a
// VARIANT and Qt only through a temporary of Qt's type, so that Qt never
// reads or writes 8 bytes where the VARIANT holds 4 and never sees a bool
// holding 0xFF.
#pragma once

#include <QString>

enum class QtTemporary { None, Long, ULong, Bool };

// Long for "long", ULong for "ulong", Bool for "bool", without regard to
// case as the storage rows compare; None for every other name. Asterisks
// are ignored.
QtTemporary QtTemporaryFor(const QString &typeName);

// The automation value at automationValue as Qt's value at qtValue: a
// LONG sign-extended, a ULONG zero-extended, a VARIANT_BOOL as false for 0
// and true for anything else. Nothing for None.
void ToQtValue(QtTemporary kind, const void *automationValue, void *qtValue);

// Qt's value at qtValue as the automation value at automationValue: the low
// 32 bits of a long or ulong, VARIANT_TRUE or VARIANT_FALSE for a bool. The
// two may be one address. Nothing for None.
void ToAutomationValue(QtTemporary kind, const void *qtValue, void *automationValue);
