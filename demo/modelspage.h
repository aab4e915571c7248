// The item views: a list, a table and a tree over models the page owns,
// where the widgets hold no items of their own.
#pragma once

#include <QWidget>

class QStandardItemModel;

class ModelsPage : public QWidget
{
    Q_OBJECT

public:
    explicit ModelsPage(QWidget *parent = nullptr);

private:
    QStandardItemModel *createListModel();
    QStandardItemModel *createTableModel();
    QStandardItemModel *createTreeModel();
};
