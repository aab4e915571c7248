#include "host/cli/resulttext.h"

#include <QJsonArray>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace vrqt::cli {

namespace {

QString field(const QJsonObject &object, const char *name)
{
    return object.value(QLatin1String(name)).toString();
}

QString scalarText(const QJsonValue &value)
{
    if (value.isString())
        return value.toString();
    if (value.isBool())
        return QLatin1String(value.toBool() ? "true" : "false");
    if (value.isDouble()) {
        const double number = value.toDouble();
        return std::floor(number) == number && std::fabs(number) < 1e15 ? QString::number(qint64(number))
                                                                         : QLocale::c().toString(number, 'g', QLocale::FloatingPointShortest);
    }
    return QStringLiteral("null");
}

QString identityText(const QJsonObject &identity)
{
    QString line = field(identity, "className");
    line += QStringLiteral(" name=\"%1\"").arg(field(identity, "objectName"));
    if (identity.contains(QLatin1String("path")))
        line += QStringLiteral(" path=%1").arg(field(identity, "path"));
    return line + QStringLiteral(" address=%1").arg(field(identity, "address"));
}

QString memberType(const QJsonObject &member)
{
    QString type = field(member, "type");
    const QJsonArray parameters = member.value(QLatin1String("parameters")).toArray();
    if (member.value(QLatin1String("kinds")).toArray().contains(QLatin1String("method"))) {
        QStringList names;
        for (const QJsonValue &parameter : parameters)
            names << parameter.toString();
        type += QLatin1Char('(') + names.join(QStringLiteral(", ")) + QLatin1Char(')');
    }
    return type;
}

QString kindsText(const QJsonObject &member)
{
    QStringList kinds;
    for (const QJsonValue &kind : member.value(QLatin1String("kinds")).toArray())
        kinds << kind.toString();
    return kinds.join(QLatin1Char(' '));
}

} // namespace

std::string renderValueText(const QJsonObject &value)
{
    if (value.value(QLatin1String("vt")).toString() == QLatin1String("VT_EMPTY"))
        return std::string();
    const QJsonValue object = value.value(QLatin1String("object"));
    const QString text = object.isObject() ? identityText(object.toObject()) : scalarText(value.value(QLatin1String("value")));
    return (text + QLatin1Char('\n')).toStdString();
}

std::string renderDescriptionText(const QJsonObject &description)
{
    QString out = identityText(description.value(QLatin1String("object")).toObject()) + QLatin1Char('\n');
    for (const QJsonValue &entry : description.value(QLatin1String("chain")).toArray()) {
        const QJsonObject type = entry.toObject();
        out += field(type, "typeName") + QLatin1Char('\n');
        const QJsonArray members = type.value(QLatin1String("members")).toArray();
        int nameWidth = 0, kindWidth = 0, typeWidth = 0;
        for (const QJsonValue &member : members) {
            nameWidth = std::max(nameWidth, int(field(member.toObject(), "name").size()));
            kindWidth = std::max(kindWidth, int(kindsText(member.toObject()).size()));
            typeWidth = std::max(typeWidth, int(memberType(member.toObject()).size()));
        }
        for (const QJsonValue &entryMember : members) {
            const QJsonObject member = entryMember.toObject();
            out += QStringLiteral("  %1  %2  %3  %4\n")
                       .arg(field(member, "name"), -nameWidth)
                       .arg(kindsText(member), -kindWidth)
                       .arg(memberType(member), -typeWidth)
                       .arg(field(member, "usageName"));
        }
    }
    return out.toStdString();
}

} // namespace vrqt::cli
