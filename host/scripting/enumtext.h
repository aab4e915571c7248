// Enumeration and flag values by their names, as Qt's meta-object declares
// them: "StrongFocus" for Qt::StrongFocus, "AlignLeft|AlignTop" for a flag
// combination. The type description gives such properties as plain
// integers; names are what a script's author reads and writes.
#pragma once

#include <QMetaEnum>
#include <QString>
#include <QStringList>

#include <optional>

namespace vrqt::scripting {

// value by its names: one key of an enumeration, the keys of a flag
// combination joined by '|'. Empty when no key or set of keys gives exactly
// value back.
QString EnumValueText(const QMetaEnum &enumerator, int value);

// The value that text names: a key ("IconMode", also with its scope,
// "QListView::IconMode"), or for flags keys joined by '|'. A key that
// matches no key exactly matches one that differs only in case. Nothing
// for a text that names no value.
std::optional<int> EnumValueFromText(const QMetaEnum &enumerator, const QString &text);

// Every key, in declaration order.
QStringList EnumKeys(const QMetaEnum &enumerator);

// "Qt::FocusPolicy": the enumeration's scope and name.
QString EnumTypeName(const QMetaEnum &enumerator);

} // namespace vrqt::scripting
