// The results of `vrqt items` and `vrqt item` as text for a terminal: a
// line for the object, then one for each item, indented by level.
//
//   QListWidget galleryWindow/.../itemList list count=3
//     Apple  text="Apple" selected current rect=4,4 212x18 screen=210,130
//     [1]    text="" rect=4,22 212x18 screen=210,148
//   QSpinBox .../quantitySpin spin box
//     value = 3 (settable)
#pragma once

#include <QJsonObject>

#include <string>

namespace vrqt::cli {

std::string renderItemsText(const QJsonObject &items);
std::string renderItemActionText(const QJsonObject &result);

} // namespace vrqt::cli
