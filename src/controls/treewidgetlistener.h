// Waits, for one call, until a tree item reaches the expansion state that
// was asked for: Qt's signal says so, or the state already held.
#pragma once

#include <QObject>

#include <atomic>

class QTreeWidget;
class QTreeWidgetItem;

class TreeWidgetListener : public QObject
{
    Q_OBJECT

public:
    TreeWidgetListener();
    ~TreeWidgetListener() override;

    // Listens to tree for item reaching wantExpanded: itemExpanded or
    // itemCollapsed, as a direct connection.
    void Attach(QTreeWidget *tree, QTreeWidgetItem *item, bool wantExpanded);
    void Detach();

    // True at once when the item already is as wanted; otherwise whether the
    // signal came within timeoutMs. Sleeps on the calling thread in steps of
    // 50 ms and pumps nothing, so the tree's own thread stays free to act.
    bool WaitForState(int timeoutMs);

private Q_SLOTS:
    // The tree's thread.
    void handleAction(QTreeWidgetItem *item);

private:
    // Set on the tree's thread, read on the waiting one.
    std::atomic<bool> signalled{ false };
    QTreeWidget *tree = nullptr;
    QTreeWidgetItem *item = nullptr;
    bool connected = false;
    bool wantExpanded = false;
};
