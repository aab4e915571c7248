// The Qt type names an object's meta-object declares for a member. The
// type description gives automation types only: every Qt class is
// VT_DISPATCH there. To pass a script's text where a Qt class is expected,
// the host must know which class, or it would hand the module storage of the
// wrong C type, which nothing checks.
//
// Member names as the type description gives them: a name it made unique
// carries a suffix ("_2", "_3"); the declared name without it is tried too.
#pragma once

#include <QByteArray>
#include <QString>

class QObject;

namespace vrqt::scripting {

// The type of the property; empty when the object has no such property.
QByteArray PropertyTypeName(const QObject *object, const QString &memberName);

// The type of parameter index of the method, when every method of that name
// with parameterCount parameters declares the same type there; empty
// otherwise.
QByteArray ParameterTypeName(const QObject *object, const QString &memberName, int parameterCount, int index);

} // namespace vrqt::scripting
