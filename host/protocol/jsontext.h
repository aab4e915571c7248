// JSON as RFC 8259 writes it. Qt's reader takes more than JSON allows:
// escapes JSON does not have ("\x41" reads as "x41"), raw control
// characters inside strings, numbers such as ".5" and "1.". A line that is
// no JSON must not become a request, so each line is checked here first.
#pragma once

#include <QJsonValue>
#include <QString>

#include <map>
#include <string>
#include <string_view>

namespace vrqt::protocol {

// The members of a top-level object: each name, decoded, with its value's
// text exactly as written, so that a reader can see what Qt's numbers
// round (9007199254740993 reads as ...992).
using MemberTexts = std::map<QString, std::string_view>;

// True when text is one JSON text (a value between optional white space).
// Otherwise false, with problem saying what is wrong at which byte offset.
// members, when given, receives the members of a top-level object; a name
// that appears twice there is refused. The views point into text.
bool CheckJsonText(std::string_view text, QString *problem, MemberTexts *members = nullptr);

// Appends value as compact JSON, the same text as Qt's compact writer
// gives, written directly: Qt's writer first converts every value to its
// CBOR form, which costs a third of the time of a large answer.
void AppendCompactJson(const QJsonValue &value, std::string *out);

} // namespace vrqt::protocol
