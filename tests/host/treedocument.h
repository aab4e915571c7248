// Finding one's way in the tree document that `vrqt tree --json` prints.
#pragma once

#include <QJsonArray>
#include <QJsonObject>

#include <functional>
#include <string>
#include <vector>

namespace vrqt::testing {

struct TreeNode
{
    QJsonObject node;
    QJsonObject parent; // empty for a top-level window
    int depth = 0;
};

// Every node, depth first, in document order.
std::vector<TreeNode> flatten(const QJsonObject &tree);
// The first node with this object name; an empty node when there is none.
TreeNode findByName(const QJsonObject &tree, const QString &objectName);
// Parses a document; empty with a message when it is not an object.
QJsonObject parseTree(const std::string &text, std::string *error);

// The children of node whose class name is className, in order.
std::vector<QJsonObject> childrenOfClass(const QJsonObject &node, const QString &className);

} // namespace vrqt::testing
