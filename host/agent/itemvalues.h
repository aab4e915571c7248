// The value editors' side of `vrqt items` and `vrqt item`: spin boxes,
// date-time edits, calendars, check boxes and radio buttons, line and text
// edits, tool buttons and scroll bars, read and set through their helpers.
// Each value has a key ("value", "state", "text", "vertical", ...) that
// `vrqt item OBJECT KEY set VALUE` names.
//
// GUI thread.
#pragma once

#include <QString>

#include "host/agent/helperaccess.h"
#include "host/agent/itemfamily.h"
#include "host/agent/reply.h"

namespace vrqt::agent {

// {"values": [{"key", "value", ...}], ...} for an editor of family.
Reply ListValues(HelperAccess &access, QWidget *widget, ItemFamily family);

// Sets the value named key ("set VALUE"), or steps a spin box ("step N").
Reply SetEditorValue(HelperAccess &access, QWidget *widget, ItemFamily family, const QString &key, const QString &action,
                     const QString &value);

// An automation date as ISO 8601 text ("2024-06-14T12:30:00"), and back;
// -1.0 and the empty text stand for a date the platform cannot convert.
QString DateText(double variantTime);
bool ParseDateText(const QString &text, double *variantTime);

} // namespace vrqt::agent
