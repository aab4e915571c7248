// The combo box, tab widget and scroll area helpers, asked of the manager as
// a host asks, on real widgets: rectangles against what Qt itself says, and
// the deliberate quirks.
#include <QAbstractItemView>
#include <QComboBox>
#include <QScrollArea>
#include <QScrollBar>
#include <QTabBar>
#include <QTabWidget>
#include <QToolButton>
#include <QWindow>

#include <functional>

#include "modulesupport.h"

using namespace moduletest;

namespace {

using RectCall = std::function<HRESULT(int *, int *, int *, int *)>;

// The rectangle a call reports, from 7, 7, 7, 7 as the caller's values.
QRect rectOf(const RectCall &call, HRESULT expected = S_OK)
{
    int x = 7, y = 7, width = 7, height = 7;
    EXPECT_EQ(expected, call(&x, &y, &width, &height));
    return QRect(x, y, width, height);
}

// A rectangle in widget's coordinates as the module reports it: moved into
// the native window that carries the widget and counted from the frame's
// corner, whose left border is the native window's and whose top the
// widget's own frame's (a popup has none); untouched while that window does
// not exist yet.
QRect inNativeWindow(const QWidget *widget, const QRect &rect)
{
    const QWidget *window = widget->window();
    const QWindow *native = window->windowHandle();
    if (!window->internalWinId() || !native || window == widget)
        return rect;
    const QPoint frame((native->frameGeometry().width() - native->geometry().width()) / 2,
                       window->geometry().top() - window->frameGeometry().top());
    return QRect(widget->mapTo(window, rect.topLeft()) + frame, rect.size());
}

// The three helpers, let go of before the module goes.
class ComboTabHelpers : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        combos = helper<IvrQtComboBoxHelper>(IID_IvrQtComboBoxHelper);
        tabHelper = helper<IvrQtTabWidgetHelper>(IID_IvrQtTabWidgetHelper);
        scrolls = helper<IvrQtScrollAreaHelper>(IID_IvrQtScrollAreaHelper);
        ASSERT_TRUE(combos && tabHelper && scrolls);
    }

    void TearDown() override
    {
        combos.reset();
        tabHelper.reset();
        scrolls.reset();
        ModuleTest::TearDown();
    }

    Ref<IvrQtComboBoxHelper> combos;
    Ref<IvrQtTabWidgetHelper> tabHelper;
    Ref<IvrQtScrollAreaHelper> scrolls;
};

class ComboBoxHelper : public ComboTabHelpers
{
protected:
    void SetUp() override
    {
        ComboTabHelpers::SetUp();
        window.setGeometry(100, 100, 300, 200);
        combo.setGeometry(10, 10, 150, 25);
        combo.addItems({ "Apple", "Apple", "", "&Pear" });
        editable.setGeometry(10, 50, 150, 25);
        editable.setEditable(true);
        editable.addItems({ "one", "two" });
        longCombo.setGeometry(10, 90, 150, 25);
        // Editable, so that the style keeps its popup to ten rows.
        longCombo.setEditable(true);
        for (int row = 0; row < 50; ++row)
            longCombo.addItem(QStringLiteral("Item %1").arg(row));
        ASSERT_TRUE(showAndWait(&window));
    }

    QWidget window;
    QComboBox combo{ &window };
    QComboBox editable{ &window };
    QComboBox longCombo{ &window };
};

} // namespace

TEST_F(ComboBoxHelper, TextsAreTheItemsOwnWhateverTheirKeys)
{
    combo.setCurrentIndex(3);
    editable.setEditText("typed, no item");
    struct Row {
        const char *name;
        QComboBox *box;
        int index;
        const char *text;
    } const rows[] = {
        { "an item", &combo, 0, "Apple" },
        { "an empty text", &combo, 2, "<null>" },
        { "the ampersand stays", &combo, 3, "&Pear" },
        { "-1 is the current text", &combo, -1, "&Pear" },
        { "-1 is the edited text, no item", &editable, -1, "typed, no item" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.text, textOf([&](BSTR *text) { return combos->GetItemText(row.box, row.index, text); }));
    }
    auto items = combos.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    int count = -5, mode = -5;
    // Deliberately 4 however the list selects, and selecting all does nothing.
    combo.view()->setSelectionMode(QAbstractItemView::MultiSelection);
    EXPECT_EQ(S_OK, items->GetSelectionMode(&combo, &mode));
    EXPECT_EQ(4, mode);
    EXPECT_EQ(S_OK, items->SetAllSelected(&combo, VARIANT_TRUE));
    EXPECT_EQ(3, combo.currentIndex());

    // Never on show, a combo box has no native window through which its
    // thread could be reached: the count is not made up.
    QComboBox unshown;
    unshown.addItem("x");
    EXPECT_EQ(E_FAIL, items->GetItemCount(&unshown, &count));
    EXPECT_EQ(-5, count);
}

TEST_F(ComboBoxHelper, ItemRectanglesAreThePopupListsOwnBeforeAndAfterItShows)
{
    for (const bool shown : { false, true }) {
        SCOPED_TRACE(shown ? "popup shown" : "popup never shown");
        if (shown) {
            EXPECT_EQ(S_OK, combos->SetPopupVisible(&combo, VARIANT_TRUE));
            ASSERT_TRUE(waitUntil([this] { return combo.view()->isVisible(); }));
        }
        for (int row = 0; row < combo.count(); ++row) {
            SCOPED_TRACE(row);
            const QRect reported = rectOf([&](int *x, int *y, int *w, int *h) {
                return combos->GetItemRect(&combo, row, x, y, w, h);
            });
            const QAbstractItemView *view = combo.view();
            const QRect own = view->visualRect(view->model()->index(row, 0));
            EXPECT_FALSE(own.isEmpty());
            EXPECT_EQ(inNativeWindow(view->viewport(), own), reported);
        }
    }
    // Deliberately S_OK with the caller's values for a row that names no item.
    for (const int row : { -1, 4 }) {
        EXPECT_EQ(QRect(7, 7, 7, 7), rectOf([&](int *x, int *y, int *w, int *h) {
                      return combos->GetItemRect(&combo, row, x, y, w, h);
                  }));
    }
    combo.hidePopup();
}

TEST_F(ComboBoxHelper, PopupVisibilityFollowsPopupAndList)
{
    const auto show = [this](VARIANT_BOOL value) { EXPECT_EQ(S_OK, combos->SetPopupVisible(&combo, value)); };
    struct Step {
        const char *name;
        std::function<void()> action;
        VARIANT_BOOL visible;
    } const steps[] = {
        { "never shown", [] {}, VARIANT_FALSE },
        { "-1 shows", [&] { show(VARIANT_TRUE); }, VARIANT_TRUE },
        { "1 hides: only -1 shows", [&] { show(1); }, VARIANT_FALSE },
        { "-1 shows again", [&] { show(VARIANT_TRUE); }, VARIANT_TRUE },
        { "the list hidden in the shown popup", [this] { combo.view()->hide(); }, VARIANT_FALSE },
        { "the list shown again", [this] { combo.view()->show(); }, VARIANT_TRUE },
        { "0 hides", [&] { show(VARIANT_FALSE); }, VARIANT_FALSE },
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.name);
        step.action();
        VARIANT_BOOL visible = 1;
        EXPECT_EQ(S_OK, combos->IsPopupVisible(&combo, &visible));
        EXPECT_EQ(step.visible, visible);
    }
}

TEST_F(ComboBoxHelper, ScrollToItemScrollsThePopupList)
{
    ASSERT_EQ(S_OK, combos->SetPopupVisible(&longCombo, VARIANT_TRUE));
    QAbstractItemView *view = longCombo.view();
    ASSERT_TRUE(waitUntil([view] { return view->isVisible(); }));
    const auto onShow = [view](int row) {
        return view->viewport()->rect().contains(view->visualRect(view->model()->index(row, 0)));
    };
    ASSERT_FALSE(onShow(45));
    const int before = view->verticalScrollBar()->value();
    EXPECT_EQ(S_OK, combos->ScrollToItem(&longCombo, 50));
    EXPECT_EQ(before, view->verticalScrollBar()->value());
    EXPECT_EQ(S_OK, combos->ScrollToItem(&longCombo, 45));
    EXPECT_TRUE(onShow(45));
    longCombo.hidePopup();
}

namespace {

class TabWidgetHelper : public ComboTabHelpers
{
protected:
    void SetUp() override
    {
        ComboTabHelpers::SetUp();
        window.setGeometry(100, 100, 500, 300);
        tabs.setGeometry(10, 10, 480, 200);
        for (const char *caption : { "&First", "Se&cond", "A&&B" })
            tabs.addTab(new QWidget, caption);
        tabs.setTabEnabled(1, false);
        narrow.setGeometry(10, 220, 160, 60);
        narrow.setElideMode(Qt::ElideNone);
        narrow.setUsesScrollButtons(true);
        for (int tab = 0; tab < 12; ++tab)
            narrow.addTab(new QWidget, QStringLiteral("Tab %1").arg(tab));
        ASSERT_TRUE(showAndWait(&window));
    }

    QWidget window;
    QTabWidget tabs{ &window };
    QTabWidget narrow{ &window };
};

} // namespace

TEST_F(TabWidgetHelper, TextsRectanglesAndEnabledTabs)
{
    const QTabBar *bar = tabs.findChild<QTabBar *>();
    struct Row {
        int index;
        const char *text;
        VARIANT_BOOL enabled;
    } const rows[] = {
        { 0, "First", VARIANT_TRUE },
        { 1, "Second", VARIANT_FALSE },
        { 2, "A&B", VARIANT_TRUE },
        { 9, "<null>", VARIANT_FALSE },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.index);
        EXPECT_EQ(row.text, textOf([&](BSTR *text) { return tabHelper->GetTabText(&tabs, row.index, text); }));
        VARIANT_BOOL enabled = 1;
        EXPECT_EQ(S_OK, tabHelper->IsTabEnabled(&tabs, row.index, &enabled));
        EXPECT_EQ(row.enabled, enabled);
        const QRect reported = rectOf([&](int *x, int *y, int *w, int *h) {
            return tabHelper->GetTabRect(&tabs, row.index, x, y, w, h);
        });
        EXPECT_EQ(inNativeWindow(bar, bar->tabRect(row.index)), reported);
    }
}

TEST_F(TabWidgetHelper, BringTabIntoViewChangesThePageOnlyWhereTheBarScrolls)
{
    QToolButton *scrollLeft = narrow.findChild<QTabBar *>()->findChild<QToolButton *>();
    ASSERT_TRUE(waitUntil([scrollLeft] { return scrollLeft->isVisible(); }));
    struct Step {
        const char *name;
        QTabWidget *widget;
        int index;
        VARIANT_BOOL changed;
        int current;
    } const steps[] = {
        { "scroll buttons on show, a tab off the bar", &narrow, 11, VARIANT_TRUE, 11 },
        { "the current tab wholly on show", &narrow, 11, VARIANT_FALSE, 11 },
        { "back to the first tab", &narrow, 0, VARIANT_TRUE, 0 },
        { "no scroll buttons", &tabs, 2, VARIANT_FALSE, 0 },
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.name);
        VARIANT_BOOL changed = 1;
        EXPECT_EQ(S_OK, tabHelper->BringTabIntoView(step.widget, step.index, &changed));
        EXPECT_EQ(step.changed, changed);
        EXPECT_EQ(step.current, step.widget->currentIndex());
        const QTabBar *bar = step.widget->findChild<QTabBar *>();
        EXPECT_TRUE(bar->rect().intersects(bar->tabRect(step.current)));
    }
}

TEST_F(ComboTabHelpers, ScrollPositionsOfTheChosenBar)
{
    QScrollArea area;
    area.setGeometry(10, 10, 200, 150);
    // The horizontal bar is never on show, so has no native window of its own.
    area.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area.setWidget(new QWidget);
    area.widget()->resize(1000, 3000);
    ASSERT_TRUE(showAndWait(&area));
    // The scroll area shows its bars through a queued call.
    ASSERT_TRUE(waitUntil([&area] { return area.verticalScrollBar()->isVisible(); }));
    ASSERT_LT(0, area.horizontalScrollBar()->maximum());
    ASSERT_NE(area.horizontalScrollBar()->maximum(), area.verticalScrollBar()->maximum());
    struct Row {
        const char *name;
        VARIANT_BOOL vertical;
        QScrollBar *bar;
        int position;
        VARIANT_BOOL visible;
    } const rows[] = {
        { "0 is the horizontal bar", VARIANT_FALSE, area.horizontalScrollBar(), 37, VARIANT_FALSE },
        { "-1 is the vertical bar", VARIANT_TRUE, area.verticalScrollBar(), 120, VARIANT_TRUE },
        { "1 is the vertical bar too", 1, area.verticalScrollBar(), 450, VARIANT_TRUE },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        QScrollBar *bar = nullptr;
        int position = -5, maximum = -5;
        VARIANT_BOOL visible = 5;
        EXPECT_EQ(S_OK, scrolls->GetScrollBar(&area, row.vertical, &bar));
        EXPECT_EQ(row.bar, bar);
        EXPECT_EQ(S_OK, scrolls->GetScrollMax(&area, row.vertical, &maximum));
        EXPECT_EQ(row.bar->maximum(), maximum);
        EXPECT_EQ(S_OK, scrolls->SetScrollPos(&area, row.vertical, row.position));
        EXPECT_EQ(row.position, row.bar->value());
        EXPECT_EQ(S_OK, scrolls->GetScrollPos(&area, row.vertical, &position));
        EXPECT_EQ(row.position, position);
        EXPECT_EQ(S_OK, scrolls->IsScrollBarVisible(&area, row.vertical, &visible));
        EXPECT_EQ(row.visible, visible);
    }
    EXPECT_EQ(37, area.horizontalScrollBar()->value());
}
