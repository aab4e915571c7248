#include "events/itemlisteners.h"

#include <QHeaderView>
#include <QListView>
#include <QTableView>
#include <QTableWidget>
#include <QTreeWidget>

#include "controls/itemkeys.h"
#include "events/eventvalues.h"

namespace {

// The list's and the table's connections. The double-click signal's name
// is misspelt on purpose: Qt refuses that connection with a warning, and
// double clicks on lists and tables report only their clicks.
void ConnectIndexClicks(CQObjectListener *listener)
{
    listener->ConnectSignal("2clicked(QModelIndex)", "1handleClicked(QModelIndex)");
    listener->ConnectSignal("2dobuleClicked(QModelIndex)", "1handleDoubleClicked(QModelIndex)");
}

} // namespace

void CQListWidgetListener::Attach()
{
    CQObjectListener::Attach();
    ConnectIndexClicks(this);
}

void CQListWidgetListener::handleClicked(const QModelIndex &index)
{
    Report(index, false);
}

void CQListWidgetListener::handleDoubleClicked(const QModelIndex &index)
{
    Report(index, true);
}

void CQListWidgetListener::Report(const QModelIndex &index, bool doubleClick)
{
    RunHandler([&] {
        const auto *list = qobject_cast<QListView *>(sender);
        if (!list)
            return;
        OwnedVariant key;
        MakeListIndexKey(list, index, key.get());
        // The flag travels as the extra pointer's value itself.
        Notify(&EventListItemClicked, key.bits(), reinterpret_cast<void *>(uintptr_t(doubleClick)));
    });
}

void CQTableWidgetListener::Attach()
{
    CQObjectListener::Attach();
    ConnectIndexClicks(this);
}

void CQTableWidgetListener::handleClicked(const QModelIndex &index)
{
    Report(index, false);
}

void CQTableWidgetListener::handleDoubleClicked(const QModelIndex &index)
{
    Report(index, true);
}

void CQTableWidgetListener::Report(const QModelIndex &index, bool doubleClick)
{
    RunHandler([&] {
        const auto *table = qobject_cast<QTableView *>(sender);
        if (!table)
            return;
        OwnedVariant rowKey, columnKey;
        MakeCellKeysOfView(table, index, rowKey.get(), columnKey.get());
        ColumnClickRecord record{ columnKey.bits(), uint8_t(doubleClick) };
        Notify(&EventTableCellClicked, rowKey.bits(), &record);
    });
}

void CQTreeWidgetListener::Attach()
{
    CQObjectListener::Attach();
    ConnectSignal("2itemClicked(QTreeWidgetItem*, int)", "1handleItemClicked(QTreeWidgetItem*, int)");
    ConnectSignal("2itemDoubleClicked(QTreeWidgetItem*, int)", "1handleItemDoubleClicked(QTreeWidgetItem*, int)");
    ConnectSignal("2itemExpanded(QTreeWidgetItem*)", "1handleItemExpanded(QTreeWidgetItem*)");
    ConnectSignal("2itemCollapsed(QTreeWidgetItem*)", "1handleItemCollapsed(QTreeWidgetItem*)");
}

void CQTreeWidgetListener::handleItemClicked(QTreeWidgetItem *item, int column)
{
    ReportClick(item, column, false);
}

void CQTreeWidgetListener::handleItemDoubleClicked(QTreeWidgetItem *item, int column)
{
    ReportClick(item, column, true);
}

void CQTreeWidgetListener::handleItemExpanded(QTreeWidgetItem *item)
{
    ReportPath(EventTreeItemExpanded, item);
}

void CQTreeWidgetListener::handleItemCollapsed(QTreeWidgetItem *item)
{
    ReportPath(EventTreeItemCollapsed, item);
}

void CQTreeWidgetListener::ReportClick(QTreeWidgetItem *item, int column, bool doubleClick)
{
    RunHandler([&] {
        const auto *tree = qobject_cast<QTreeWidget *>(sender);
        if (!tree || !item)
            return;
        OwnedVariant path, columnKey;
        MakeTreePathText(tree, item, path.get());
        CTreeHeaderItems(tree).MakeItemKey(column, columnKey.get());
        ColumnClickRecord record{ columnKey.bits(), uint8_t(doubleClick) };
        Notify(&EventTreeItemClicked, path.bits(), &record);
    });
}

void CQTreeWidgetListener::ReportPath(const GUID &eventId, QTreeWidgetItem *item)
{
    RunHandler([&] {
        const auto *tree = qobject_cast<QTreeWidget *>(sender);
        if (!tree || !item)
            return;
        OwnedVariant path;
        MakeTreePathText(tree, item, path.get());
        Notify(&eventId, path.bits(), nullptr);
    });
}

void CQHeaderViewListener::Attach()
{
    CQObjectListener::Attach();
    // Deliberately the press, not sectionClicked.
    ConnectSignal("2sectionPressed(int)", "1handleSectionClicked(int)");
    ConnectSignal("2sectionDoubleClicked(int)", "1handleSectionDoubleClicked(int)");
}

void CQHeaderViewListener::handleSectionClicked(int index)
{
    Report(index, false);
}

void CQHeaderViewListener::handleSectionDoubleClicked(int index)
{
    Report(index, true);
}

void CQHeaderViewListener::Report(int section, bool doubleClick)
{
    RunHandler([&] {
        const auto *header = qobject_cast<QHeaderView *>(sender);
        const auto *table = header ? qobject_cast<QTableWidget *>(header->parent()) : nullptr;
        if (!table)
            return;
        uint8_t vertical;
        if (header == table->verticalHeader())
            vertical = 1;
        else if (header == table->horizontalHeader())
            vertical = 0;
        else
            return;
        OwnedVariant key;
        MakeHeaderKey(header, section, key.get());
        HeaderClickRecord record{ uint8_t(doubleClick), vertical, { 0, 0 }, SubscriptionTableWidget };
        Notify(&EventHeaderSectionClicked, key.bits(), &record);
    });
}
