// The results of the scripting requests as text for a terminal.
//
//   get/call   Click me                    a text, escaped (quoting.h)
//              42                          a number
//              StrongFocus                 an enumeration's value by name
//              QPushButton name="ok" address=0x55...   an object
//   describe   GalleryButton
//                clickCount  get put  int                   VT_INT                            property
//                describe    method   QString(QString, int)  VT_DISPATCH(VT_DISPATCH, VT_INT)  method
//   describe of one member: the object, the class that declares it, the
//   member's line, an enumeration's values and the member's description.
#pragma once

#include <QJsonObject>

#include <string>

namespace vrqt::cli {

// value is a result of "get" or "call"; "" for a call that returns nothing.
std::string renderValueText(const QJsonObject &value);

// description is the result of "describe".
std::string renderDescriptionText(const QJsonObject &description);

} // namespace vrqt::cli
