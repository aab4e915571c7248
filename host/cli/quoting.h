// Texts of the program under test as a terminal gets them: quoted, with the
// characters that would break a line, a quote or the terminal escaped.
#pragma once

#include <QJsonValue>

#include <string>

namespace vrqt::cli {

// "text" for a string, ? for anything else.
std::string quoted(const QJsonValue &value);

} // namespace vrqt::cli
