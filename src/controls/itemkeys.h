// Keys that find an item again: its text when that is non-empty and unique
// among its siblings, otherwise its index. A key is a VARIANT: VT_BSTR with
// the text or VT_I4 with the index. The event listeners build the keys of
// what the user acted on with these.
#pragma once

#include <QModelIndex>
#include <QString>

#include <vector>

#include "platform/automation.h"

class QComboBox;
class QHeaderView;
class QListView;
class QListWidget;
class QTabWidget;
class QTableView;
class QTableWidget;
class QTreeWidget;
class QTreeWidgetItem;

// A collection of items under one owner, built on the stack for one call.
class CControlWithItems
{
public:
    virtual int GetItemCountOf() const = 0;
    virtual QString GetItemTextOf(int index) const = 0;

    // key is cleared first. A failed copy of the text leaves VT_ERROR with
    // E_OUTOFMEMORY.
    void MakeItemKey(int index, VARIANT *key) const;

protected:
    ~CControlWithItems() = default;
};

// The rows of a table widget's vertical header; the items are read without
// a test for null (a section without an item is not theirs to handle).
class CVTableHeaderItems : public CControlWithItems
{
public:
    explicit CVTableHeaderItems(const QTableWidget *table) : table(table) {}
    int GetItemCountOf() const override;
    QString GetItemTextOf(int index) const override;

private:
    const QTableWidget *table;
};

// The columns of a table widget's horizontal header.
class CHTableHeaderItems : public CControlWithItems
{
public:
    explicit CHTableHeaderItems(const QTableWidget *table) : table(table) {}
    int GetItemCountOf() const override;
    QString GetItemTextOf(int index) const override;

private:
    const QTableWidget *table;
};

// The children of a tree item, by their text in column 0.
class CTreeWidgetItems : public CControlWithItems
{
public:
    explicit CTreeWidgetItems(const QTreeWidgetItem *parent) : parent(parent) {}
    int GetItemCountOf() const override;
    QString GetItemTextOf(int index) const override;

private:
    const QTreeWidgetItem *parent;
};

// The sections of a tree widget's header.
class CTreeHeaderItems : public CControlWithItems
{
public:
    explicit CTreeHeaderItems(const QTreeWidget *tree) : tree(tree) {}
    int GetItemCountOf() const override;
    QString GetItemTextOf(int index) const override;

private:
    const QTreeWidget *tree;
};

class CComboBoxItems : public CControlWithItems
{
public:
    explicit CComboBoxItems(const QComboBox *combo) : combo(combo) {}
    int GetItemCountOf() const override;
    QString GetItemTextOf(int index) const override;

private:
    const QComboBox *combo;
};

// Tabs by their captions as the user reads them.
class CTabWidgetItems : public CControlWithItems
{
public:
    explicit CTabWidgetItems(const QTabWidget *tabs) : tabs(tabs) {}
    int GetItemCountOf() const override;
    QString GetItemTextOf(int index) const override;

private:
    const QTabWidget *tabs;
};

class CListWidgetItems : public CControlWithItems
{
public:
    explicit CListWidgetItems(const QListWidget *list) : list(list) {}
    int GetItemCountOf() const override;
    QString GetItemTextOf(int index) const override;

private:
    const QListWidget *list;
};

// A table widget cell's keys: with column -1 only rowKey is set; otherwise
// rowKey only when row is not -1, and columnKey always.
void MakeCellKeys(const QTableWidget *table, int row, int column, VARIANT *rowKey, VARIANT *columnKey);

// A header section's key over any model, index being a visual index: the
// index itself when the header or its model is missing, when another
// section has equal header data, or when the data's text is empty.
void MakeHeaderKey(const QHeaderView *header, int index, VARIANT *key);

// A table view cell's keys from its two headers.
void MakeCellKeysOfView(const QTableView *view, const QModelIndex &index, VARIANT *rowKey, VARIANT *columnKey);

// A list view row's key: the row, unless its display data is text that no
// other row of the list column holds.
void MakeListIndexKey(const QListView *view, const QModelIndex &index, VARIANT *key);

// The keys of item and its ancestors, top level first; each VARIANT owns
// its contents.
void MakeTreeItemPath(const QTreeWidget *tree, const QTreeWidgetItem *item, std::vector<VARIANT> &path);

// The caption without its accelerator marks: "&File" reads "File", and a
// doubled "&&" stays as one "&".
QString StripAccelerators(QString caption);
