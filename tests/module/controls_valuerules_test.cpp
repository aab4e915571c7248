// What every control helper shares: which interfaces the manager and each
// helper answer, and a result code for an address that is no live widget of
// the helper's class, from every operation, with the application running on.
#include <QCalendarWidget>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QRadioButton>
#include <QScrollArea>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>
#include <QTextEdit>
#include <QToolButton>
#include <QTreeWidget>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "modulesupport.h"

using namespace moduletest;

namespace {

struct HelperRow {
    const char *name;
    const IID *primary;
    std::vector<const IID *> further;
};

// Interfaces a helper may answer besides its primary; the manager answers
// none of the first seven.
const IID *const kFurther[] = { &IID_IvrQtViewPortProviderHelper, &IID_IvrQtRectProviderHelper,
                                &IID_IvrQtBaseItemsWidgetHelper,  &IID_IvrQtBaseSpinBoxHelper,
                                &IID_IvrQtListViewHelper,         &IID_IvrQtTableViewHelper,
                                &IID_IvrQtTreeViewHelper,         &IID_IvrQtMenuHelper,
                                &IID_IvrQtMenuBarHelper };
constexpr int kNeverFromTheManager = 7;

const IID *const kViewPort = &IID_IvrQtViewPortProviderHelper, *const kItems = &IID_IvrQtBaseItemsWidgetHelper;
const HelperRow kHelpers[] = {
    { "list", &IID_IvrQtListWidgetHelper, { &IID_IvrQtListViewHelper, kViewPort, kItems } },
    { "table", &IID_IvrQtTableWidgetHelper, { &IID_IvrQtTableViewHelper, kViewPort, kItems } },
    { "tree", &IID_IvrQtTreeWidgetHelper, { &IID_IvrQtTreeViewHelper, kViewPort, kItems } },
    { "menu", &IID_IvrQtMenuHelper, {} },
    { "menu bar", &IID_IvrQtMenuBarHelper, { &IID_IvrQtMenuHelper, kViewPort } },
    { "any widget", &IID_IvrQtControlHelper, {} },
    { "combo box", &IID_IvrQtComboBoxHelper, { kViewPort, kItems } },
    { "tab widget", &IID_IvrQtTabWidgetHelper, { kViewPort } },
    { "tool button", &IID_IvrQtToolButtonHelper, {} },
    { "scroll area", &IID_IvrQtScrollAreaHelper, {} },
    { "spin box", &IID_IvrQtSpinBoxHelper, { &IID_IvrQtBaseSpinBoxHelper } },
    { "double spin box", &IID_IvrQtDoubleSpinBoxHelper, { &IID_IvrQtBaseSpinBoxHelper } },
    { "date-time edit", &IID_IvrQtDateTimeEditHelper, { &IID_IvrQtBaseSpinBoxHelper, kViewPort } },
    { "line edit", &IID_IvrQtLineEditHelper, {} },
    { "text edit", &IID_IvrQtTextEditHelper, {} },
    { "check box", &IID_IvrQtCheckBoxHelper, { &IID_IvrQtRectProviderHelper } },
    { "radio button", &IID_IvrQtRadioButtonHelper, { &IID_IvrQtRectProviderHelper } },
    { "calendar", &IID_IvrQtCalendarWidgetHelper, { kViewPort } },
};

IUnknown *identityOf(IUnknown *object)
{
    IUnknown *identity = nullptr;
    if (FAILED(object->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(&identity))))
        return nullptr;
    identity->Release();
    return identity;
}

using ControlHelpers = ModuleTest;

} // namespace

TEST_F(ControlHelpers, EachHelperAnswersItsOwnInterfacesAndIUnknownWithItsPrimary)
{
    for (int further = 0; further < kNeverFromTheManager; ++further)
        EXPECT_FALSE(helper<IUnknown>(*kFurther[further]));
    for (const HelperRow &row : kHelpers) {
        SCOPED_TRACE(row.name);
        Ref<IUnknown> primary = helper<IUnknown>(*row.primary);
        ASSERT_TRUE(primary);
        EXPECT_EQ(primary.get(), identityOf(primary.get()));
        for (const IID *other : kFurther) {
            if (other == row.primary)
                continue;
            const bool implemented = std::find(row.further.begin(), row.further.end(), other) != row.further.end();
            Ref<IUnknown> further = primary.query<IUnknown>(*other);
            EXPECT_EQ(implemented, bool(further));
            if (further) {
                EXPECT_EQ(primary.get(), identityOf(further.get()));
            }
        }
    }
    // The bar's menu table is its own, not the menu helper's.
    EXPECT_NE(helper<IUnknown>(IID_IvrQtMenuHelper).get(),
              identityOf(helper<IUnknown>(IID_IvrQtMenuBarHelper).query<IUnknown>(IID_IvrQtMenuHelper).get()));
}

TEST_F(ControlHelpers, EveryOperationAnswersDeadAndWrongWidgetsWithAResultCode)
{
    const auto lists = helper<IvrQtListWidgetHelper>(IID_IvrQtListWidgetHelper);
    const auto tables = helper<IvrQtTableWidgetHelper>(IID_IvrQtTableWidgetHelper);
    const auto trees = helper<IvrQtTreeWidgetHelper>(IID_IvrQtTreeWidgetHelper);
    const auto menus = helper<IvrQtMenuHelper>(IID_IvrQtMenuHelper);
    const auto bars = helper<IvrQtMenuBarHelper>(IID_IvrQtMenuBarHelper);
    const auto controls = helper<IvrQtControlHelper>(IID_IvrQtControlHelper);
    const auto combos = helper<IvrQtComboBoxHelper>(IID_IvrQtComboBoxHelper);
    const auto tabs = helper<IvrQtTabWidgetHelper>(IID_IvrQtTabWidgetHelper);
    const auto buttons = helper<IvrQtToolButtonHelper>(IID_IvrQtToolButtonHelper);
    const auto scrolls = helper<IvrQtScrollAreaHelper>(IID_IvrQtScrollAreaHelper);
    const auto spins = helper<IvrQtSpinBoxHelper>(IID_IvrQtSpinBoxHelper);
    const auto doubles = helper<IvrQtDoubleSpinBoxHelper>(IID_IvrQtDoubleSpinBoxHelper);
    const auto edits = helper<IvrQtDateTimeEditHelper>(IID_IvrQtDateTimeEditHelper);
    const auto lines = helper<IvrQtLineEditHelper>(IID_IvrQtLineEditHelper);
    const auto texts = helper<IvrQtTextEditHelper>(IID_IvrQtTextEditHelper);
    const auto checks = helper<IvrQtCheckBoxHelper>(IID_IvrQtCheckBoxHelper);
    const auto radios = helper<IvrQtRadioButtonHelper>(IID_IvrQtRadioButtonHelper);
    const auto calendars = helper<IvrQtCalendarWidgetHelper>(IID_IvrQtCalendarWidgetHelper);
    const auto barMenus = bars.query<IvrQtMenuHelper>(IID_IvrQtMenuHelper);
    const auto ports = [](const auto &from) {
        return from.template query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    };
    const auto itemsOf = [](const auto &from) {
        return from.template query<IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper);
    };
    const auto stepsOf = [](const auto &from) { return from.template query<IvrQtBaseSpinBoxHelper>(IID_IvrQtBaseSpinBoxHelper); };
    const auto clicksOf = [](const auto &from) { return from.template query<IvrQtRectProviderHelper>(IID_IvrQtRectProviderHelper); };
    const Ref<IvrQtViewPortProviderHelper> viewPorts[] = { ports(lists), ports(tables), ports(trees), ports(bars),
                                                           ports(combos), ports(tabs), ports(edits), ports(calendars) };
    const Ref<IvrQtBaseItemsWidgetHelper> itemHelpers[] = { itemsOf(lists), itemsOf(tables), itemsOf(trees), itemsOf(combos) };
    const Ref<IvrQtBaseSpinBoxHelper> stepHelpers[] = { stepsOf(spins), stepsOf(doubles), stepsOf(edits) };
    const Ref<IvrQtRectProviderHelper> clickHelpers[] = { clicksOf(checks), clicksOf(radios) };
    ASSERT_TRUE(lists && tables && trees && menus && bars && controls && combos && tabs && buttons && scrolls && spins
                && doubles && edits && lines && texts && checks && radios && calendars && barMenus);

    VARIANT path, rows;
    VariantInit(&path);
    VariantInit(&rows);
    V_VT(&path) = VT_I4;
    V_I4(&path) = -1;
    int number = 0, x = 0, y = 0, w = 0, h = 0, at = 0;
    double real = 0;
    VARIANT_BOOL flag = 0;
    QWidget *widget = nullptr;
    QMenu *menu = nullptr;
    QAction *action = nullptr;
    QScrollBar *bar = nullptr;
    Bstr text, written;
    *written.out() = SysAllocString(u"text");
    using Operation = std::function<HRESULT(QWidget *)>;
    std::vector<Operation> operations = {
        [&](QWidget *v) { return lists->GetSelectedItems(v, &rows); },
        [&](QWidget *v) { return lists->IsItemSelected(v, 0, &flag); },
        [&](QWidget *v) { return lists->GetItemText(v, 0, text.out()); },
        [&](QWidget *v) { return lists->GetItemRect(v, 0, &x, &y, &w, &h); },
        [&](QWidget *v) { return lists->SelectItem(v, 0, VARIANT_TRUE); },
        [&](QWidget *v) { return lists->GetCurrentRow(v, &number); },
        [&](QWidget *v) { return lists->ScrollToItem(v, 0); },
        [&](QWidget *v) { return tables->GetRowCount(v, &number); },
        [&](QWidget *v) { return tables->GetHorizontalHeaderText(v, 0, text.out()); },
        [&](QWidget *v) { return tables->GetVerticalHeaderText(v, 0, text.out()); },
        [&](QWidget *v) { return tables->GetCellText(v, 0, 0, text.out()); },
        [&](QWidget *v) { return tables->SetCellText(v, 0, 0, written.get()); },
        [&](QWidget *v) { return tables->GetCellRect(v, 0, 0, &x, &y, &w, &h); },
        [&](QWidget *v) { return tables->ScrollToCell(v, 0, 0); },
        [&](QWidget *v) { return trees->GetChildCount(v, path, &number, &at); },
        [&](QWidget *v) { return trees->GetItemText(v, path, 0, text.out(), &at); },
        [&](QWidget *v) { return trees->IsItemExpanded(v, path, &flag, &at); },
        [&](QWidget *v) { return trees->IsItemSelected(v, path, &flag, &at); },
        [&](QWidget *v) { return trees->IsItemVisible(v, path, &flag, &at); },
        [&](QWidget *v) { return trees->SetItemExpanded(v, path, VARIANT_TRUE, &at); },
        [&](QWidget *v) { return trees->GetItemRect(v, path, 0, &x, &y, &w, &h, &at); },
        [&](QWidget *v) { return trees->ScrollItemIntoView(v, path, 0, &at); },
        [&](QWidget *v) { return trees->ShowItem(v, path, 0, &at); },
        [&](QWidget *v) { return bars->FindMenuByTitle(v, written.get(), &menu); },
        [&](QWidget *v) { return bars->IsItemOnBar(v, 0, &flag); },
        [&](QWidget *v) { return combos->GetCurrentIndex(v, &number); },
        [&](QWidget *v) { return combos->GetItemText(v, -1, text.out()); },
        [&](QWidget *v) { return combos->GetItemRect(v, 0, &x, &y, &w, &h); },
        [&](QWidget *v) { return combos->ScrollToItem(v, 0); },
        [&](QWidget *v) { return combos->SetPopupVisible(v, VARIANT_TRUE); },
        [&](QWidget *v) { return combos->IsPopupVisible(v, &flag); },
        [&](QWidget *v) { return tabs->GetTabCount(v, &number); },
        [&](QWidget *v) { return tabs->GetCurrentIndex(v, &number); },
        [&](QWidget *v) { return tabs->GetTabText(v, 0, text.out()); },
        [&](QWidget *v) { return tabs->GetTabRect(v, 0, &x, &y, &w, &h); },
        [&](QWidget *v) { return tabs->BringTabIntoView(v, 0, &flag); },
        [&](QWidget *v) { return tabs->IsTabEnabled(v, 0, &flag); },
        [&](QWidget *v) { return buttons->GetText(v, text.out()); },
        [&](QWidget *v) { return buttons->IsEnabled(v, &flag); },
        [&](QWidget *v) { return buttons->IsChecked(v, &flag); },
        [&](QWidget *v) { return buttons->IsCheckable(v, &flag); },
        [&](QWidget *v) { return buttons->IsVisible(v, &flag); }, [&](QWidget *v) { return buttons->HasMenu(v, &flag); },
        [&](QWidget *v) { return scrolls->GetScrollPos(v, VARIANT_TRUE, &number); },
        [&](QWidget *v) { return scrolls->SetScrollPos(v, VARIANT_TRUE, 1); },
        [&](QWidget *v) { return scrolls->GetScrollMax(v, VARIANT_TRUE, &number); },
        [&](QWidget *v) { return scrolls->GetScrollMin(v, VARIANT_TRUE, &number); },
        [&](QWidget *v) { return scrolls->IsScrollBarVisible(v, VARIANT_FALSE, &flag); },
        [&](QWidget *v) { return scrolls->GetScrollBar(v, VARIANT_FALSE, &bar); },
        [&](QWidget *v) { return spins->SetValue(v, 3); }, [&](QWidget *v) { return spins->GetValue(v, &number); },
        [&](QWidget *v) { return spins->GetMaximum(v, &number); },
        [&](QWidget *v) { return spins->GetMinimum(v, &number); }, [&](QWidget *v) { return doubles->SetValue(v, 1.5); },
        [&](QWidget *v) { return doubles->GetValue(v, &real); },
        [&](QWidget *v) { return doubles->GetMaximum(v, &real); },
        [&](QWidget *v) { return doubles->GetMinimum(v, &real); },
        [&](QWidget *v) { return edits->SetDateTime(v, 45351.0); },
        [&](QWidget *v) { return edits->GetDateTime(v, &real); },
        [&](QWidget *v) { return edits->GetMaximumDateTime(v, &real); },
        [&](QWidget *v) { return edits->GetMinimumDateTime(v, &real); },
        [&](QWidget *v) { return lines->GetText(v, text.out()); },
        [&](QWidget *v) { return lines->SetText(v, written.get()); },
        [&](QWidget *v) { return lines->GetMaxLength(v, &number); },
        [&](QWidget *v) { return lines->GetPasswordChar(v, text.out()); },
        [&](QWidget *v) { return lines->GetSelectedText(v, text.out()); },
        [&](QWidget *v) { return lines->GetSelectionStart(v, &number); },
        [&](QWidget *v) { return lines->GetSelectionEnd(v, &number); },
        [&](QWidget *v) { return lines->IsReadOnly(v, &flag); },
        [&](QWidget *v) { return texts->GetText(v, text.out()); },
        [&](QWidget *v) { return texts->SetText(v, written.get()); },
        [&](QWidget *v) { return texts->GetSelectedText(v, text.out()); },
        [&](QWidget *v) { return texts->GetSelectionStart(v, &number); },
        [&](QWidget *v) { return texts->GetSelectionEnd(v, &number); },
        [&](QWidget *v) { return texts->IsReadOnly(v, &flag); }, [&](QWidget *v) { return checks->SetCheckState(v, 1); },
        [&](QWidget *v) { return checks->GetCheckState(v, &number); },
        [&](QWidget *v) { return checks->IsTristate(v, &flag); }, [&](QWidget *v) { return radios->IsChecked(v, &flag); },
        [&](QWidget *v) { return calendars->SetSelectedDate(v, 45351.0); },
        [&](QWidget *v) { return calendars->GetSelectedDate(v, &real); },
        [&](QWidget *v) { return calendars->GetMinimumDate(v, &real); },
        [&](QWidget *v) { return calendars->GetMaximumDate(v, &real); },
    };
    // The menu operations through the menu helper and through the bar's.
    for (IvrQtMenuHelper *menuHelper : { menus.get(), barMenus.get() }) {
        operations.insert(operations.end(), {
            [=, &text](QWidget *v) { return menuHelper->GetItemText(v, 0, text.out()); },
            [=, &number](QWidget *v) { return menuHelper->GetItemCount(v, &number); },
            [=, &menu](QWidget *v) { return menuHelper->GetSubMenu(v, 0, &menu); },
            [=, &text](QWidget *v) { return menuHelper->GetItemPath(v, 0, text.out()); },
            [=, &number](QWidget *v) { return menuHelper->ItemIndexAt(v, 1, 1, &number); },
            [=, &widget, &flag](QWidget *v) { return menuHelper->GetMenuOwner(v, &widget, &flag); },
            [=, &flag](QWidget *v) { return menuHelper->IsSubMenuVisible(v, 0, &flag); },
            [=, &flag](QWidget *v) { return menuHelper->IsItemEnabled(v, 0, &flag); },
            [=, &flag](QWidget *v) { return menuHelper->IsItemChecked(v, 0, &flag); },
            [=, &flag](QWidget *v) { return menuHelper->IsItemCheckable(v, 0, &flag); },
            [=, &flag](QWidget *v) { return menuHelper->IsItemSeparator(v, 0, &flag); },
            [=, &flag](QWidget *v) { return menuHelper->ItemHasIcon(v, 0, &flag); },
            [=, &x, &y, &w, &h](QWidget *v) { return menuHelper->GetItemRect(v, VARIANT_FALSE, 0, &x, &y, &w, &h); },
            [=, &action](QWidget *v) { return menuHelper->GetItemObject(v, 0, &action); },
            [=, &number](QWidget *v) { return menuHelper->GetWindowHandle(v, &number); },
        });
    }
    for (const auto &viewPort : viewPorts)
        operations.push_back([&](QWidget *v) { return viewPort->GetViewPort(v, 0, &widget); });
    for (const auto &items : itemHelpers) {
        operations.insert(operations.end(), { [&](QWidget *v) { return items->GetItemCount(v, &number); },
                                              [&](QWidget *v) { return items->GetSelectionMode(v, &number); },
                                              [&](QWidget *v) { return items->SetAllSelected(v, VARIANT_TRUE); } });
    }
    for (const auto &steps : stepHelpers)
        operations.push_back([&](QWidget *v) { return steps->StepBy(v, 1); });
    for (const auto &clicks : clickHelpers)
        operations.push_back([&](QWidget *v) { return clicks->GetClickRect(v, 0, &number, &x, &y, &w, &h); });
    // The helper for any widget takes a label; only dead addresses fail there.
    const std::vector<Operation> anyWidget = {
        [&](QWidget *v) { return controls->GetPopupMenu(v, &menu); },
        [&](QWidget *v) { return controls->GetParentWidget(v, &widget); },
        [&](QWidget *v) { return controls->IsEnabled(v, &flag); },
        [&](QWidget *v) { return controls->IsPointVisible(v, nullptr, 1, 1, &flag); },
    };

    QWidget window;
    QLabel label(QStringLiteral("no control of these"), &window);
    ASSERT_TRUE(showAndWait(&window));
    // One freed widget of each class a helper takes, all made before any
    // goes so that no two share an address.
    std::vector<QWidget *> dead{ new QListWidget(&window),    new QTableWidget(&window),   new QTreeWidget(&window),
                                 new QMenu(&window),          new QMenuBar(&window),       new QComboBox(&window),
                                 new QTabWidget(&window),     new QToolButton(&window),    new QScrollArea(&window),
                                 new QSpinBox(&window),       new QDoubleSpinBox(&window), new QDateTimeEdit(&window),
                                 new QLineEdit(&window),      new QTextEdit(&window),      new QCheckBox(&window),
                                 new QRadioButton(&window),   new QCalendarWidget(&window) };
    for (QWidget *gone : dead)
        delete gone;
    std::vector<QWidget *> wrong = dead;
    wrong.push_back(&label);
    wrong.push_back(nullptr);
    const std::pair<const std::vector<Operation> *, const std::vector<QWidget *> *> grids[] = {
        { &operations, &wrong }, { &anyWidget, &dead }
    };
    for (const auto &[list, addresses] : grids) {
        for (std::size_t operation = 0; operation < list->size(); ++operation) {
            for (QWidget *address : *addresses) {
                SCOPED_TRACE(testing::Message() << "operation " << operation << " at " << address);
                EXPECT_EQ(E_FAIL, (*list)[operation](address));
            }
        }
    }
    EXPECT_EQ(S_OK, controls->IsEnabled(&label, &flag));
    EXPECT_EQ(VARIANT_TRUE, flag);

    // What a failed call leaves, one of each shape: scalars untouched, texts
    // and pointers null, a menu entry unchecked, rectangles 0, 0, -1, -1 or
    // the caller's, and the scroll area's deliberate values.
    QWidget *deadBar = dead[4], *deadTabs = dead[6], *deadArea = dead[8];
    at = number = 12345;
    EXPECT_EQ(E_FAIL, trees->GetChildCount(dead[2], path, &number, &at));
    EXPECT_EQ(std::make_pair(12345, 12345), std::make_pair(number, at));
    *text.out() = SysAllocString(u"stale");
    EXPECT_EQ(E_FAIL, lines->GetText(dead[12], text.out()));
    EXPECT_TRUE(text.isNull());
    widget = &label;
    flag = VARIANT_TRUE;
    EXPECT_EQ(E_FAIL, menus->GetMenuOwner(dead[3], &widget, &flag));
    EXPECT_EQ(std::make_pair(static_cast<QWidget *>(nullptr), VARIANT_TRUE), std::make_pair(widget, flag));
    EXPECT_EQ(E_FAIL, barMenus->IsItemChecked(deadBar, 0, &flag));
    EXPECT_EQ(VARIANT_FALSE, flag);
    x = y = w = h = 7;
    EXPECT_EQ(E_FAIL, tabs->GetTabRect(deadTabs, 0, &x, &y, &w, &h));
    EXPECT_EQ(QRect(0, 0, -1, -1), QRect(x, y, w, h));
    x = y = w = h = 7;
    EXPECT_EQ(E_FAIL, combos->GetItemRect(dead[5], 0, &x, &y, &w, &h));
    EXPECT_EQ(QRect(7, 7, 7, 7), QRect(x, y, w, h));
    flag = VARIANT_FALSE;
    EXPECT_EQ(E_FAIL, scrolls->GetScrollPos(deadArea, VARIANT_TRUE, &number));
    EXPECT_EQ(E_FAIL, scrolls->IsScrollBarVisible(deadArea, VARIANT_TRUE, &flag));
    EXPECT_EQ(E_FAIL, scrolls->GetScrollBar(deadArea, VARIANT_TRUE, &bar));
    EXPECT_EQ(-1, number);
    EXPECT_EQ(VARIANT_TRUE, flag);
    EXPECT_EQ(reinterpret_cast<QScrollBar *>(~std::uintptr_t(0)), bar);
    EXPECT_EQ(VT_EMPTY, V_VT(&rows));
}
