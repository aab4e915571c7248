#include "host/cli/itemtext.h"

#include <QJsonArray>

#include "host/cli/quoting.h"

namespace vrqt::cli {

namespace {

std::string text(const QJsonValue &value)
{
    return escaped(value.toString());
}

std::string number(const QJsonValue &value)
{
    return std::to_string(static_cast<long long>(value.toDouble()));
}

// Where the item is: its rectangle as the module gave it and on the screen.
std::string place(const QJsonValue &value)
{
    if (!value.isObject())
        return "";
    const QJsonObject rect = value.toObject();
    std::string line = " rect=" + number(rect.value(QLatin1String("x"))) + "," + number(rect.value(QLatin1String("y"))) + " "
                       + number(rect.value(QLatin1String("width"))) + "x" + number(rect.value(QLatin1String("height")));
    if (rect.contains(QLatin1String("screenX")))
        line += " screen=" + number(rect.value(QLatin1String("screenX"))) + "," + number(rect.value(QLatin1String("screenY")));
    return line;
}

// The states worth a word: those that hold, and "disabled", "hidden",
// "overflow" for the usual ones that do not.
std::string states(const QJsonObject &item)
{
    std::string line;
    for (const char *name : { "selected", "current", "expanded", "checked", "separator" }) {
        if (item.value(QLatin1String(name)).toBool())
            line += std::string(" ") + name;
    }
    const struct { const char *name; const char *whenFalse; } usual[] = {
        { "enabled", "disabled" }, { "visible", "hidden" }, { "onBar", "overflow" } };
    for (const auto &state : usual) {
        const QJsonValue value = item.value(QLatin1String(state.name));
        if (value.isBool() && !value.toBool())
            line += std::string(" ") + state.whenFalse;
    }
    return line;
}

void renderItems(const QJsonArray &items, int depth, std::string *out)
{
    for (const QJsonValue &entry : items) {
        const QJsonObject item = entry.toObject();
        *out += std::string(2 * depth, ' ') + text(item.value(QLatin1String("key"))) + "  text=" + quoted(item.value(QLatin1String("text")))
                + states(item) + place(item.value(QLatin1String("rect"))) + "\n";
        // A table's row lists its cells one level down.
        renderItems(item.value(QLatin1String("cells")).toArray(), depth + 1, out);
        renderItems(item.value(QLatin1String("children")).toArray(), depth + 1, out);
    }
}

std::string valueText(const QJsonValue &value)
{
    if (value.isString())
        return quoted(value);
    if (value.isBool())
        return value.toBool() ? "true" : "false";
    if (value.isDouble())
        return QString::number(value.toDouble()).toStdString();
    if (value.isObject())
        return place(value).substr(1);
    return "null";
}

} // namespace

std::string renderItemsText(const QJsonObject &items)
{
    std::string out = text(items.value(QLatin1String("className"))) + " " + text(items.value(QLatin1String("object"))) + " "
                      + text(items.value(QLatin1String("kind")));
    for (const char *count : { "count", "rowCount", "columnCount" }) {
        if (items.contains(QLatin1String(count)))
            out += std::string(" ") + count + "=" + number(items.value(QLatin1String(count)));
    }
    out += "\n";
    const QJsonArray columns = items.value(QLatin1String("columns")).toArray();
    for (const QJsonValue &entry : columns) {
        const QJsonObject column = entry.toObject();
        out += "  |" + text(column.value(QLatin1String("key"))) + "  text=" + quoted(column.value(QLatin1String("text")))
               + place(column.value(QLatin1String("rect"))) + "\n";
    }
    renderItems(items.value(QLatin1String("items")).toArray(), 1, &out);
    for (const QJsonValue &entry : items.value(QLatin1String("values")).toArray()) {
        const QJsonObject value = entry.toObject();
        out += "  " + text(value.value(QLatin1String("key"))) + " = " + valueText(value.value(QLatin1String("value")));
        if (value.contains(QLatin1String("minimum")))
            out += " range=" + valueText(value.value(QLatin1String("minimum"))) + ".." + valueText(value.value(QLatin1String("maximum")));
        if (value.value(QLatin1String("settable")).toBool())
            out += " (settable)";
        out += "\n";
    }
    return out;
}

std::string renderItemActionText(const QJsonObject &result)
{
    if (result.contains(QLatin1String("values")))
        return renderItemsText(result);
    std::string out = text(result.value(QLatin1String("key"))) + ": " + text(result.value(QLatin1String("action"))) + " done";
    for (const char *name : { "selected", "expanded", "popupVisible", "changed" }) {
        if (result.contains(QLatin1String(name)))
            out += std::string(" ") + name + "=" + valueText(result.value(QLatin1String(name)));
    }
    if (result.contains(QLatin1String("text")))
        out += " text=" + quoted(result.value(QLatin1String("text")));
    return out + "\n";
}

} // namespace vrqt::cli
