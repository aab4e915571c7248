// The combo box, tab widget, tool button and scroll area helpers, asked of
// the manager as a host asks, on real widgets: rectangles against what Qt
// itself says, the deliberate quirks, and result codes for bad widgets.
#include <QAbstractItemView>
#include <QComboBox>
#include <QLabel>
#include <QMenu>
#include <QScrollArea>
#include <QScrollBar>
#include <QTabBar>
#include <QTabWidget>
#include <QToolButton>
#include <QWindow>

#include <atomic>

#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <thread>
#include <vector>

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

// The four helpers, let go of before the module goes.
class ComboTabHelpers : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        combos = helper<IvrQtComboBoxHelper>(IID_IvrQtComboBoxHelper);
        tabHelper = helper<IvrQtTabWidgetHelper>(IID_IvrQtTabWidgetHelper);
        buttons = helper<IvrQtToolButtonHelper>(IID_IvrQtToolButtonHelper);
        scrolls = helper<IvrQtScrollAreaHelper>(IID_IvrQtScrollAreaHelper);
        ASSERT_TRUE(combos && tabHelper && buttons && scrolls);
    }

    void TearDown() override
    {
        combos.reset();
        tabHelper.reset();
        buttons.reset();
        scrolls.reset();
        ModuleTest::TearDown();
    }

    Ref<IvrQtComboBoxHelper> combos;
    Ref<IvrQtTabWidgetHelper> tabHelper;
    Ref<IvrQtToolButtonHelper> buttons;
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
        { "a text that is not unique", &combo, 1, "Apple" },
        { "an empty text", &combo, 2, "<null>" },
        { "the ampersand stays", &combo, 3, "&Pear" },
        { "-1 is the current text", &combo, -1, "&Pear" },
        { "-1 is the edited text, no item", &editable, -1, "typed, no item" },
        { "past the end", &combo, 4, "<null>" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.text, textOf([&](BSTR *text) { return combos->GetItemText(row.box, row.index, text); }));
    }
    auto items = combos.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    int count = -5, mode = -5;
    EXPECT_EQ(S_OK, items->GetItemCount(&longCombo, &count));
    EXPECT_EQ(50, count);
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
    EXPECT_EQ(50, count);
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
    for (const int row : { -1, 4, 1000 }) {
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

TEST_F(ComboBoxHelper, ScrollToItemAndViewPortAreThePopupLists)
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

    auto provider = combos.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    QWidget *viewPort = &window;
    EXPECT_EQ(E_FAIL, provider->GetViewPort(&combo, 1, &viewPort));
    EXPECT_EQ(nullptr, viewPort);
    EXPECT_EQ(S_OK, provider->GetViewPort(&combo, 0, &viewPort));
    EXPECT_EQ(combo.view()->viewport(), viewPort);
}

TEST_F(ComboBoxHelper, CallsFromAHostThreadMakeAndShowThePopupOnTheGuiThread)
{
    int count = -5;
    VARIANT_BOOL visible = VARIANT_FALSE;
    std::atomic<bool> done{ false };
    std::thread host([&] {
        // The first use of the list makes it.
        rectOf([&](int *x, int *y, int *w, int *h) { return combos->GetItemRect(&combo, 1, x, y, w, h); });
        combos.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper)->GetItemCount(&combo, &count);
        combos->SetPopupVisible(&combo, VARIANT_TRUE);
        combos->IsPopupVisible(&combo, &visible);
        done.store(true);
    });
    EXPECT_TRUE(waitUntil([&] { return done.load(); }, 20000));
    host.join();
    const QAbstractItemView *view = combo.view();
    EXPECT_EQ(&combo, view->window()->parentWidget());
    EXPECT_EQ(4, count);
    EXPECT_EQ(VARIANT_TRUE, visible);
    EXPECT_TRUE(view->isVisible());
    combo.hidePopup();
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
        { "no scroll buttons: first", &tabs, 0, VARIANT_FALSE, 0 },
        { "no scroll buttons: second", &tabs, 1, VARIANT_FALSE, 0 },
        { "no scroll buttons: third", &tabs, 2, VARIANT_FALSE, 0 },
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
    // Scroll buttons turned off: the narrow bar cuts its tabs, yet no index
    // changes the page.
    narrow.setUsesScrollButtons(false);
    ASSERT_TRUE(waitUntil([scrollLeft] { return !scrollLeft->isVisible(); }));
    for (int index = 0; index < narrow.count(); ++index) {
        VARIANT_BOOL changed = 1;
        EXPECT_EQ(S_OK, tabHelper->BringTabIntoView(&narrow, index, &changed));
        EXPECT_EQ(VARIANT_FALSE, changed);
    }
    EXPECT_EQ(0, narrow.currentIndex());
}

TEST_F(TabWidgetHelper, ViewPortIsTheTabBarAndWithoutOneRectanglesFail)
{
    auto provider = tabHelper.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    QTabBar *bar = tabs.findChild<QTabBar *>();
    QWidget *viewPort = &window;
    EXPECT_EQ(E_FAIL, provider->GetViewPort(&tabs, -1, &viewPort));
    EXPECT_EQ(nullptr, viewPort);
    EXPECT_EQ(S_OK, provider->GetViewPort(&tabs, 0, &viewPort));
    EXPECT_EQ(bar, viewPort);

    // The bar taken out of the tab widget's children; the widget still uses it.
    bar->setParent(nullptr);
    viewPort = &window;
    EXPECT_EQ(S_OK, provider->GetViewPort(&tabs, 0, &viewPort));
    EXPECT_EQ(nullptr, viewPort);
    const RectCall firstTab = [&](int *x, int *y, int *w, int *h) {
        return tabHelper->GetTabRect(&tabs, 0, x, y, w, h);
    };
    EXPECT_EQ(QRect(0, 0, -1, -1), rectOf(firstTab, E_FAIL));
    bar->setParent(&tabs);
}

TEST_F(ComboTabHelpers, ToolButtonStatesAndMenu)
{
    QWidget window;
    QMenu menu;
    constexpr VARIANT_BOOL yes = VARIANT_TRUE, no = VARIANT_FALSE;
    struct Row {
        const char *name;
        std::function<void(QToolButton &)> setUp;
        VARIANT_BOOL enabled, checked, checkable, visible, hasMenu;
    } const rows[] = {
        { "plain", [](QToolButton &) {}, yes, no, no, yes, no },
        { "checked", [](QToolButton &b) { b.setCheckable(true); b.setChecked(true); }, yes, yes, yes, yes, no },
        { "checkable", [](QToolButton &b) { b.setCheckable(true); }, yes, no, yes, yes, no },
        { "disabled and hidden", [](QToolButton &b) { b.setEnabled(false); b.hide(); }, no, no, no, no, no },
        { "with a menu", [&menu](QToolButton &b) { b.setMenu(&menu); }, yes, no, no, yes, yes },
    };
    std::vector<std::unique_ptr<QToolButton>> made;
    for (const Row &row : rows) {
        made.push_back(std::make_unique<QToolButton>(&window));
        made.back()->setText("&Run");
        row.setUp(*made.back());
    }
    ASSERT_TRUE(showAndWait(&window));
    using Read = HRESULT (STDMETHODCALLTYPE IvrQtToolButtonHelper::*)(QWidget *, VARIANT_BOOL *);
    for (std::size_t i = 0; i < made.size(); ++i) {
        SCOPED_TRACE(rows[i].name);
        EXPECT_EQ("&Run", textOf([&](BSTR *text) { return buttons->GetText(made[i].get(), text); }));
        const std::pair<Read, VARIANT_BOOL> reads[] = {
            { &IvrQtToolButtonHelper::IsEnabled, rows[i].enabled },
            { &IvrQtToolButtonHelper::IsChecked, rows[i].checked },
            { &IvrQtToolButtonHelper::IsCheckable, rows[i].checkable },
            { &IvrQtToolButtonHelper::IsVisible, rows[i].visible },
            { &IvrQtToolButtonHelper::HasMenu, rows[i].hasMenu },
        };
        for (const auto &[read, expected] : reads) {
            VARIANT_BOOL value = 1;
            EXPECT_EQ(S_OK, (buttons.get()->*read)(made[i].get(), &value));
            EXPECT_EQ(expected, value);
        }
    }
}

TEST_F(ComboTabHelpers, ScrollPositionsAndLimitsOfTheChosenBar)
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
        int position = -5, maximum = -5, minimum = -5;
        VARIANT_BOOL visible = 5;
        EXPECT_EQ(S_OK, scrolls->GetScrollBar(&area, row.vertical, &bar));
        EXPECT_EQ(row.bar, bar);
        EXPECT_EQ(S_OK, scrolls->GetScrollMax(&area, row.vertical, &maximum));
        EXPECT_EQ(S_OK, scrolls->GetScrollMin(&area, row.vertical, &minimum));
        EXPECT_EQ(row.bar->maximum(), maximum);
        EXPECT_EQ(row.bar->minimum(), minimum);
        EXPECT_EQ(S_OK, scrolls->SetScrollPos(&area, row.vertical, row.position));
        EXPECT_EQ(row.position, row.bar->value());
        EXPECT_EQ(S_OK, scrolls->GetScrollPos(&area, row.vertical, &position));
        EXPECT_EQ(row.position, position);
        EXPECT_EQ(S_OK, scrolls->IsScrollBarVisible(&area, row.vertical, &visible));
        EXPECT_EQ(row.visible, visible);
    }
    EXPECT_EQ(37, area.horizontalScrollBar()->value());

    // Never on show: no native window through which to reach its thread.
    QScrollArea unshown;
    unshown.verticalScrollBar()->setRange(0, 100);
    EXPECT_EQ(E_FAIL, scrolls->SetScrollPos(&unshown, VARIANT_TRUE, 3));
    EXPECT_EQ(0, unshown.verticalScrollBar()->value());
}

TEST_F(ComboTabHelpers, AnswerTheirInterfaces)
{
    struct Row {
        const char *name;
        const IID *primary;
        bool viewPort, items;
    } const rows[] = {
        { "combo box", &IID_IvrQtComboBoxHelper, true, true },
        { "tab widget", &IID_IvrQtTabWidgetHelper, true, false },
        { "tool button", &IID_IvrQtToolButtonHelper, false, false },
        { "scroll area", &IID_IvrQtScrollAreaHelper, false, false },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        auto primary = helper<IUnknown>(*row.primary);
        ASSERT_TRUE(primary);
        EXPECT_EQ(primary.get(), primary.query<IUnknown>(IID_IUnknown).get());
        auto viewPort = primary.query<IUnknown>(IID_IvrQtViewPortProviderHelper);
        EXPECT_EQ(row.viewPort, bool(viewPort));
        EXPECT_EQ(row.items, bool(primary.query<IUnknown>(IID_IvrQtBaseItemsWidgetHelper)));
        if (viewPort) {
            EXPECT_NE(primary.get(), viewPort.get());
            EXPECT_EQ(primary.get(), viewPort.query<IUnknown>(IID_IUnknown).get());
        }
    }
    EXPECT_FALSE(helper<IUnknown>(IID_IvrQtViewPortProviderHelper));
}

TEST_F(ComboTabHelpers, AnswerDeadAndWrongWidgetsWithResultCodes)
{
    QLabel wrongClass("not the widget asked for");
    std::vector<QWidget *> targets{ &wrongClass };
    const std::initializer_list<QWidget *> madeToDie{ new QComboBox, new QTabWidget, new QToolButton, new QScrollArea };
    for (QWidget *made : madeToDie) {
        targets.push_back(made);
        delete made;
    }
    auto items = combos.query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    auto tabBars = tabHelper.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    int x = 7, y = 7, w = 7, h = 7, number = 7;
    int comboX = 7, comboY = 7, comboWidth = 7, comboHeight = 7;
    VARIANT_BOOL flag = 7;
    QWidget *viewPort = &wrongClass;
    QScrollBar *bar = nullptr;
    Bstr text;
    const std::function<HRESULT(QWidget *)> operations[] = {
        [&](QWidget *at) { return items->GetItemCount(at, &number); },
        [&](QWidget *at) { return combos->GetItemRect(at, 0, &comboX, &comboY, &comboWidth, &comboHeight); },
        [&](QWidget *at) { return combos->SetPopupVisible(at, VARIANT_TRUE); },
        [&](QWidget *at) { return combos->GetItemText(at, -1, text.out()); },
        [&](QWidget *at) { return tabHelper->BringTabIntoView(at, 0, &flag); },
        [&](QWidget *at) { return tabHelper->GetTabRect(at, 0, &x, &y, &w, &h); },
        [&](QWidget *at) { return tabBars->GetViewPort(at, 0, &viewPort); },
        [&](QWidget *at) { return buttons->HasMenu(at, &flag); },
        [&](QWidget *at) { return scrolls->SetScrollPos(at, VARIANT_TRUE, 1); },
        [&](QWidget *at) { return scrolls->GetScrollPos(at, VARIANT_TRUE, &number); },
        [&](QWidget *at) { return scrolls->IsScrollBarVisible(at, VARIANT_FALSE, &flag); },
        [&](QWidget *at) { return scrolls->GetScrollBar(at, VARIANT_FALSE, &bar); },
    };
    for (QWidget *at : targets) {
        for (std::size_t i = 0; i < std::size(operations); ++i) {
            SCOPED_TRACE(i);
            EXPECT_EQ(E_FAIL, operations[i](at));
        }
    }
    // What failed calls leave: the combo rectangle the caller's, the text and
    // the view port null, the tab rectangle 0, 0, -1, -1, and the scroll
    // area's deliberate values (the last to write number, flag and bar).
    EXPECT_EQ(QRect(7, 7, 7, 7), QRect(comboX, comboY, comboWidth, comboHeight));
    EXPECT_TRUE(text.isNull());
    EXPECT_EQ(nullptr, viewPort);
    EXPECT_EQ(QRect(0, 0, -1, -1), QRect(x, y, w, h));
    EXPECT_EQ(-1, number);
    EXPECT_EQ(VARIANT_TRUE, flag);
    EXPECT_EQ(reinterpret_cast<QScrollBar *>(~std::uintptr_t(0)), bar);
}
