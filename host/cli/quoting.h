// Texts of the program under test as a terminal gets them. A program's texts
// (an object's name, a window title, a file name) may hold control
// characters; raw, an escape sequence would drive the terminal, a line
// break or a direction override would forge what the user reads. Every
// text the command line prints from the program or the agent goes through
// here.
#pragma once

#include <QJsonValue>
#include <QString>

#include <string>

namespace vrqt::cli {

// text as UTF-8 with backslash and every control, format or line-separator
// character escaped: \n, \r, \t, \\, \xHH below U+0100, \uHHHH and
// \UHHHHHHHH above. One line, and nothing a terminal acts on.
std::string escaped(const QString &text);

// "text" for a string, escaped as above and with \" for its quotes; ? for
// anything else.
std::string quoted(const QJsonValue &value);

} // namespace vrqt::cli
