#include "listspage.h"

#include <QAction>
#include <QGridLayout>
#include <QHeaderView>
#include <QListWidget>
#include <QStyle>
#include <QTableWidget>
#include <QTreeWidget>

#include <iterator>

#include "captioned.h"

namespace {

// Mail folders, data rather than captions, so untranslated; depth 0 is a
// top-level item. Siblings share names on purpose (two "Weekly report"s,
// two "agenda.pdf"s).
struct TreeRow
{
    int depth;
    const char *name;
    const char *size;
};

const TreeRow mailFolders[] = {
    { 0, "Inbox", "" },
    { 1, "Weekly report", "24 KB" },
    { 2, "agenda.pdf", "12 KB" },
    { 2, "agenda.pdf", "11 KB" },
    { 1, "Weekly report", "8 KB" },
    { 2, "minutes.txt", "2 KB" },
    { 1, "Invoice 2024-06", "96 KB" },
    { 2, "invoice.pdf", "90 KB" },
    { 2, "terms.txt", "6 KB" },
    { 0, "Archive", "" },
    { 1, "2023", "" },
    { 2, "Weekly report", "20 KB" },
    { 2, "Weekly report", "22 KB" },
    { 1, "2022", "" },
    { 2, "Holiday photos", "4.1 MB" },
    { 0, "Drafts", "" },
};

// Null leaves the cell without an item, as a sparsely filled table does.
const char *const orderCells[][4] = {
    { "Pencil", "12", "0.50", nullptr },
    { "Notebook", "3", "2.95", "ruled" },
    { "Eraser", nullptr, "0.80", nullptr },
    { "Pencil", "4", "0.50", "second order" },
    { nullptr, nullptr, nullptr, nullptr },
    { "Ruler", "1", "1.20", "" },
};

} // namespace

ListsPage::ListsPage(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("listsPage"));
    auto *layout = new QGridLayout(this);

    m_list = createList();
    addCaptioned(layout, tr("Fruit:"), m_list, 0, 0);
    addCaptioned(layout, tr("Mail folders:"), createTree(), 0, 1);
    addCaptioned(layout, tr("Tasks (drag to reorder):"), createTaskList(), 0, 2);
    addCaptioned(layout, tr("Orders:"), createTable(), 2, 0, 3);
    layout->setColumnStretch(1, 1);
}

QListWidget *ListsPage::createList()
{
    auto *list = new QListWidget;
    list->setObjectName(QStringLiteral("itemList"));
    // Blank and repeated texts are deliberate: rows must be told apart by
    // position, not by what they say.
    list->addItems({ QStringLiteral("Apple"), QStringLiteral("Banana"), QString(), QStringLiteral("Cherry"),
                     QStringLiteral("Banana"), QStringLiteral("Date"), QString(), QStringLiteral("Elderberry") });

    auto *fig = new QListWidgetItem(style()->standardIcon(QStyle::SP_DialogYesButton), QStringLiteral("Fig"), list);
    fig->setToolTip(tr("In season"));
    auto *grape = new QListWidgetItem(QStringLiteral("Grape"), list);
    grape->setFlags(grape->flags() | Qt::ItemIsUserCheckable);
    grape->setCheckState(Qt::Checked);
    auto *honeydew = new QListWidgetItem(QStringLiteral("Honeydew (sold out)"), list);
    honeydew->setFlags(honeydew->flags() & ~Qt::ItemIsEnabled);

    // The list's own actions are its context menu.
    list->setContextMenuPolicy(Qt::ActionsContextMenu);
    auto *addAction = new QAction(tr("&Add Item"), list);
    addAction->setObjectName(QStringLiteral("addItemAction"));
    // With the list as context: the connections end with it.
    connect(addAction, &QAction::triggered, list, [this] {
        m_list->addItem(tr("New item %1").arg(m_list->count() + 1));
        emit activity(tr("List: item added"));
    });
    auto *removeAction = new QAction(tr("&Remove Item"), list);
    connect(removeAction, &QAction::triggered, list, [this] {
        const int row = m_list->currentRow();
        if (row < 0)
            return;
        delete m_list->takeItem(row);
        emit activity(tr("List: row %1 removed").arg(row));
    });
    auto *separator = new QAction(list);
    separator->setSeparator(true);
    auto *sortAction = new QAction(tr("&Sort"), list);
    connect(sortAction, &QAction::triggered, list, [this] {
        m_list->sortItems();
        emit activity(tr("List: sorted"));
    });
    list->addActions({ addAction, removeAction, separator, sortAction });
    return list;
}

QListWidget *ListsPage::createTaskList()
{
    auto *tasks = new QListWidget;
    tasks->setObjectName(QStringLiteral("taskList"));
    tasks->addItems({ tr("Write"), tr("Review"), tr("Test"), tr("Ship") });
    tasks->setDragDropMode(QAbstractItemView::InternalMove);
    // Short words: narrow, so that the tree beside it keeps its room.
    tasks->setMaximumWidth(tasks->fontMetrics().horizontalAdvance(QStringLiteral("Review")) * 3);
    connect(tasks->model(), &QAbstractItemModel::rowsMoved, this, [this, tasks] {
        QStringList order;
        for (int row = 0; row < tasks->count(); ++row)
            order.append(tasks->item(row)->text());
        emit activity(tr("Tasks: %1").arg(order.join(QStringLiteral(", "))));
    });
    return tasks;
}

QTreeWidget *ListsPage::createTree()
{
    auto *tree = new QTreeWidget;
    tree->setObjectName(QStringLiteral("itemTree"));
    tree->setHeaderLabels({ tr("Name"), tr("Size") });

    QTreeWidgetItem *parents[3] = {};
    for (const TreeRow &row : mailFolders) {
        const QStringList columns{ QString::fromUtf8(row.name), QString::fromUtf8(row.size) };
        auto *item = row.depth == 0 ? new QTreeWidgetItem(tree, columns) : new QTreeWidgetItem(parents[row.depth - 1], columns);
        parents[row.depth] = item;
    }
    tree->topLevelItem(0)->setExpanded(true);
    tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    tree->header()->setStretchLastSection(false);
    connect(tree, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem *item) {
        emit activity(tr("Tree: %1 opened").arg(item->text(0)));
    });
    return tree;
}

QTableWidget *ListsPage::createTable()
{
    const int rows = int(std::size(orderCells));
    const int columns = int(std::size(orderCells[0]));
    auto *table = new QTableWidget(rows, columns);
    table->setObjectName(QStringLiteral("itemTable"));
    const QString headers[] = { tr("Product"), tr("Quantity"), tr("Price"), tr("Notes") };
    for (int column = 0; column < columns; ++column)
        table->setHorizontalHeaderItem(column, new QTableWidgetItem(headers[column]));
    // One row header of its own among the numbered ones.
    table->setVerticalHeaderItem(rows - 1, new QTableWidgetItem(tr("Extra")));

    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            if (const char *text = orderCells[row][column])
                table->setItem(row, column, new QTableWidgetItem(QString::fromUtf8(text)));
        }
    }
    table->horizontalHeader()->setStretchLastSection(true);
    connect(table, &QTableWidget::cellClicked, this, [this, headers](int row, int column) {
        emit activity(tr("Orders: row %1, %2 clicked").arg(row + 1).arg(headers[column]));
    });
    return table;
}
