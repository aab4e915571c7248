// The tree helper through the manager, on a real QTreeWidget and on a
// QTreeView over a QStandardItemModel (the model path): paths of texts and
// indexes and where they fail, the header, expansion with its signals and
// its time-out, rectangles against what Qt says, and scrolling an item of a
// long tree into view.
#include <QElapsedTimer>
#include <QHeaderView>
#include <QStandardItemModel>
#include <QTreeView>
#include <QTreeWidget>

#include <atomic>
#include <initializer_list>
#include <thread>

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

// A path as a host builds it: VT_ARRAY|VT_VARIANT, top level first, each
// element a child index (VT_I4) or a text of column 0 (VT_BSTR). It crosses
// by value; this object keeps and frees it.
class Path
{
public:
    struct Element {
        Element(int index) : index(index) {}
        Element(const char *text) : text(text) {}
        int index = 0;
        const char *text = nullptr;
    };

    Path(std::initializer_list<Element> elements)
    {
        SAFEARRAY *array = SafeArrayCreateVector(VT_VARIANT, 0, ULONG(elements.size()));
        LONG position = 0;
        for (const Element &element : elements) {
            VARIANT item;
            VariantInit(&item);
            if (element.text) {
                V_VT(&item) = VT_BSTR;
                V_BSTR(&item) = SysAllocString(reinterpret_cast<const OLECHAR *>(QString(element.text).utf16()));
            } else {
                V_VT(&item) = VT_I4;
                V_I4(&item) = element.index;
            }
            SafeArrayPutElement(array, &position, &item);
            VariantClear(&item);
            ++position;
        }
        VariantInit(&value);
        V_VT(&value) = VT_ARRAY | VT_VARIANT;
        V_ARRAY(&value) = array;
    }
    Path(const Path &) = delete;
    Path &operator=(const Path &) = delete;
    ~Path() { VariantClear(&value); }

    // The integer itself, not inside an array.
    static VARIANT integer(int number)
    {
        VARIANT result;
        VariantInit(&result);
        V_VT(&result) = VT_I4;
        V_I4(&result) = number;
        return result;
    }

    operator VARIANT() const { return value; }

private:
    VARIANT value;
};

class ItemViewsTree : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        trees = helper<IvrQtTreeWidgetHelper>(IID_IvrQtTreeWidgetHelper);
        ASSERT_TRUE(trees);
        window.setGeometry(100, 100, 640, 480);
        tree.setGeometry(10, 20, 300, 200);
        tree.setHeaderLabels({ "Name", "Size", "Kind" });
        docs = new QTreeWidgetItem(&tree, { "docs" });
        for (const char *size : { "1 KB", "2 KB", "3 KB" })
            new QTreeWidgetItem(docs, { QString(size) == "2 KB" ? "b.txt" : "a.txt", size });
        src = new QTreeWidgetItem(&tree, { "src" });
        new QTreeWidgetItem(new QTreeWidgetItem(src, { "main.cpp", "9 KB" }), { "fn" });
        leaf = new QTreeWidgetItem(&tree, { "leaf" });
        secret = new QTreeWidgetItem(&tree, { "secret" });
        secret->setHidden(true);

        longTree.setGeometry(320, 20, 200, 200);
        longTree.setColumnCount(3);
        for (int row = 0; row < 300; ++row)
            new QTreeWidgetItem(new QTreeWidgetItem(&longTree, { QString("item %1").arg(row) }), { QString("child %1").arg(row) });
        for (int column = 0; column < 3; ++column)
            longTree.setColumnWidth(column, 150);

        model.setHorizontalHeaderLabels({ "Name", "Value" });
        QStandardItem *a = new QStandardItem("a");
        a->appendRow({ new QStandardItem("x"), new QStandardItem("x value") });
        a->appendRow({ new QStandardItem("y"), new QStandardItem("y value") });
        model.appendRow(a);
        model.appendRow(new QStandardItem("b"));
        view.setModel(&model);
        view.setGeometry(10, 240, 300, 200);
        ASSERT_TRUE(showAndWait(&window));
    }

    void TearDown() override
    {
        trees.reset();
        ModuleTest::TearDown();
    }

    // The text and failedAt of a GetItemText; "<failed>" for a failure,
    // whose text must stay null.
    std::pair<std::string, int> textAt(QWidget *widget, VARIANT path, int column)
    {
        int failedAt = 99;
        Bstr text;
        const HRESULT hr = trees->GetItemText(widget, path, column, text.out(), &failedAt);
        EXPECT_EQ(FAILED(hr), failedAt != -1);
        if (FAILED(hr)) {
            EXPECT_TRUE(text.isNull());
            return { "<failed>", failedAt };
        }
        return { text.isNull() ? "<null>" : text.utf8(), failedAt };
    }

    Ref<IvrQtTreeWidgetHelper> trees;
    QWidget window;
    QTreeWidget tree{ &window };
    QTreeWidget longTree{ &window };
    QStandardItemModel model;
    QTreeView view{ &window };
    QTreeWidgetItem *docs = nullptr;
    QTreeWidgetItem *src = nullptr;
    QTreeWidgetItem *leaf = nullptr;
    QTreeWidgetItem *secret = nullptr;
};

} // namespace

TEST_F(ItemViewsTree, PathsOfTextsAndIndexesAndWhereTheyFail)
{
    struct Row {
        const char *name;
        QWidget *widget;
        Path path;
        int column;
        const char *text;
        int failedAt;
    };
    const Row rows[] = {
        { "texts", &tree, { "src", "main.cpp", "fn" }, 0, "fn", -1 },
        { "text then index, column 1", &tree, { "docs", 1 }, 1, "2 KB", -1 },
        { "the first of equal texts", &tree, { "docs", "a.txt" }, 1, "1 KB", -1 },
        { "empty path: the invisible root", &tree, {}, 0, "<null>", -1 },
        { "text not found at depth 2", &tree, { "src", "missing" }, 0, "<failed>", 1 },
        { "index past the children", &tree, { "docs", 3 }, 0, "<failed>", 1 },
        { "-1 leading an array fails there", &tree, { -1 }, 0, "<failed>", 0 },
        { "model: texts", &view, { "a", "y" }, 1, "y value", -1 },
        { "model: text not found at depth 2", &view, { "a", "missing" }, 0, "<failed>", 1 },
        // Deliberately silent: an index out of range gives an invalid index
        // and the walk goes on from the root.
        { "model: index out of range is silent", &view, { 9, "b" }, 0, "b", -1 },
        { "model: an array led by -1 is the header", &view, { -1, 5 }, 1, "Value", -1 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(std::make_pair(std::string(row.text), row.failedAt), textAt(row.widget, row.path, row.column));
    }

    // The integer -1 itself is the header in the tree widget, no path in the
    // model path; any other integer is no path.
    EXPECT_EQ(std::make_pair(std::string("Kind"), -1), textAt(&tree, Path::integer(-1), 2));
    EXPECT_EQ(std::make_pair(std::string("<failed>"), 0), textAt(&tree, Path::integer(2), 0));
    EXPECT_EQ(std::make_pair(std::string("<failed>"), 0), textAt(&view, Path::integer(-1), 0));

    int count = 77, failedAt = 77;
    EXPECT_EQ(S_OK, trees->GetChildCount(&tree, Path{}, &count, &failedAt));
    EXPECT_EQ(std::make_pair(4, -1), std::make_pair(count, failedAt));
    EXPECT_EQ(E_FAIL, trees->GetChildCount(&tree, Path{ "src", 9 }, &count, &failedAt));
    EXPECT_EQ(std::make_pair(0, 1), std::make_pair(count, failedAt));
}

TEST_F(ItemViewsTree, ExpandingAndCollapsingWithTheirSignals)
{
    int expandedSignals = 0, collapsedSignals = 0;
    QObject::connect(&tree, &QTreeWidget::itemExpanded, [&] { ++expandedSignals; });
    QObject::connect(&tree, &QTreeWidget::itemCollapsed, [&] { ++collapsedSignals; });
    tree.setAnimated(true);
    struct Row {
        const char *name;
        VARIANT_BOOL expand;
        bool expanded;
        int expandedSignals, collapsedSignals;
    };
    const Row rows[] = {
        { "-1 expands", VARIANT_TRUE, true, 1, 0 },
        { "expanded already: at once, no signal", VARIANT_TRUE, true, 1, 0 },
        { "1 collapses", 1, false, 1, 1 },
        { "collapsed already", VARIANT_FALSE, false, 1, 1 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        int failedAt = 99;
        QElapsedTimer timer;
        timer.start();
        EXPECT_EQ(S_OK, trees->SetItemExpanded(&tree, Path{ "src" }, row.expand, &failedAt));
        EXPECT_LT(timer.elapsed(), 1000);
        EXPECT_EQ(-1, failedAt);
        EXPECT_EQ(row.expanded, src->isExpanded());
        EXPECT_EQ(row.expandedSignals, expandedSignals);
        EXPECT_EQ(row.collapsedSignals, collapsedSignals);
        EXPECT_TRUE(tree.isAnimated());
    }
    // The model path: expanded through the view, no wait.
    int failedAt = 99;
    EXPECT_EQ(S_OK, trees->SetItemExpanded(&view, Path{ "a" }, VARIANT_TRUE, &failedAt));
    EXPECT_TRUE(view.isExpanded(model.index(0, 0)));
}

// From a host thread the expansion runs on the GUI thread, which turns its
// event loop, while the host thread waits for the signal.
TEST_F(ItemViewsTree, ExpandingFromAHostThread)
{
    std::atomic<HRESULT> result{ E_UNEXPECTED };
    std::thread host([&] {
        int failedAt = 99;
        result = trees->SetItemExpanded(&tree, Path{ "docs" }, VARIANT_TRUE, &failedAt);
    });
    EXPECT_TRUE(waitUntil([&] { return result != E_UNEXPECTED; }, 10000));
    host.join();
    EXPECT_EQ(S_OK, result.load());
    EXPECT_TRUE(docs->isExpanded());
}

TEST_F(ItemViewsTree, ExpandingAnItemQtDoesNotExpandTimesOut)
{
    // Qt expands a childless item, and says so; one that never has children
    // it leaves alone, so no signal comes.
    leaf->setFlags(leaf->flags() | Qt::ItemNeverHasChildren);
    int failedAt = 99;
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(E_FAIL, trees->SetItemExpanded(&tree, Path{ "leaf" }, VARIANT_TRUE, &failedAt));
    EXPECT_GE(timer.elapsed(), 2900);
    EXPECT_LT(timer.elapsed(), 5000);
    EXPECT_EQ(-1, failedAt);
    EXPECT_FALSE(leaf->isExpanded());
}

TEST_F(ItemViewsTree, VisibilityAndSelection)
{
    docs->child(1)->setSelected(true);
    struct Row {
        const char *name;
        Path path;
        bool visible, selected;
    };
    const Row rows[] = {
        { "under a collapsed parent: only the hidden flag counts", { "docs", "b.txt" }, true, true },
        { "hidden", { "secret" }, false, false },
    };
    ASSERT_FALSE(docs->isExpanded());
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        VARIANT_BOOL visible = 7, selected = 7;
        int failedAt = 99;
        EXPECT_EQ(S_OK, trees->IsItemVisible(&tree, row.path, &visible, &failedAt));
        EXPECT_EQ(row.visible ? VARIANT_TRUE : VARIANT_FALSE, visible);
        EXPECT_EQ(S_OK, trees->IsItemSelected(&tree, row.path, &selected, &failedAt));
        EXPECT_EQ(row.selected ? VARIANT_TRUE : VARIANT_FALSE, selected);
    }

    const auto items = trees.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    ASSERT_TRUE(items);
    tree.setSelectionMode(QAbstractItemView::ExtendedSelection);
    // Deliberately unlike the list: any value but 0 selects.
    EXPECT_EQ(S_OK, items->SetAllSelected(&tree, 1));
    EXPECT_TRUE(leaf->isSelected());
    EXPECT_EQ(S_OK, items->SetAllSelected(&tree, VARIANT_FALSE));
    EXPECT_TRUE(tree.selectedItems().isEmpty());
}

TEST_F(ItemViewsTree, ItemRectsAgainstQt)
{
    src->setExpanded(true);
    const auto cellOf = [](QTreeWidget *tree, QTreeWidgetItem *item, int column) {
        const QRect row = tree->visualItemRect(item);
        return QRect(inWindow(tree->viewport(), QPoint(tree->columnViewportPosition(column), row.top())),
                     QSize(tree->columnWidth(column), row.height()));
    };
    struct Row {
        const char *name;
        QWidget *widget;
        Path path;
        int column;
        HRESULT result;
        QRect expected;
    };
    const QModelIndex y = model.index(1, 0, model.index(0, 0));
    view.expandAll();
    const Row rows[] = {
        { "top level, column 2", &tree, { "docs" }, 2, S_OK, cellOf(&tree, docs, 2) },
        { "second level, column 1", &tree, { "src", "main.cpp" }, 1, S_OK, cellOf(&tree, src->child(0), 1) },
        { "failing path: untouched", &tree, { "src", 4 }, 0, E_FAIL, QRect(7, 7, 7, 7) },
        // Deliberately left in the viewport's coordinates.
        { "model path", &view, { "a", "y" }, 1, S_OK,
          QRect(view.columnViewportPosition(1), view.visualRect(y).top(), view.columnWidth(1), view.visualRect(y).height()) },
    };
    ASSERT_NE(QPoint(), inWindow(tree.viewport(), QPoint()));
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        int x = 7, y = 7, width = 7, height = 7, failedAt = 99;
        EXPECT_EQ(row.result, trees->GetItemRect(row.widget, row.path, row.column, &x, &y, &width, &height, &failedAt));
        EXPECT_EQ(row.expected, QRect(x, y, width, height));
    }
}

TEST_F(ItemViewsTree, ScrollingBringsAnItemOfALongTreeIntoTheViewport)
{
    const auto shows = [this](QTreeWidgetItem *item, int column) {
        const QRect row = longTree.visualItemRect(item);
        const QRect cell(longTree.columnViewportPosition(column), row.top(), longTree.columnWidth(column), row.height());
        return !row.isEmpty() && longTree.viewport()->rect().contains(cell);
    };
    QTreeWidgetItem *far = longTree.topLevelItem(250);
    QTreeWidgetItem *child = longTree.topLevelItem(40)->child(0);
    int failedAt = 99;
    ASSERT_FALSE(shows(far, 0));
    EXPECT_EQ(S_OK, trees->ScrollItemIntoView(&longTree, Path{ "item 250" }, 0, &failedAt));
    EXPECT_EQ(-1, failedAt);
    EXPECT_TRUE(shows(far, 0));

    // A column right of the viewport is scrolled to as well.
    ASSERT_FALSE(shows(child, 2));
    EXPECT_EQ(S_OK, trees->ShowItem(&longTree, Path{ 40, "child 40" }, 2, &failedAt));
    EXPECT_TRUE(longTree.topLevelItem(40)->isExpanded());
    EXPECT_TRUE(shows(child, 2));
}
