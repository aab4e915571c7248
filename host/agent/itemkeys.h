// Item keys as a user writes them and `vrqt items` prints them: the item's
// text where it is non-empty and unique among its siblings, "[index]"
// otherwise; a path of keys joined by '|' ("Animals|[1]|Cat"); a table cell
// as "row|column", a header section as "|column" or "row|". A text that
// would read otherwise ('|', '\' or a leading '[') is written with '\'
// before those characters.
//
// Any thread.
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace vrqt::agent {

// The key of siblings[index].
QString KeyOf(const QStringList &siblings, int index);

// The steps of a path, split at every '|' that no '\' escapes; escapes are
// kept for FindStep.
QStringList SplitKeyPath(const QString &path);

// Where a step names among siblings: "[i]" an index in range, any other
// step the one sibling with exactly that text. Empty with the reason when
// it names none or several.
std::optional<int> FindStep(const QString &step, const QStringList &siblings, QString *reason);

} // namespace vrqt::agent
