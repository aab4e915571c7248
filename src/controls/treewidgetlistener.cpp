#include "controls/treewidgetlistener.h"

#include <QTreeWidget>

#include "platform/automation.h"

namespace {
constexpr int kStepMs = 50;
}

TreeWidgetListener::TreeWidgetListener() : QObject(nullptr) {}

TreeWidgetListener::~TreeWidgetListener()
{
    Detach();
}

void TreeWidgetListener::Attach(QTreeWidget *tree, QTreeWidgetItem *item, bool wantExpanded)
{
    if (this->tree)
        QObject::disconnect(this->tree, nullptr, this, nullptr);
    this->tree = tree;
    this->item = item;
    this->wantExpanded = wantExpanded;
    // The string forms: "2itemExpanded(QTreeWidgetItem*)" and the like.
    const char *signal =
        wantExpanded ? SIGNAL(itemExpanded(QTreeWidgetItem*)) : SIGNAL(itemCollapsed(QTreeWidgetItem*));
    connected = bool(QObject::connect(tree, signal, this, SLOT(handleAction(QTreeWidgetItem*)), Qt::DirectConnection));
}

void TreeWidgetListener::Detach()
{
    if (tree)
        QObject::disconnect(tree, nullptr, this, nullptr);
    tree = nullptr;
    item = nullptr;
    connected = false;
}

void TreeWidgetListener::handleAction(QTreeWidgetItem *item)
{
    if (item == this->item)
        signalled = true;
}

bool TreeWidgetListener::WaitForState(int timeoutMs)
{
    if (!connected)
        return false;
    const bool expanded = item->treeWidget() ? item->isExpanded() : false;
    if (expanded == wantExpanded)
        return true;
    signalled = false;
    for (int waited = 0; waited < timeoutMs; waited += kStepMs) {
        if (signalled)
            break;
        Sleep(kStepMs);
    }
    return signalled;
}
