#include "host/cli/resulttext.h"

#include <QJsonArray>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <cmath>

#include "host/cli/quoting.h"

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

std::string identityText(const QJsonObject &identity)
{
    std::string line = escaped(field(identity, "className"));
    line += " name=" + quoted(identity.value(QLatin1String("objectName")));
    if (identity.contains(QLatin1String("path")))
        line += " path=" + escaped(field(identity, "path"));
    return line + " address=" + escaped(field(identity, "address"));
}

QString joined(const QJsonArray &texts, const QString &separator)
{
    QStringList names;
    for (const QJsonValue &text : texts)
        names << text.toString();
    return names.join(separator);
}

bool isMethod(const QJsonObject &member)
{
    return member.value(QLatin1String("kinds")).toArray().contains(QLatin1String("method"));
}

// The automation type, and a method's parameter types after it.
QString memberType(const QJsonObject &member)
{
    QString type = field(member, "type");
    if (isMethod(member))
        type += QLatin1Char('(') + joined(member.value(QLatin1String("parameters")).toArray(), QStringLiteral(", ")) + QLatin1Char(')');
    return type;
}

// The Qt type the meta-object declares, the same way; empty without one.
QString qtType(const QJsonObject &member)
{
    if (!member.contains(QLatin1String("qtType")))
        return QString();
    QString type = field(member, "qtType");
    if (isMethod(member))
        type += QLatin1Char('(') + joined(member.value(QLatin1String("qtParameters")).toArray(), QStringLiteral(", ")) + QLatin1Char(')');
    return type;
}

QString kindsText(const QJsonObject &member)
{
    return joined(member.value(QLatin1String("kinds")).toArray(), QStringLiteral(" "));
}

// The columns of one member's line, escaped: name, kinds, Qt type,
// automation type, usage.
QStringList memberColumns(const QJsonObject &member)
{
    QStringList columns;
    for (const QString &cell : { field(member, "name"), kindsText(member), qtType(member), memberType(member), field(member, "usageName") })
        columns << QString::fromStdString(escaped(cell));
    return columns;
}

// Lines of members in columns as wide as their widest cell; a column empty
// in every line is left out.
std::string memberLines(const std::vector<QStringList> &rows)
{
    std::vector<int> widths;
    for (const QStringList &row : rows) {
        widths.resize(std::max(widths.size(), std::size_t(row.size())), 0);
        for (int column = 0; column < row.size(); ++column)
            widths[std::size_t(column)] = std::max(widths[std::size_t(column)], int(row.at(column).size()));
    }
    std::string out;
    for (const QStringList &row : rows) {
        QString line;
        for (int column = 0; column < row.size(); ++column) {
            if (widths[std::size_t(column)] > 0)
                line += QStringLiteral("  ") + row.at(column).leftJustified(widths[std::size_t(column)]);
        }
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        out += line.toStdString() + "\n";
    }
    return out;
}

} // namespace

std::string renderValueText(const QJsonObject &value)
{
    if (value.value(QLatin1String("vt")).toString() == QLatin1String("VT_EMPTY"))
        return std::string();
    const QJsonValue object = value.value(QLatin1String("object"));
    if (object.isObject())
        return identityText(object.toObject()) + "\n";
    // An enumeration's value by its name, where it has one.
    const QJsonValue name = value.value(QLatin1String("name"));
    return escaped(name.isString() ? name.toString() : scalarText(value.value(QLatin1String("value")))) + "\n";
}

std::string renderDescriptionText(const QJsonObject &description)
{
    std::string out = identityText(description.value(QLatin1String("object")).toObject()) + "\n";
    const QJsonValue single = description.value(QLatin1String("member"));
    if (single.isObject()) {
        const QJsonObject member = single.toObject();
        out += escaped(field(member, "typeName")) + "\n" + memberLines({ memberColumns(member) });
        if (member.contains(QLatin1String("keys")))
            out += "  values: " + escaped(joined(member.value(QLatin1String("keys")).toArray(), QStringLiteral(", "))) + "\n";
        if (member.contains(QLatin1String("description")))
            out += "  " + escaped(field(member, "description")) + "\n";
        return out;
    }
    for (const QJsonValue &entry : description.value(QLatin1String("chain")).toArray()) {
        const QJsonObject type = entry.toObject();
        out += escaped(field(type, "typeName")) + "\n";
        std::vector<QStringList> rows;
        for (const QJsonValue &member : type.value(QLatin1String("members")).toArray())
            rows.push_back(memberColumns(member.toObject()));
        out += memberLines(rows);
    }
    return out;
}

} // namespace vrqt::cli
