// The widget tree as indented text: one line a widget, two spaces of
// indentation a level.
//
//   QPushButton index=2 text="Second" name="second" pos=10,40 size=80x30 screen=110,140 visible enabled alien address=0x55...
#pragma once

#include <QJsonObject>

#include <string>

namespace vrqt::cli {

// tree is the result of the "tree" request.
std::string renderTreeText(const QJsonObject &tree);

} // namespace vrqt::cli
