#include "host/scripting/membertypes.h"

#include <QMetaMethod>
#include <QMetaObject>
#include <QMetaProperty>
#include <QObject>
#include <QRegularExpression>
#include <QStringList>

namespace vrqt::scripting {

namespace {

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

} // namespace

QByteArray PropertyTypeName(const QObject *object, const QString &memberName)
{
    if (!object)
        return {};
    const QMetaObject *meta = object->metaObject();
    for (const QString &name : DeclaredNames(memberName)) {
        const int index = meta->indexOfProperty(name.toLatin1().constData());
        if (index >= 0)
            return meta->property(index).typeName();
    }
    return {};
}

QByteArray ParameterTypeName(const QObject *object, const QString &memberName, int parameterCount, int index)
{
    if (!object || index < 0 || index >= parameterCount)
        return {};
    const QMetaObject *meta = object->metaObject();
    for (const QString &name : DeclaredNames(memberName)) {
        const QByteArray wanted = name.toLatin1();
        QByteArray agreed;
        bool conflict = false;
        for (int methodIndex = 0; methodIndex < meta->methodCount(); ++methodIndex) {
            const QMetaMethod method = meta->method(methodIndex);
            if (method.name() != wanted || method.parameterCount() != parameterCount)
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

} // namespace vrqt::scripting
