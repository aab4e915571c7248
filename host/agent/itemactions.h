// What `vrqt item OBJECT KEY ACTION [VALUE]` does to one item, through the
// control helpers: select or deselect a list row, expand or collapse a tree
// item, scroll any of them into view, show or hide a combo box's popup,
// bring a tab into view, set a cell's text, set an editor's value.
// docs/protocol.md, "item", lists the actions of each family.
//
// GUI thread.
#pragma once

#include <QString>

#include "host/agent/helperaccess.h"
#include "host/agent/itemfamily.h"
#include "host/agent/reply.h"

namespace vrqt::agent {

Reply ActOnItem(HelperAccess &access, QWidget *widget, ItemFamily family, const QString &key, const QString &action,
                const QString &value);

} // namespace vrqt::agent
