#include "host/scripting/membertypes.h"

#include <QMetaObject>
#include <QObject>
#include <QRegularExpression>
#include <QStringList>

namespace vrqt::scripting {

namespace {

// A Qt name as the type description writes it: a first character that is
// no letter becomes 'z', any later one that is no letter or digit '_'.
QString ScriptName(const char *qtName)
{
    QString name = QString::fromLatin1(qtName);
    for (int index = 0; index < name.size(); ++index) {
        const QChar character = name.at(index);
        if (index == 0 && !character.isLetter())
            name[index] = QLatin1Char('z');
        else if (index > 0 && !character.isLetterOrNumber())
            name[index] = QLatin1Char('_');
    }
    return name;
}

// The name itself, then, if it ends in a suffix the type description adds,
// the name without it.
QStringList DeclaredNames(const QString &memberName)
{
    QStringList names{ memberName };
    static const QRegularExpression suffix(QStringLiteral("_\\d+$"));
    const QRegularExpressionMatch match = suffix.match(memberName);
    if (match.hasMatch() && match.capturedStart() > 0)
        names << memberName.left(match.capturedStart());
    return names;
}

bool Names(const char *qtName, const QString &name)
{
    // The script name keeps the length: most names are told apart without
    // making it.
    return qstrlen(qtName) == uint(name.size()) && ScriptName(qtName).compare(name, Qt::CaseInsensitive) == 0;
}

// The property of meta in [first, meta->propertyCount()) that memberName
// names.
QMetaProperty FindProperty(const QMetaObject *meta, int first, const QString &memberName)
{
    for (const QString &name : DeclaredNames(memberName)) {
        for (int index = meta->propertyCount() - 1; index >= first; --index) {
            if (Names(meta->property(index).name(), name))
                return meta->property(index);
        }
    }
    return QMetaProperty();
}

} // namespace

QMetaProperty PropertyOf(const QObject *object, const QString &memberName)
{
    return object ? FindProperty(object->metaObject(), 0, memberName) : QMetaProperty();
}

QByteArray PropertyTypeName(const QObject *object, const QString &memberName)
{
    const QMetaProperty property = PropertyOf(object, memberName);
    return property.isValid() ? QByteArray(property.typeName()) : QByteArray();
}

QByteArray ParameterTypeName(const QObject *object, const QString &memberName, int parameterCount, int index)
{
    if (!object || index < 0 || index >= parameterCount)
        return {};
    const QMetaObject *meta = object->metaObject();
    for (const QString &name : DeclaredNames(memberName)) {
        QByteArray agreed;
        bool conflict = false;
        for (int methodIndex = 0; methodIndex < meta->methodCount(); ++methodIndex) {
            const QMetaMethod method = meta->method(methodIndex);
            if (!Names(method.name().constData(), name) || method.parameterCount() != parameterCount)
                continue;
            const QByteArray type = method.parameterTypes().at(index);
            conflict = conflict || (!agreed.isEmpty() && agreed != type);
            agreed = type;
        }
        if (!agreed.isEmpty())
            return conflict ? QByteArray() : agreed;
    }
    return {};
}

const QMetaObject *MetaObjectNamed(const QObject *object, const QString &className)
{
    for (const QMetaObject *meta = object ? object->metaObject() : nullptr; meta; meta = meta->superClass()) {
        if (className == QLatin1String(meta->className()))
            return meta;
    }
    return nullptr;
}

QMetaProperty OwnProperty(const QMetaObject *meta, const QString &memberName)
{
    return meta ? FindProperty(meta, meta->propertyOffset(), memberName) : QMetaProperty();
}

QMetaMethod OwnMethod(const QMetaObject *meta, const QString &memberName, int parameterCount, int ordinal)
{
    if (!meta)
        return QMetaMethod();
    for (const QString &name : DeclaredNames(memberName)) {
        int seen = 0;
        for (int index = meta->methodOffset(); index < meta->methodCount(); ++index) {
            const QMetaMethod method = meta->method(index);
            if (Names(method.name().constData(), name) && method.parameterCount() == parameterCount && seen++ == ordinal)
                return method;
        }
    }
    return QMetaMethod();
}

} // namespace vrqt::scripting
