#include "host/cli/treetext.h"

#include <QJsonArray>

#include "host/cli/quoting.h"

namespace vrqt::cli {

namespace {

std::string number(const QJsonValue &value)
{
    return value.isDouble() ? std::to_string(static_cast<long long>(value.toDouble())) : std::string("?");
}

std::string flag(const QJsonValue &value, const char *whenTrue, const char *whenFalse)
{
    if (!value.isBool())
        return std::string(whenTrue) + "=?";
    return value.toBool() ? whenTrue : whenFalse;
}

void renderNode(const QJsonObject &node, int depth, bool main, std::string *out)
{
    std::string line(std::size_t(depth) * 2, ' ');
    line += escaped(node.value(QLatin1String("className")).toString(QStringLiteral("?")));
    const bool widget = node.value(QLatin1String("widget")).toBool(true);
    if (widget) {
        line += " index=" + number(node.value(QLatin1String("qtIndex")));
        line += " text=" + quoted(node.value(QLatin1String("qtText")));
    }
    line += " name=" + quoted(node.value(QLatin1String("objectName")));
    if (widget) {
        line += " pos=" + number(node.value(QLatin1String("x"))) + "," + number(node.value(QLatin1String("y")));
        line += " size=" + number(node.value(QLatin1String("width"))) + "x" + number(node.value(QLatin1String("height")));
        line += " screen=" + number(node.value(QLatin1String("screenX"))) + "," + number(node.value(QLatin1String("screenY")));
    }
    // An object that is no widget and has no window of its own (tree --objects).
    const bool plainObject = !widget && !node.contains(QLatin1String("native"));
    if (plainObject) {
        line += " object";
    } else {
        line += " " + flag(node.value(QLatin1String("visible")), "visible", "hidden");
        if (widget)
            line += " " + flag(node.value(QLatin1String("enabled")), "enabled", "disabled");
        if (node.value(QLatin1String("native")).toBool())
            line += " native window=" + number(node.value(QLatin1String("window")));
        else
            line += " alien";
        if (!widget)
            line += " no-widget";
    }
    if (main)
        line += " main";
    if (node.contains(QLatin1String("path")))
        line += " path=" + quoted(node.value(QLatin1String("path")));
    line += " address=" + escaped(node.value(QLatin1String("address")).toString(QStringLiteral("?")));
    *out += line + "\n";
    for (const char *below : { "children", "objects" }) {
        for (const QJsonValue &child : node.value(QLatin1String(below)).toArray())
            renderNode(child.toObject(), depth + 1, false, out);
    }
}

} // namespace

std::string renderTreeText(const QJsonObject &tree)
{
    std::string out;
    const QJsonValue mainWindow = tree.value(QLatin1String("mainWindow"));
    for (const QJsonValue &window : tree.value(QLatin1String("windows")).toArray()) {
        const QJsonObject node = window.toObject();
        const bool main = mainWindow.isDouble() && node.value(QLatin1String("window")) == mainWindow;
        renderNode(node, 0, main, &out);
    }
    if (tree.contains(QLatin1String("application")))
        renderNode(tree.value(QLatin1String("application")).toObject(), 0, false, &out);
    return out;
}

} // namespace vrqt::cli
