#include "controls/itemkeys.h"

#include <QComboBox>
#include <QHeaderView>
#include <QListView>
#include <QListWidget>
#include <QTabWidget>
#include <QTableView>
#include <QTableWidget>
#include <QTreeWidget>

#include "runtime/errors.h"
#include "values/stringbridges.h"

namespace {

void SetIndexKey(VARIANT *key, int index)
{
    V_VT(key) = VT_I4;
    V_I4(key) = index;
}

// A text key; a failed copy leaves VT_ERROR with E_OUTOFMEMORY and raises
// the failure through the common throw.
void SetTextKey(VARIANT *key, const QString &text)
{
    V_VT(key) = VT_ERROR;
    V_ERROR(key) = E_OUTOFMEMORY;
    BSTR copy = QStringToBstr(text);
    if (!copy)
        ThrowHResult(E_OUTOFMEMORY);
    V_VT(key) = VT_BSTR;
    V_BSTR(key) = copy;
}

void ClearKey(VARIANT *key)
{
    const HRESULT hr = VariantClear(key);
    if (FAILED(hr))
        ThrowHResult(hr);
}

// The text of a header's value as the key, or index when it is empty.
void SetValueKey(VARIANT *key, const QVariant &value, int index)
{
    const QString text = value.toString();
    if (text.isEmpty())
        SetIndexKey(key, index);
    else
        SetTextKey(key, text);
}

} // namespace

void CControlWithItems::MakeItemKey(int index, VARIANT *key) const
{
    ClearKey(key);
    const QString text = GetItemTextOf(index);
    const int count = GetItemCountOf();
    if (text.isEmpty()) {
        SetIndexKey(key, index);
        return;
    }
    for (int other = 0; other < count; ++other) {
        if (other != index && GetItemTextOf(other) == text) {
            SetIndexKey(key, index);
            return;
        }
    }
    SetTextKey(key, text);
}

int CVTableHeaderItems::GetItemCountOf() const
{
    return table->verticalHeader() ? table->rowCount() : 0;
}

QString CVTableHeaderItems::GetItemTextOf(int index) const
{
    return table->verticalHeader() ? table->verticalHeaderItem(index)->text() : QString();
}

int CHTableHeaderItems::GetItemCountOf() const
{
    return table->horizontalHeader() ? table->columnCount() : 0;
}

QString CHTableHeaderItems::GetItemTextOf(int index) const
{
    return table->horizontalHeader() ? table->horizontalHeaderItem(index)->text() : QString();
}

int CTreeWidgetItems::GetItemCountOf() const
{
    return parent->childCount();
}

QString CTreeWidgetItems::GetItemTextOf(int index) const
{
    return parent->child(index)->text(0);
}

int CTreeHeaderItems::GetItemCountOf() const
{
    return tree->header() ? tree->header()->count() : 0;
}

QString CTreeHeaderItems::GetItemTextOf(int index) const
{
    return tree->header() ? tree->headerItem()->text(index) : QString();
}

int CComboBoxItems::GetItemCountOf() const
{
    return combo->count();
}

QString CComboBoxItems::GetItemTextOf(int index) const
{
    return combo->itemText(index);
}

int CTabWidgetItems::GetItemCountOf() const
{
    return tabs->count();
}

QString CTabWidgetItems::GetItemTextOf(int index) const
{
    return StripAccelerators(tabs->tabText(index));
}

int CListWidgetItems::GetItemCountOf() const
{
    return list->count();
}

QString CListWidgetItems::GetItemTextOf(int index) const
{
    return list->item(index)->text();
}

void MakeCellKeys(const QTableWidget *table, int row, int column, VARIANT *rowKey, VARIANT *columnKey)
{
    if (column == -1) {
        CVTableHeaderItems(table).MakeItemKey(row, rowKey);
        return;
    }
    if (row != -1)
        CVTableHeaderItems(table).MakeItemKey(row, rowKey);
    CHTableHeaderItems(table).MakeItemKey(column, columnKey);
}

void MakeHeaderKey(const QHeaderView *header, int index, VARIANT *key)
{
    ClearKey(key);
    const QAbstractItemModel *model = header ? header->model() : nullptr;
    if (!model) {
        SetIndexKey(key, index);
        return;
    }
    const int logical = header->logicalIndex(index);
    const QVariant value = model->headerData(logical, header->orientation(), 0);
    // Deliberate: the whole header is read, without stopping at the first
    // equal section.
    bool shared = false;
    for (int section = 0; section < header->count(); ++section) {
        if (section != logical && model->headerData(section, header->orientation(), 0) == value)
            shared = true;
    }
    if (shared)
        SetIndexKey(key, index);
    else
        SetValueKey(key, value, index);
}

void MakeCellKeysOfView(const QTableView *view, const QModelIndex &index, VARIANT *rowKey, VARIANT *columnKey)
{
    MakeHeaderKey(view->verticalHeader(), index.row(), rowKey);
    MakeHeaderKey(view->horizontalHeader(), index.column(), columnKey);
}

void MakeListIndexKey(const QListView *view, const QModelIndex &index, VARIANT *key)
{
    ClearKey(key);
    const QVariant value = index.data(0);
    const QAbstractItemModel *model = view->model();
    if (!model || value.userType() != QMetaType::QString) {
        SetIndexKey(key, index.row());
        return;
    }
    const QModelIndex root = view->rootIndex();
    const int rows = model->rowCount(root);
    for (int row = 0; row < rows; ++row) {
        const QModelIndex other = model->index(row, view->modelColumn(), root);
        if (other != index && other.data(0) == value) {
            SetIndexKey(key, index.row());
            return;
        }
    }
    SetValueKey(key, value, index.row());
}

void MakeTreeItemPath(const QTreeWidget *tree, const QTreeWidgetItem *item, std::vector<VARIANT> &path)
{
    const QTreeWidgetItem *parent = item->parent();
    if (parent)
        MakeTreeItemPath(tree, parent, path);
    else
        parent = tree->invisibleRootItem();
    VARIANT key;
    VariantInit(&key);
    path.push_back(key);
    CTreeWidgetItems(parent).MakeItemKey(parent->indexOfChild(const_cast<QTreeWidgetItem *>(item)), &path.back());
}

QString StripAccelerators(QString caption)
{
    const QChar mark(QLatin1Char('&'));
    int position = caption.indexOf(mark);
    while (position >= 0) {
        const bool doubledAfter = position + 1 < caption.size() && caption.at(position + 1) == mark;
        const bool doubledBefore = position > 0 && caption.at(position - 1) == mark;
        if (doubledAfter || doubledBefore) {
            position = caption.indexOf(mark, position + 1);
            continue;
        }
        caption.remove(position, 1);
        position = caption.indexOf(mark, position);
    }
    return caption.replace(QStringLiteral("&&"), QStringLiteral("&"));
}
