// Rectangles are where a click lands: the centre of each rectangle the
// helpers report is clicked with real input, and Qt's own signals tell
// which item the click hit.
#include <QComboBox>
#include <QGuiApplication>
#include <QListWidget>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QTabWidget>
#include <QTimer>
#include <QTableWidget>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QWindow>

#include "../module/modulesupport.h"
#include "xtestpointer.h"

using namespace moduletest;

namespace {

// The native window of an id the helpers gave.
QWindow *windowOf(int id)
{
    for (QWindow *window : QGuiApplication::allWindows()) {
        if (window->handle() && int(window->winId()) == id)
            return window;
    }
    return nullptr;
}

// The centre of a rectangle given relative to a native window, from its
// frame's corner as the helpers measure, in the screen's native pixels.
QPoint screenCentre(int window, int x, int y, int width, int height)
{
    QWindow *native = windowOf(window);
    if (!native)
        return {};
    const QPoint logical = native->frameGeometry().topLeft() + QPoint(x + width / 2, y + height / 2);
    return logical * native->devicePixelRatio();
}

QPoint globalCentre(int x, int y, int width, int height, const QWidget *on)
{
    return QPoint(x + width / 2, y + height / 2) * on->devicePixelRatioF();
}

class RealInput : public ModuleTest
{
protected:
    void SetUp() override
    {
        if (QGuiApplication::platformName() != QLatin1String("xcb") || !pointer.available())
            GTEST_SKIP() << "needs an X server with the test extension (run under xvfb-run)";
        ModuleTest::SetUp();
    }

    // Clicks and waits until hit says the click arrived.
    bool clickAndWait(QPoint point, const std::function<bool()> &hit)
    {
        pointer.click(point);
        return waitUntil(hit, 5000);
    }

    NativeWindowId windowOfWidget(QWidget *widget)
    {
        NativeWindowId window = 0;
        widgets->GetWindowHandle(widget, &window);
        return window;
    }

    XTestPointer pointer;
};

// A path of one index, for the tree helper.
struct IndexPath {
    VARIANT value;
    explicit IndexPath(std::initializer_list<int> indexes)
    {
        VariantInit(&value);
        SAFEARRAY *array = SafeArrayCreateVector(VT_VARIANT, 0, ULONG(indexes.size()));
        LONG at = 0;
        for (int index : indexes) {
            VARIANT step;
            V_VT(&step) = VT_I4;
            V_I4(&step) = index;
            SafeArrayPutElement(array, &at, &step);
            ++at;
        }
        V_VT(&value) = VT_ARRAY | VT_VARIANT;
        V_ARRAY(&value) = array;
    }
    ~IndexPath() { VariantClear(&value); }
};

} // namespace

TEST_F(RealInput, ClicksLandOnListRowsTableCellsAndTreeItems)
{
    QWidget window;
    auto *layout = new QVBoxLayout(&window);
    auto *list = new QListWidget;
    for (int row = 0; row < 30; ++row)
        list->addItem(QStringLiteral("row %1").arg(row));
    auto *table = new QTableWidget(20, 3);
    for (int row = 0; row < 20; ++row) {
        for (int column = 0; column < 3; ++column)
            table->setItem(row, column, new QTableWidgetItem(QStringLiteral("%1,%2").arg(row).arg(column)));
    }
    auto *tree = new QTreeWidget;
    auto *top = new QTreeWidgetItem(tree, { QStringLiteral("top") });
    for (int child = 0; child < 5; ++child)
        new QTreeWidgetItem(top, { QStringLiteral("child %1").arg(child) });
    tree->expandAll();
    layout->addWidget(list);
    layout->addWidget(table);
    layout->addWidget(tree);
    window.setGeometry(50, 40, 420, 700);
    ASSERT_TRUE(showAndWait(&window));
    const NativeWindowId windowId = windowOfWidget(list);

    auto listHelper = helper<IvrQtListWidgetHelper>(IID_IvrQtListWidgetHelper);
    auto tableHelper = helper<IvrQtTableWidgetHelper>(IID_IvrQtTableWidgetHelper);
    auto treeHelper = helper<IvrQtTreeWidgetHelper>(IID_IvrQtTreeWidgetHelper);
    ASSERT_TRUE(listHelper && tableHelper && treeHelper);

    QListWidgetItem *clickedRow = nullptr;
    QObject::connect(list, &QListWidget::itemClicked, [&](QListWidgetItem *item) { clickedRow = item; });
    for (int row : { 0, 3, 7 }) {
        SCOPED_TRACE(row);
        int x = 0, y = 0, width = 0, height = 0;
        ASSERT_EQ(S_OK, listHelper->GetItemRect(list, row, &x, &y, &width, &height));
        clickedRow = nullptr;
        EXPECT_TRUE(clickAndWait(screenCentre(int(windowId), x, y, width, height), [&] { return clickedRow != nullptr; }));
        EXPECT_EQ(clickedRow, list->item(row));
    }

    int clickedCell[2] = { -1, -1 };
    QObject::connect(table, &QTableWidget::cellClicked, [&](int row, int column) { clickedCell[0] = row, clickedCell[1] = column; });
    for (auto cell : { std::pair<int, int>(0, 0), { 2, 1 }, { 4, 2 } }) {
        SCOPED_TRACE(cell.first * 10 + cell.second);
        int x = 0, y = 0, width = 0, height = 0;
        ASSERT_EQ(S_OK, tableHelper->GetCellRect(table, cell.first, cell.second, &x, &y, &width, &height));
        clickedCell[0] = clickedCell[1] = -1;
        EXPECT_TRUE(clickAndWait(screenCentre(int(windowId), x, y, width, height), [&] { return clickedCell[0] >= 0; }));
        EXPECT_EQ(clickedCell[0], cell.first);
        EXPECT_EQ(clickedCell[1], cell.second);
    }

    QTreeWidgetItem *clickedItem = nullptr;
    QObject::connect(tree, &QTreeWidget::itemClicked, [&](QTreeWidgetItem *item) { clickedItem = item; });
    for (int child : { 1, 4 }) {
        SCOPED_TRACE(child);
        const IndexPath path{ 0, child };
        int x = 0, y = 0, width = 0, height = 0, failedAt = 0;
        ASSERT_EQ(S_OK, treeHelper->GetItemRect(tree, path.value, 0, &x, &y, &width, &height, &failedAt));
        clickedItem = nullptr;
        EXPECT_TRUE(clickAndWait(screenCentre(int(windowId), x, y, width, height), [&] { return clickedItem != nullptr; }));
        EXPECT_EQ(clickedItem, top->child(child));
    }
}

TEST_F(RealInput, ClicksLandOnTabsAndComboBoxPopupItems)
{
    QWidget window;
    auto *layout = new QVBoxLayout(&window);
    auto *tabs = new QTabWidget;
    for (int tab = 0; tab < 4; ++tab)
        tabs->addTab(new QWidget, QStringLiteral("Tab &%1").arg(tab));
    auto *combo = new QComboBox;
    for (int entry = 0; entry < 6; ++entry)
        combo->addItem(QStringLiteral("entry %1").arg(entry));
    layout->addWidget(tabs);
    layout->addWidget(combo);
    window.setGeometry(60, 60, 400, 300);
    ASSERT_TRUE(showAndWait(&window));

    auto tabHelper = helper<IvrQtTabWidgetHelper>(IID_IvrQtTabWidgetHelper);
    auto comboHelper = helper<IvrQtComboBoxHelper>(IID_IvrQtComboBoxHelper);
    ASSERT_TRUE(tabHelper && comboHelper);
    const NativeWindowId windowId = windowOfWidget(tabs);
    for (int tab : { 2, 1, 3 }) {
        SCOPED_TRACE(tab);
        int x = 0, y = 0, width = 0, height = 0;
        ASSERT_EQ(S_OK, tabHelper->GetTabRect(tabs, tab, &x, &y, &width, &height));
        EXPECT_TRUE(clickAndWait(screenCentre(int(windowId), x, y, width, height), [&] { return tabs->currentIndex() == tab; }));
    }

    int activated = -1;
    QObject::connect(combo, QOverload<int>::of(&QComboBox::activated), [&](int index) { activated = index; });
    for (int entry : { 4, 1 }) {
        SCOPED_TRACE(entry);
        ASSERT_EQ(S_OK, comboHelper->SetPopupVisible(combo, VARIANT_TRUE));
        VARIANT_BOOL shown = VARIANT_FALSE;
        ASSERT_TRUE(waitUntil([&] { return SUCCEEDED(comboHelper->IsPopupVisible(combo, &shown)) && shown == VARIANT_TRUE; }));
        QWidget *viewport = nullptr;
        ASSERT_EQ(S_OK, comboHelper.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper)->GetViewPort(combo, 0, &viewport));
        int x = 0, y = 0, width = 0, height = 0;
        ASSERT_EQ(S_OK, comboHelper->GetItemRect(combo, entry, &x, &y, &width, &height));
        activated = -1;
        EXPECT_TRUE(clickAndWait(screenCentre(int(windowOfWidget(viewport)), x, y, width, height), [&] { return activated >= 0; }));
        EXPECT_EQ(activated, entry);
    }
}

TEST_F(RealInput, ClicksLandOnMenuEntriesOnTheBarAndInItsOverflow)
{
    QMainWindow window;
    QMenuBar *bar = window.menuBar();
    std::vector<QMenu *> menus;
    for (const char *title : { "&File", "&Edit", "&View", "&Tools", "&Window", "&Help" }) {
        QMenu *menu = bar->addMenu(QLatin1String(title));
        menu->addAction(QStringLiteral("First"));
        menu->addAction(QStringLiteral("Second"));
        menus.push_back(menu);
    }
    window.setCentralWidget(new QWidget);
    window.setGeometry(80, 80, 500, 300);
    ASSERT_TRUE(showAndWait(&window));
    auto barHelper = helper<IvrQtMenuBarHelper>(IID_IvrQtMenuBarHelper);
    auto barMenus = barHelper.query<IvrQtMenuHelper>(IID_IvrQtMenuHelper);
    auto menuHelper = helper<IvrQtMenuHelper>(IID_IvrQtMenuHelper);
    ASSERT_TRUE(barHelper && barMenus && menuHelper);

    // Opens the bar's entry index by a click on its rectangle (first the
    // overflow popup's button when the entry lives there), then clicks the
    // menu's second entry, which must trigger. The extension button opens
    // its popup in a nested event loop, so a timer drives the clicks: each
    // step clicks once its target is on show.
    auto chooseSecondEntry = [&](int index) {
        SCOPED_TRACE(index);
        VARIANT_BOOL onBar = VARIANT_FALSE;
        ASSERT_EQ(S_OK, barHelper->IsItemOnBar(bar, index, &onBar));
        QWidget *extension = nullptr;
        if (onBar != VARIANT_TRUE) {
            ASSERT_EQ(S_OK, barHelper.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper)->GetViewPort(bar, 0, &extension));
        }
        auto *button = qobject_cast<QToolButton *>(extension);
        QMenu *menu = menus[std::size_t(index)];
        std::vector<std::function<bool(QPoint *)>> steps;
        if (button) {
            steps.push_back([button](QPoint *point) {
                const QPoint corner = button->mapToGlobal(QPoint(0, 0));
                *point = globalCentre(corner.x(), corner.y(), button->width(), button->height(), button);
                return true;
            });
        }
        steps.push_back([&, button](QPoint *point) {
            int x = 0, y = 0, width = 0, height = 0;
            if (button && !(button->menu() && button->menu()->isVisible()))
                return false;
            if (FAILED(barMenus->GetItemRect(bar, VARIANT_TRUE, index, &x, &y, &width, &height)))
                return false;
            *point = globalCentre(x, y, width, height, bar);
            return true;
        });
        steps.push_back([&, menu](QPoint *point) {
            int x = 0, y = 0, width = 0, height = 0;
            if (!menu->isVisible() || FAILED(menuHelper->GetItemRect(menu, VARIANT_TRUE, 1, &x, &y, &width, &height)))
                return false;
            *point = globalCentre(x, y, width, height, bar);
            return true;
        });
        bool triggered = false;
        const QMetaObject::Connection connection =
            QObject::connect(menu->actions().at(1), &QAction::triggered, [&] { triggered = true; });
        std::size_t next = 0;
        QTimer driver;
        QObject::connect(&driver, &QTimer::timeout, [&] {
            QPoint point;
            if (next < steps.size() && steps[next](&point)) {
                ++next;
                pointer.click(point);
            }
        });
        driver.start(50);
        EXPECT_TRUE(waitUntil([&] { return triggered; }, 10000)) << "steps done: " << next;
        driver.stop();
        QObject::disconnect(connection);
    };
    chooseSecondEntry(1);

    // Narrowed until the last entries move into the overflow popup.
    window.resize(140, 300);
    ASSERT_TRUE(waitUntil([&] {
        VARIANT_BOOL onBar = VARIANT_TRUE;
        return SUCCEEDED(barHelper->IsItemOnBar(bar, 5, &onBar)) && onBar == VARIANT_FALSE;
    }));
    chooseSecondEntry(5);
}
