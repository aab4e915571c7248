// The list helper through the manager, on a real QListWidget and on a
// QListView over a QStringListModel (the model path).
#include <QListView>
#include <QListWidget>
#include <QStringListModel>

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
        items = lists.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
        ASSERT_TRUE(lists && items);
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
        items.reset();
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
    Ref<IvrQtBaseItemsWidgetHelper> items;
    QWidget window;
    QListWidget list{ &window };
    QStringListModel model;
    QListView view{ &window };
    QListView bare{ &window };
};

} // namespace

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
        { "model row", &view, 2, "three" },
        { "view without a model", &bare, 0, "<null>" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.text, textOf([&](BSTR *text) { return lists->GetItemText(row.widget, row.row, text); }));
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

TEST_F(ItemViewsList, ScrollingBringsARowIntoTheViewport)
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
}
