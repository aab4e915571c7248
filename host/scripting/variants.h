// Small conversions the host's scripting side shares: texts between BSTR
// and QString, a part's QVariant as a VARIANT, names of VARTYPEs.
#pragma once

#include <QString>
#include <QVariant>

#include "platform/automation.h"

namespace vrqt::scripting {

// Null for a null text, as the platform's allocator gives it.
BSTR ToBstr(const QString &text);
// All units of text, embedded NULs included; null gives an empty string.
QString FromBstr(BSTR text);

// An int, double, bool or text as VT_I4, VT_R8, VT_BOOL or VT_BSTR; any
// other QVariant as its text. value is overwritten, not cleared.
void VariantFromQVariant(const QVariant &from, VARIANT *value);

// "VT_I4", "VT_ARRAY|VT_VARIANT", "VT_BYREF|VT_BSTR"; a type without a name
// as its number ("VT_0x4A").
QString VarTypeName(VARTYPE vt);

// An address as the host prints it everywhere: "0x" and lower-case hex.
QString AddressText(const void *address);

// "0x80020005": an HRESULT as the host prints it.
QString HResultText(HRESULT hr);
// The system's text for hr ("Type mismatch."), without its line end; empty
// when the system has none.
QString SystemMessageText(HRESULT hr);

} // namespace vrqt::scripting
