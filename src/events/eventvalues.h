// What the handlers build their reports from: a VARIANT they own for the
// length of one report, the guard every handler runs in, and the values
// that need more than one step (path texts, dates as text, check states).
#pragma once

#include <Qt>

#include "platform/automation.h"

class QTreeWidget;
class QTreeWidgetItem;

// A VARIANT owned by one handler: empty at first, cleared at scope end.
// bits() is the bitwise copy a report passes on.
class OwnedVariant
{
public:
    OwnedVariant() { VariantInit(&value); }
    ~OwnedVariant() { VariantClear(&value); }
    OwnedVariant(const OwnedVariant &) = delete;
    OwnedVariant &operator=(const OwnedVariant &) = delete;

    VARIANT *get() { return &value; }
    VARIANT bits() const { return value; }

private:
    VARIANT value;
};

// Runs a handler inside Qt's emission or event delivery. A failure while
// the report is built (an HRESULT thrown by a key or text conversion) drops
// the report: nothing may unwind into Qt.
template <typename Work>
void RunHandler(Work &&work) noexcept
{
    try {
        work();
    } catch (...) {
    }
}

// The item's path as one value: the bare key of a top-level item, else the
// keys from the top joined by "|", an index key in brackets ("a|[1]|c").
// Throws the HRESULT of a failed copy or conversion.
void MakeTreePathText(const QTreeWidget *tree, const QTreeWidgetItem *item, VARIANT *text);

// A variant time as the platform's text of a VT_DATE. Throws the HRESULT of
// a failed conversion.
void MakeDateText(double variantTime, VARIANT *text);

// The host's code of a check state: 0 unchecked, 2 partially checked,
// 1 checked, -1 for anything else.
int CheckStateCode(Qt::CheckState state);
