// Where Qt 5 and Qt 6 differ for value transfer. Nothing else in this
// folder tests the Qt version.
#pragma once

#include <QByteArray>
#include <QMetaProperty>
#include <QMetaType>
#include <QVariant>
#include <QtGlobal>

// QRegExp and QMatrix left Qt with version 6: their rows stay in the tables
// and make no storage.
struct AbsentQtClass;
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
using QtRegExpClass = AbsentQtClass;
using QtMatrixClass = AbsentQtClass;
#else
#include <QMatrix>
#include <QRegExp>
using QtRegExpClass = QRegExp;
using QtMatrixClass = QMatrix;
#endif

namespace QtCompat {

// Qt's type id for a type name, QMetaType::UnknownType when Qt knows none.
inline int MetaTypeId(const QByteArray &name)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return QMetaType::fromName(name).id();
#else
    return QMetaType::type(name.constData());
#endif
}

// The type a property holds, taken from the property itself: Qt 6 knows a
// pointer type by name only once something has asked for it.
inline int PropertyTypeId(const QMetaProperty &property)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return property.metaType().id();
#else
    return property.userType();
#endif
}

// A variant of type typeId copied from data; null data gives the type's
// default, an unknown type an invalid variant.
inline QVariant VariantFromData(int typeId, const void *data)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return QVariant(QMetaType(typeId), data);
#else
    return QVariant(typeId, data);
#endif
}

inline int VariantTypeId(const QVariant &value)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return value.metaType().id();
#else
    return int(value.type());
#endif
}

inline void ConvertVariant(QVariant &value, int typeId)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    value.convert(QMetaType(typeId));
#else
    value.convert(typeId);
#endif
}

} // namespace QtCompat
