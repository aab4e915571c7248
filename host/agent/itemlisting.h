// What `vrqt items` shows of an object: the items of an item view, combo
// box, tab widget, menu or menu bar with their keys, texts, states and
// rectangles, or the value of an editor, all read through the control
// helpers. docs/protocol.md, "items", shows the result.
//
// GUI thread.
#pragma once

#include <QJsonObject>

#include "host/agent/helperaccess.h"
#include "host/agent/itemfamily.h"
#include "host/agent/reply.h"

namespace vrqt::agent {

// The items (or the value) of widget, a widget of family; a failure when a
// helper refuses.
Reply ListItems(HelperAccess &access, QWidget *widget, ItemFamily family);

// The path of steps of a tree item as the helpers take it: VT_I4 child
// indexes from the top level down, in a VARIANT holding a SAFEARRAY of
// VARIANTs. Owns its array.
class TreePath
{
public:
    explicit TreePath(const std::vector<int> &indexes);
    ~TreePath();
    TreePath(const TreePath &) = delete;
    TreePath &operator=(const TreePath &) = delete;
    const VARIANT &get() const { return value; }

private:
    VARIANT value;
};

// Texts of column 0 of the children of the tree item at indexes.
QStringList TreeChildTexts(IvrQtTreeViewHelper *tree, QWidget *widget, const std::vector<int> &indexes);

// Texts of the entries of a menu (or menu bar, through its menu helper).
QStringList MenuTexts(IvrQtMenuHelper *menu, QWidget *widget);

} // namespace vrqt::agent
