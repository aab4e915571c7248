// The item widgets: a list, a tree and a table that own their items, with
// the duplicates, blanks and gaps that real data has; and a list the user
// puts in order by dragging its rows.
#pragma once

#include <QPointer>
#include <QWidget>

class QListWidget;
class QTableWidget;
class QTreeWidget;

class ListsPage : public QWidget
{
    Q_OBJECT

public:
    explicit ListsPage(QWidget *parent = nullptr);

signals:
    void activity(const QString &text);

private:
    QListWidget *createList();
    QListWidget *createTaskList();
    QTreeWidget *createTree();
    QTableWidget *createTable();

    QPointer<QListWidget> m_list; // a host may delete it
};
