// The results of the scripting requests as text for a terminal.
//
//   get/call   Click me                    a text as it is
//              42                          a number
//              QPushButton name="ok" address=0x55...   an object
//   describe   GalleryButton
//                clickCount  get put  VT_I4                    property
//                describe    method   VT_DISPATCH(VT_DISPATCH, VT_INT)  method
#pragma once

#include <QJsonObject>

#include <string>

namespace vrqt::cli {

// value is a result of "get" or "call"; "" for a call that returns nothing.
std::string renderValueText(const QJsonObject &value);

// description is the result of "describe".
std::string renderDescriptionText(const QJsonObject &description);

} // namespace vrqt::cli
