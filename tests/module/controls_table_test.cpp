// The table helper through the manager, on a real QTableWidget and on a
// QTableView over a QStandardItemModel (the model path): cells with and
// without items, header sections by -1, their rectangles against what Qt
// says, and scrolling.
#include <QHeaderView>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTableView>
#include <QTableWidget>

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

class ItemViewsTable : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        tables = helper<IvrQtTableWidgetHelper>(IID_IvrQtTableWidgetHelper);
        ASSERT_TRUE(tables);
        window.setGeometry(100, 100, 520, 520);
        table.setGeometry(15, 25, 400, 250);
        for (int row = 0; row < table.rowCount(); ++row) {
            for (int column = 0; column < table.columnCount(); ++column)
                table.setItem(row, column, new QTableWidgetItem(QString("r%1c%2").arg(row).arg(column)));
        }
        delete table.takeItem(1, 2);
        QStringList labels;
        for (int column = 0; column < table.columnCount(); ++column)
            labels << QString("H%1").arg(column);
        table.setHorizontalHeaderLabels(labels);
        model.setHorizontalHeaderLabels({ "M0", "M1", "M2", "M3" });
        for (int row = 0; row < model.rowCount(); ++row) {
            for (int column = 0; column < model.columnCount(); ++column)
                model.setItem(row, column, new QStandardItem(QString("m%1%2").arg(row).arg(column)));
        }
        view.setModel(&model);
        view.setGeometry(15, 290, 400, 200);
        ASSERT_TRUE(showAndWait(&window));
    }

    void TearDown() override
    {
        tables.reset();
        ModuleTest::TearDown();
    }

    Ref<IvrQtTableWidgetHelper> tables;
    QWidget window;
    QTableWidget table{ 40, 10, &window };
    QStandardItemModel model{ 3, 4 };
    QTableView view{ &window };
};

} // namespace

TEST_F(ItemViewsTable, CellsWithoutAnItemReadAndWriteTheModel)
{
    struct Row {
        const char *name;
        QWidget *widget;
        int row, column;
        const char *before;
        HRESULT written;
        const char *after;
    };
    const Row rows[] = {
        { "item", &table, 3, 4, "r3c4", S_OK, "new" },
        { "cell without an item", &table, 1, 2, "<null>", S_OK, "new" },
        { "cell out of range", &table, 99, 0, "<null>", E_FAIL, "<null>" },
        { "model cell", &view, 2, 1, "m21", S_OK, "new" },
    };
    const BSTR text = SysAllocString(u"new");
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.before, textOf([&](BSTR *out) { return tables->GetCellText(row.widget, row.row, row.column, out); }));
        EXPECT_EQ(row.written, tables->SetCellText(row.widget, row.row, row.column, text));
        EXPECT_EQ(row.after, textOf([&](BSTR *out) { return tables->GetCellText(row.widget, row.row, row.column, out); }));
    }
    SysFreeString(text);
    // The write went through setData, which made the missing item.
    ASSERT_NE(nullptr, table.item(1, 2));
    EXPECT_EQ("new", table.item(1, 2)->text());
}

TEST_F(ItemViewsTable, HeaderTextsTakeLogicalIndexesFromItemsAndVisualOnesFromTheModel)
{
    table.horizontalHeader()->moveSection(0, 3);
    table.verticalHeader()->moveSection(0, 2);
    view.horizontalHeader()->moveSection(0, 3);
    ASSERT_EQ(1, view.horizontalHeader()->logicalIndex(0));
    struct Row {
        const char *name;
        QWidget *widget;
        bool horizontal;
        int index;
        const char *text;
    };
    const Row rows[] = {
        // The deliberate asymmetry: an item is found by the index as logical.
        { "header item", &table, true, 0, "H0" },
        { "section without an item: visual", &table, false, 0, "2" },
        { "model header: visual", &view, true, 0, "M1" },
        { "model header not moved", &view, false, 1, "2" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.text, textOf([&](BSTR *out) {
                      return row.horizontal ? tables->GetHorizontalHeaderText(row.widget, row.index, out)
                                            : tables->GetVerticalHeaderText(row.widget, row.index, out);
                  }));
    }
}

TEST_F(ItemViewsTable, CellAndSectionRectsAgainstQt)
{
    table.verticalHeader()->moveSection(0, 3);
    table.hideRow(6);
    const QHeaderView *rows = table.verticalHeader();
    const QHeaderView *columns = table.horizontalHeader();
    const QRect cell = table.visualRect(table.model()->index(2, 3));
    const int rowSection = rows->logicalIndex(2);
    const int columnSection = columns->logicalIndex(3);
    struct Row {
        const char *name;
        int row, column;
        HRESULT result;
        QRect expected;
    };
    const Row cases[] = {
        { "cell", 2, 3, S_OK, QRect(inWindow(table.viewport(), cell.topLeft()), cell.size()) },
        { "vertical section by visual index", 2, -1, S_OK,
          QRect(inWindow(rows->viewport(), QPoint(rows->viewport()->x(), rows->sectionViewportPosition(rowSection))),
                QSize(rows->viewport()->width(), rows->sectionSize(rowSection))) },
        { "horizontal section", -1, 3, S_OK,
          QRect(inWindow(columns->viewport(),
                         QPoint(columns->sectionViewportPosition(columnSection), columns->viewport()->y())),
                QSize(columns->sectionSize(columnSection), columns->viewport()->height())) },
        { "both -1: an empty rectangle, mapped", -1, -1, S_OK, QRect(inWindow(table.viewport(), QPoint()), QSize(0, 0)) },
        { "hidden row section", 6, -1, E_FAIL, QRect(-1, -1, -1, -1) },
        { "section out of range", 99, -1, E_FAIL, QRect(-1, -1, -1, -1) },
        { "cell out of range", 99, 0, S_OK, QRect(inWindow(table.viewport(), QPoint()), QSize(0, 0)) },
    };
    for (const Row &row : cases) {
        SCOPED_TRACE(row.name);
        int x = 7, y = 7, width = 7, height = 7;
        EXPECT_EQ(row.result, tables->GetCellRect(&table, row.row, row.column, &x, &y, &width, &height));
        EXPECT_EQ(row.expected, QRect(x, y, width, height));
    }
    ASSERT_NE(QPoint(), inWindow(table.viewport(), QPoint()));
    EXPECT_EQ(E_POINTER, tables->GetCellRect(&table, 0, 0, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(ItemViewsTable, ScrollToCellReachesTheItemOrFailsOutOfRange)
{
    const auto shows = [this](int row, int column) {
        return table.viewport()->rect().contains(table.visualRect(table.model()->index(row, column)));
    };
    const auto scrollAway = [this] {
        table.scrollToBottom();
        table.horizontalScrollBar()->setValue(table.horizontalScrollBar()->maximum());
    };
    struct Row {
        const char *name;
        int row, column;
        HRESULT result;
        int shownRow, shownColumn;
    };
    const Row rows[] = {
        { "row -1 takes row 0", -1, 3, S_OK, 0, 3 },
        { "column -1 takes column 0", 5, -1, S_OK, 5, 0 },
        { "cell without an item: the model path", 1, 2, S_OK, 1, 2 },
        { "column past the last of ten", 2, 99, E_FAIL, -1, -1 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        scrollAway();
        ASSERT_FALSE(shows(0, 0));
        EXPECT_EQ(row.result, tables->ScrollToCell(&table, row.row, row.column));
        if (row.shownRow >= 0)
            EXPECT_TRUE(shows(row.shownRow, row.shownColumn));
        else
            EXPECT_FALSE(shows(0, 0));
    }
}

TEST_F(ItemViewsTable, ColumnsAreItsItemsAndItHasThreeViewports)
{
    const auto items = tables.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    const auto ports = tables.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    ASSERT_TRUE(items && ports);
    int columns = -2;
    EXPECT_EQ(S_OK, items->GetItemCount(&table, &columns));
    EXPECT_EQ(10, columns);

    QWidget *const expected[] = { table.viewport(), table.verticalHeader()->viewport(),
                                  table.horizontalHeader()->viewport(), nullptr };
    for (int which = 0; which < 4; ++which) {
        QWidget *viewport = &window;
        EXPECT_EQ(which < 3 ? S_OK : E_INVALIDARG, ports->GetViewPort(&table, which, &viewport));
        EXPECT_EQ(expected[which], viewport);
    }
}
