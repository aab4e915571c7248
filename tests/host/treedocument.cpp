#include "treedocument.h"

#include <QJsonDocument>

namespace vrqt::testing {

namespace {

void walk(const QJsonObject &node, const QJsonObject &parent, int depth, std::vector<TreeNode> *out)
{
    out->push_back({ node, parent, depth });
    for (const QJsonValue &child : node.value(QStringLiteral("children")).toArray())
        walk(child.toObject(), node, depth + 1, out);
}

} // namespace

std::vector<TreeNode> flatten(const QJsonObject &tree)
{
    std::vector<TreeNode> nodes;
    for (const QJsonValue &window : tree.value(QStringLiteral("windows")).toArray())
        walk(window.toObject(), {}, 0, &nodes);
    return nodes;
}

TreeNode findByName(const QJsonObject &tree, const QString &objectName)
{
    for (const TreeNode &entry : flatten(tree)) {
        if (entry.node.value(QStringLiteral("objectName")).toString() == objectName)
            return entry;
    }
    return {};
}

QJsonObject parseTree(const std::string &text, std::string *error)
{
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(text), &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        *error = "not a JSON object: " + parseError.errorString().toStdString();
        return {};
    }
    return document.object();
}

std::vector<QJsonObject> childrenOfClass(const QJsonObject &node, const QString &className)
{
    std::vector<QJsonObject> result;
    for (const QJsonValue &child : node.value(QStringLiteral("children")).toArray()) {
        if (child.toObject().value(QStringLiteral("className")).toString() == className)
            result.push_back(child.toObject());
    }
    return result;
}

} // namespace vrqt::testing
