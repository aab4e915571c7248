// The Qt types an object's meta-object declares for a member. The type
// description gives automation types only: every Qt class is VT_DISPATCH
// there, and an enumeration a plain integer. To pass a script's text where
// a Qt class is expected, the host must know which class, or it would hand
// the module storage of the wrong C type, which nothing checks; to show an
// enumeration's value by name, it must know the enumeration.
//
// Member names as the type description gives them: a name it made unique
// carries a suffix ("_2", "_3"), and a character a script cannot use is
// replaced ("_q_popupPressed" is "zq_popupPressed"). Names match as the
// description's do, without regard to case.
#pragma once

#include <QByteArray>
#include <QMetaMethod>
#include <QMetaProperty>
#include <QString>

class QObject;

namespace vrqt::scripting {

// The property of object's class (or its bases) that memberName names;
// invalid when there is none.
QMetaProperty PropertyOf(const QObject *object, const QString &memberName);

// The type of the property; empty when the object has no such property.
QByteArray PropertyTypeName(const QObject *object, const QString &memberName);

// The type of parameter index of the method, when every method of that name
// with parameterCount parameters declares the same type there; empty
// otherwise.
QByteArray ParameterTypeName(const QObject *object, const QString &memberName, int parameterCount, int index);

// The class named className in object's chain of classes; null when there
// is none.
const QMetaObject *MetaObjectNamed(const QObject *object, const QString &className);

// Of meta's own properties (not its bases'), the one memberName names;
// invalid when there is none.
QMetaProperty OwnProperty(const QMetaObject *meta, const QString &memberName);

// Of meta's own methods that memberName names and that take
// parameterCount parameters, the one at ordinal (from 0) in declaration
// order: the type description lists overloads in that order too. Invalid
// when there is none.
QMetaMethod OwnMethod(const QMetaObject *meta, const QString &memberName, int parameterCount, int ordinal);

} // namespace vrqt::scripting
