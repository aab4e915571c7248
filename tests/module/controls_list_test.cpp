// The list helper through the manager, on a real QListWidget and on a
// QListView over a QStringListModel (the model path); which interfaces the
// manager and the helpers answer; and dead addresses handed to every
// operation of the list, table and tree helpers.
#include <QLabel>
#include <QListView>
#include <QListWidget>
#include <QStringListModel>
#include <QTableWidget>
#include <QTreeWidget>

#include <functional>
#include <tuple>
#include <vector>

#include "modulesupport.h"

using namespace moduletest;

namespace {

// Where a point of widget lies for the window that carries it, by Qt's own
// mapping: window coordinates plus the frame's offset.
QPoint inWindow(const QWidget *widget, QPoint point)
{
    const QWidget *window = widget->window();
    return widget->mapTo(window, point) + (window->geometry().topLeft() - window->frameGeometry().topLeft());
}

// The rows a GetSelectedItems answer holds; the VARIANT is cleared.
std::vector<LONG> rowsOf(VARIANT &rows)
{
    std::vector<LONG> result;
    EXPECT_EQ(VT_ARRAY | VT_I4, V_VT(&rows));
    if (V_VT(&rows) != (VT_ARRAY | VT_I4))
        return result;
    LONG lower = -1, upper = -2;
    SafeArrayGetLBound(V_ARRAY(&rows), 1, &lower);
    SafeArrayGetUBound(V_ARRAY(&rows), 1, &upper);
    EXPECT_EQ(0, lower);
    for (LONG index = lower; index <= upper; ++index) {
        LONG row = -1;
        SafeArrayGetElement(V_ARRAY(&rows), &index, &row);
        result.push_back(row);
    }
    VariantClear(&rows);
    return result;
}

class ItemViewsList : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        lists = helper<IvrQtListWidgetHelper>(IID_IvrQtListWidgetHelper);
        ASSERT_TRUE(lists);
        views = lists.query<IvrQtListViewHelper>(IID_IvrQtListViewHelper);
        ASSERT_TRUE(views);
        items = lists.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
        ports = lists.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
        ASSERT_TRUE(items && ports);
        window.setGeometry(100, 100, 300, 320);
        list.setGeometry(20, 30, 200, 150);
        list.addItems({ "alpha", "beta", "gamma", "delta", "epsilon" });
        model.setStringList({ "one", "two", "three" });
        view.setModel(&model);
        view.setGeometry(20, 200, 200, 100);
        ASSERT_TRUE(showAndWait(&window));
    }

    void TearDown() override
    {
        ports.reset();
        items.reset();
        views.reset();
        lists.reset();
        ModuleTest::TearDown();
    }

    std::vector<LONG> selectedRows(QWidget *widget)
    {
        VARIANT rows;
        VariantInit(&rows);
        EXPECT_EQ(S_OK, lists->GetSelectedItems(widget, &rows));
        return rowsOf(rows);
    }

    Ref<IvrQtListWidgetHelper> lists;
    Ref<IvrQtListViewHelper> views;
    Ref<IvrQtBaseItemsWidgetHelper> items;
    Ref<IvrQtViewPortProviderHelper> ports;
    QWidget window;
    QListWidget list{ &window };
    QStringListModel model;
    QListView view{ &window };
    QListView bare{ &window };
};

} // namespace

TEST_F(ItemViewsList, ManagerAnswersPrimariesOnlyAndHelpersTheirOwnTables)
{
    struct Row {
        const char *name;
        const IID *primary;
        const IID *viewTable;
    };
    const Row rows[] = {
        { "list", &IID_IvrQtListWidgetHelper, &IID_IvrQtListViewHelper },
        { "table", &IID_IvrQtTableWidgetHelper, &IID_IvrQtTableViewHelper },
        { "tree", &IID_IvrQtTreeWidgetHelper, &IID_IvrQtTreeViewHelper },
    };
    EXPECT_FALSE(helper<IUnknown>(IID_IvrQtViewPortProviderHelper));
    EXPECT_FALSE(helper<IUnknown>(IID_IvrQtBaseItemsWidgetHelper));
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_FALSE(helper<IUnknown>(*row.viewTable));
        const Ref<IUnknown> primary = helper<IUnknown>(*row.primary);
        ASSERT_TRUE(primary);
        for (const IID *further : { row.viewTable, &IID_IvrQtViewPortProviderHelper, &IID_IvrQtBaseItemsWidgetHelper })
            EXPECT_TRUE(primary.query<IUnknown>(*further));
        EXPECT_FALSE(primary.query<IUnknown>(IID_IvrQtRectProviderHelper));
        // IUnknown answers with the primary table, from any table.
        const Ref<IUnknown> viewTable = primary.query<IUnknown>(*row.viewTable);
        EXPECT_EQ(primary.get(), viewTable.query<IUnknown>(IID_IUnknown).get());
    }
}

TEST_F(ItemViewsList, TextsFromItemsAndFromTheModel)
{
    struct Row {
        const char *name;
        QWidget *widget;
        int row;
        const char *text;
    };
    const Row rows[] = {
        { "item", &list, 1, "beta" },
        { "row past the end: the model path, empty", &list, 99, "<null>" },
        { "row -1", &list, -1, "<null>" },
        { "model row", &view, 2, "three" },
        { "view without a model", &bare, 0, "<null>" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.text, textOf([&](BSTR *text) { return lists->GetItemText(row.widget, row.row, text); }));
        EXPECT_EQ(row.text, textOf([&](BSTR *text) { return views->GetItemText(row.widget, row.row, text); }));
    }
    EXPECT_EQ(E_POINTER, lists->GetItemText(&list, 0, nullptr));
}

TEST_F(ItemViewsList, SelectionOnlyForMinusOneAndRowsInSelectionOrder)
{
    list.setSelectionMode(QAbstractItemView::MultiSelection);
    // Only -1 selects; 1, like 0, deselects.
    for (VARIANT_BOOL selected : { VARIANT_TRUE, VARIANT_BOOL(1), VARIANT_TRUE, VARIANT_FALSE }) {
        SCOPED_TRACE(selected);
        EXPECT_EQ(S_OK, lists->SelectItem(&list, 2, selected));
        EXPECT_EQ(selected == VARIANT_TRUE, list.item(2)->isSelected());
        VARIANT_BOOL answer = 7;
        EXPECT_EQ(S_OK, lists->IsItemSelected(&list, 2, &answer));
        EXPECT_EQ(selected == VARIANT_TRUE ? VARIANT_TRUE : VARIANT_FALSE, answer);
    }
    EXPECT_EQ(E_FAIL, lists->SelectItem(&list, 99, VARIANT_TRUE));
    EXPECT_EQ(E_FAIL, lists->SelectItem(&bare, 0, VARIANT_TRUE));
    EXPECT_EQ(S_OK, lists->SelectItem(&view, 1, VARIANT_TRUE));

    EXPECT_EQ(std::vector<LONG>{}, selectedRows(&list));
    for (int row : { 3, 0, 4 })
        list.item(row)->setSelected(true);
    EXPECT_EQ((std::vector<LONG>{ 3, 0, 4 }), selectedRows(&list));
    view.selectionModel()->select(model.index(0), QItemSelectionModel::Select);
    EXPECT_EQ((std::vector<LONG>{ 1, 0 }), selectedRows(&view));
    EXPECT_EQ(std::vector<LONG>{}, selectedRows(&bare));

    EXPECT_EQ(S_OK, items->SetAllSelected(&list, VARIANT_TRUE));
    EXPECT_EQ(5, list.selectedItems().size());
    EXPECT_EQ(S_OK, items->SetAllSelected(&list, 1));
    EXPECT_TRUE(list.selectedItems().isEmpty());
}

TEST_F(ItemViewsList, ItemRectsMapToTheWindowWhileTheModelPathStaysInTheViewport)
{
    int x = -5, y = -5, width = -5, height = -5;
    ASSERT_EQ(S_OK, lists->GetItemRect(&list, 2, &x, &y, &width, &height));
    const QRect item = list.visualItemRect(list.item(2));
    EXPECT_EQ(QRect(inWindow(list.viewport(), item.topLeft()), item.size()), QRect(x, y, width, height));

    ASSERT_EQ(S_OK, lists->GetItemRect(&view, 1, &x, &y, &width, &height));
    EXPECT_EQ(view.visualRect(model.index(1)), QRect(x, y, width, height));
    ASSERT_NE(view.visualRect(model.index(1)).topLeft(), inWindow(view.viewport(), view.visualRect(model.index(1)).topLeft()));

    // No item: the model path, where the index is invalid.
    ASSERT_EQ(S_OK, lists->GetItemRect(&list, 99, &x, &y, &width, &height));
    EXPECT_EQ(QRect(0, 0, 0, 0), QRect(x, y, width, height));

    x = y = width = height = -5;
    EXPECT_EQ(E_FAIL, lists->GetItemRect(&bare, 0, &x, &y, &width, &height));
    EXPECT_EQ(QRect(-5, -5, -5, -5), QRect(x, y, width, height));
}

TEST_F(ItemViewsList, ScrollingCurrentRowAndViewport)
{
    for (int row = 5; row < 200; ++row)
        list.addItem(QString::number(row));
    model.setStringList(QString(199, ' ').split(' '));
    const auto shows = [](QListView *view, int row) {
        return view->viewport()->rect().contains(view->visualRect(view->model()->index(row, 0)));
    };
    struct Row {
        const char *name;
        QListView *view;
        int row;
    };
    for (const Row &row : { Row{ "item", &list, 150 }, Row{ "model", &view, 180 } }) {
        SCOPED_TRACE(row.name);
        ASSERT_FALSE(shows(row.view, row.row));
        EXPECT_EQ(S_OK, lists->ScrollToItem(row.view, row.row));
        EXPECT_TRUE(shows(row.view, row.row));
    }
    EXPECT_EQ(E_FAIL, lists->ScrollToItem(&bare, 0));

    list.setCurrentRow(7);
    view.setCurrentIndex(model.index(9));
    int current = -2;
    EXPECT_EQ(S_OK, lists->GetCurrentRow(&list, &current));
    EXPECT_EQ(7, current);
    EXPECT_EQ(S_OK, lists->GetCurrentRow(&view, &current));
    EXPECT_EQ(9, current);
    QWidget *viewport = &window;
    EXPECT_EQ(E_INVALIDARG, ports->GetViewPort(&list, 1, &viewport));
    EXPECT_EQ(nullptr, viewport);
}

// Every operation of the three helpers, handed the address of a widget that
// was deleted, of another class, or null: E_FAIL, nothing stored, and the
// application lives on.
TEST_F(ItemViewsList, DeadAndForeignAddressesGiveResultCodes)
{
    const auto tables = helper<IvrQtTableWidgetHelper>(IID_IvrQtTableWidgetHelper);
    const auto trees = helper<IvrQtTreeWidgetHelper>(IID_IvrQtTreeWidgetHelper);
    ASSERT_TRUE(tables && trees);
    const auto tableItems = tables.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    const auto treeItems = trees.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    const auto tablePort = tables.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    const auto treePort = trees.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    VARIANT path;
    VariantInit(&path);
    V_VT(&path) = VT_I4;
    V_I4(&path) = -1;
    int x = 0, y = 0, w = 0, h = 0, number = 0, at = 0;
    VARIANT_BOOL flag = 0;
    VARIANT rows;
    VariantInit(&rows);
    QWidget *port = nullptr;
    Bstr text;
    using Operations = std::vector<std::function<HRESULT(QWidget *)>>;
    const Operations listOperations = {
        [&](QWidget *v) { return lists->GetSelectedItems(v, &rows); },
        [&](QWidget *v) { return lists->IsItemSelected(v, 0, &flag); },
        [&](QWidget *v) { return lists->GetItemText(v, 0, text.out()); },
        [&](QWidget *v) { return lists->GetItemRect(v, 0, &x, &y, &w, &h); },
        [&](QWidget *v) { return lists->SelectItem(v, 0, VARIANT_TRUE); },
        [&](QWidget *v) { return lists->GetCurrentRow(v, &number); },
        [&](QWidget *v) { return lists->ScrollToItem(v, 0); },
        [&](QWidget *v) { return items->GetItemCount(v, &number); },
        [&](QWidget *v) { return items->GetSelectionMode(v, &number); },
        [&](QWidget *v) { return items->SetAllSelected(v, VARIANT_TRUE); },
        [&](QWidget *v) { return ports->GetViewPort(v, 0, &port); },
    };
    const Operations tableOperations = {
        [&](QWidget *v) { return tables->GetRowCount(v, &number); },
        [&](QWidget *v) { return tables->GetHorizontalHeaderText(v, 0, text.out()); },
        [&](QWidget *v) { return tables->GetVerticalHeaderText(v, 0, text.out()); },
        [&](QWidget *v) { return tables->GetCellText(v, 0, 0, text.out()); },
        [&](QWidget *v) { return tables->SetCellText(v, 0, 0, nullptr); },
        [&](QWidget *v) { return tables->GetCellRect(v, 0, 0, &x, &y, &w, &h); },
        [&](QWidget *v) { return tables->ScrollToCell(v, 0, 0); },
        [&](QWidget *v) { return tableItems->GetItemCount(v, &number); },
        [&](QWidget *v) { return tableItems->GetSelectionMode(v, &number); },
        [&](QWidget *v) { return tableItems->SetAllSelected(v, VARIANT_TRUE); },
        [&](QWidget *v) { return tablePort->GetViewPort(v, 0, &port); },
    };
    const Operations treeOperations = {
        [&](QWidget *v) { return trees->GetChildCount(v, path, &number, &at); },
        [&](QWidget *v) { return trees->GetItemText(v, path, 0, text.out(), &at); },
        [&](QWidget *v) { return trees->IsItemExpanded(v, path, &flag, &at); },
        [&](QWidget *v) { return trees->IsItemSelected(v, path, &flag, &at); },
        [&](QWidget *v) { return trees->IsItemVisible(v, path, &flag, &at); },
        [&](QWidget *v) { return trees->SetItemExpanded(v, path, VARIANT_TRUE, &at); },
        [&](QWidget *v) { return trees->GetItemRect(v, path, 0, &x, &y, &w, &h, &at); },
        [&](QWidget *v) { return trees->ScrollItemIntoView(v, path, 0, &at); },
        [&](QWidget *v) { return trees->ShowItem(v, path, 0, &at); },
        [&](QWidget *v) { return treeItems->GetItemCount(v, &number); },
        [&](QWidget *v) { return treeItems->GetSelectionMode(v, &number); },
        [&](QWidget *v) { return treeItems->SetAllSelected(v, VARIANT_TRUE); },
        [&](QWidget *v) { return treePort->GetViewPort(v, 0, &port); },
    };

    QWidget *deleted[] = { new QListWidget(&window), new QTableWidget(3, 3, &window), new QTreeWidget(&window) };
    for (QWidget *widget : deleted)
        delete widget;
    QLabel label("not a view", &window);
    struct Row {
        const char *name;
        const Operations &operations;
        QWidget *address;
    };
    const Row cases[] = {
        { "deleted list", listOperations, deleted[0] },   { "label to the list", listOperations, &label },
        { "deleted table", tableOperations, deleted[1] }, { "label to the table", tableOperations, &label },
        { "deleted tree", treeOperations, deleted[2] },   { "label to the tree", treeOperations, &label },
        { "null to the tree", treeOperations, nullptr },
    };
    for (const Row &row : cases) {
        for (size_t operation = 0; operation < row.operations.size(); ++operation) {
            SCOPED_TRACE(testing::Message() << row.name << ", operation " << operation);
            number = x = at = 12345;
            EXPECT_EQ(E_FAIL, row.operations[operation](row.address));
            EXPECT_EQ(std::make_tuple(12345, 12345, 12345), std::make_tuple(number, x, at));
            EXPECT_EQ(VT_EMPTY, V_VT(&rows));
        }
    }
    EXPECT_EQ("beta", textOf([&](BSTR *out) { return lists->GetItemText(&list, 1, out); }));
}
