// What each kind of widget reports when the user acts on it: every event
// with its value and extra payload, keys rather than positions, and the
// actions that deliberately report nothing. Driven by Qt's own mouse
// events and by the widgets' signals.
#include <QCalendarWidget>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QHeaderView>
#include <QListWidget>
#include <QScrollArea>
#include <QScrollBar>
#include <QSlider>
#include <QSpinBox>
#include <QTabBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QToolButton>
#include <QTreeWidget>

#include "events_support.h"

using namespace eventtest;

namespace {

class Handlers : public EventsTest
{
protected:
    // Subscribes, then shows the window.
    void watch(std::initializer_list<std::pair<QObject *, const GUID *>> subscriptions)
    {
        for (const auto &[object, subscription] : subscriptions)
            subscribe(object, *subscription);
        window.resize(600, 500);
        ASSERT_TRUE(showAndWait(&window));
    }

    QWidget window;
};

QPoint sectionCenter(const QHeaderView *header, int section)
{
    const int middle = header->sectionViewportPosition(section) + header->sectionSize(section) / 2;
    return header->orientation() == Qt::Horizontal ? QPoint(middle, header->height() / 2)
                                                   : QPoint(header->width() / 2, middle);
}

} // namespace

TEST_F(Handlers, ButtonsReportCheckStatesAndTogglesOnlyWhenCheckable)
{
    QCheckBox twoState("two", &window), triState("tri", &window), plain("plain", &window);
    QToolButton toggle(&window), pushOnly(&window);
    triState.setTristate(true);
    plain.setCheckable(false);
    toggle.setCheckable(true);
    watch({ { &twoState, &SubscriptionCheckBox }, { &triState, &SubscriptionCheckBox }, { &plain, &SubscriptionCheckBox },
            { &toggle, &SubscriptionToolButton }, { &pushOnly, &SubscriptionToolButton } });
    EXPECT_EQ((Lines{ "CheckState I4 1 / null", "CheckState I4 0 / null" }),
              linesOf([&] { twoState.click(), twoState.click(); }));
    EXPECT_EQ((Lines{ "CheckState I4 2 / null" }), linesOf([&] { triState.click(); }));
    EXPECT_EQ((Lines{ "ToolButton BOOL -1 / null", "ToolButton BOOL 0 / null" }),
              linesOf([&] { toggle.click(), toggle.click(); }));
    EXPECT_EQ(Lines{}, linesOf([&] { plain.click(), pushOnly.click(); }));
}

TEST_F(Handlers, ValueEditorsShareOneEventAndTellTheirKindBySubscription)
{
    QSpinBox spin(&window);
    QDoubleSpinBox doubleSpin(&window);
    QDateTimeEdit dateTime(&window);
    QCalendarWidget calendar(&window);
    watch({ { &spin, &SubscriptionSpinBox }, { &doubleSpin, &SubscriptionDoubleSpinBox },
            { &dateTime, &SubscriptionDateTimeEdit }, { &calendar, &SubscriptionCalendarWidget } });
    EXPECT_EQ((Lines{ "EditorValue I4 7 / null", "EditorValue R8 2.5 / null", "CalendarDate BSTR 7/4/2021 / null",
                      "EditorValue BSTR 3/14/2024 10:30:05 AM / null" }),
              linesOf([&] {
                  spin.setValue(7), doubleSpin.setValue(2.5), calendar.setSelectedDate(QDate(2021, 7, 4));
                  dateTime.setDateTime(QDateTime(QDate(2024, 3, 14), QTime(10, 30, 5)));
              }));
    ASSERT_EQ(4u, sink.reports.size());
    EXPECT_EQ(SubscriptionDoubleSpinBox, sink.reports[1].subscription);
    EXPECT_EQ(SubscriptionDateTimeEdit, sink.reports[3].subscription);
}

TEST_F(Handlers, ScrollBarsOfItemViewsAloneCarryTheirViewport)
{
    QSlider slider(&window);
    QScrollArea area(&window);
    QWidget content;
    content.resize(2000, 2000);
    area.setWidget(&content);
    QListWidget list(&window);
    for (int row = 0; row < 200; ++row)
        list.addItem(QString::number(row));
    watch({ { &slider, &SubscriptionSlider }, { area.verticalScrollBar(), &SubscriptionScrollBar },
            { list.verticalScrollBar(), &SubscriptionScrollBar } });
    EXPECT_EQ((Lines{ "Slider I4 5 / null", "Slider I4 10 / null", "Slider I4 3 / widget " + std::to_string(reinterpret_cast<uintptr_t>(list.viewport())) }),
              linesOf([&] {
                  slider.setValue(5);
                  area.verticalScrollBar()->setValue(10);
                  list.verticalScrollBar()->setValue(3);
              }));
    EXPECT_EQ(SubscriptionSlider, sink.reports.at(0).subscription);
    EXPECT_EQ(SubscriptionScrollBar, sink.reports.at(1).subscription);
}

TEST_F(Handlers, ListsTablesAndTableHeadersReportByKeyAndNeverTheirDoubleClicks)
{
    QListWidget list(&window);
    list.addItems({ "Apple", "Apple", "Pear" });
    QTableWidget table(3, 2, &window);
    table.move(0, 200);
    table.setHorizontalHeaderLabels({ "Name", "Size" });
    table.setVerticalHeaderLabels({ "a", "b", "b" });
    QTreeWidget tree(&window);
    tree.move(300, 0);
    QTableView view(&window);
    view.move(300, 250);
    view.setModel(table.model());
    QHeaderView *across = table.horizontalHeader(), *down = table.verticalHeader();
    watch({ { &list, &SubscriptionListWidget }, { &table, &SubscriptionTableWidget }, { across, &SubscriptionHeaderView },
            { down, &SubscriptionHeaderView }, { tree.header(), &SubscriptionHeaderView },
            { view.horizontalHeader(), &SubscriptionHeaderView } });
    const auto clickList = [&](int row) { click(list.viewport(), list.visualItemRect(list.item(row)).center()); };
    const auto clickCell = [&](int row, int column) {
        click(table.viewport(), table.visualRect(table.model()->index(row, column)).center());
    };
    EXPECT_EQ((Lines{ "ListItem BSTR Pear / int 0", "ListItem I4 1 / int 0", "TableCell BSTR a / column BSTR Name double 0",
                      "TableCell I4 2 / column BSTR Size double 0" }),
              linesOf([&] { clickList(2), clickList(1), clickCell(0, 0), clickCell(2, 1); }));
    EXPECT_EQ(Lines{}, linesOf([&] {
                  emit list.doubleClicked(list.model()->index(2, 0));
                  emit table.doubleClicked(table.model()->index(0, 0));
              }));
    // Headers report at the press; only a table widget's own do.
    EXPECT_EQ((Lines{ "HeaderSection BSTR Size / double 0 vertical 0 table",
                      "HeaderSection I4 1 / double 0 vertical 1 table" }),
              linesOf([&] { sendMouse(across->viewport(), sectionCenter(across, 1)), sendMouse(down->viewport(), sectionCenter(down, 1)); }));
    sendMouse(down->viewport(), sectionCenter(down, 1), QEvent::MouseButtonRelease);
    EXPECT_EQ((Lines{ "HeaderSection BSTR Name / double 1 vertical 0 table" }),
              linesOf([&] { sendMouse(across->viewport(), sectionCenter(across, 0), QEvent::MouseButtonDblClick); }));
    EXPECT_EQ(Lines{}, linesOf([&] {
                  sendMouse(tree.header()->viewport(), sectionCenter(tree.header(), 0));
                  sendMouse(view.horizontalHeader()->viewport(), sectionCenter(view.horizontalHeader(), 0));
              }));
}

TEST_F(Handlers, TreesReportPathTextsAndTheColumnsKey)
{
    QTreeWidget tree(&window);
    tree.resize(400, 300);
    tree.setHeaderLabels({ "Name", "Kind" });
    auto *fruit = new QTreeWidgetItem(&tree, { "Fruit" });
    new QTreeWidgetItem(fruit, { "Apple" });
    auto *secondApple = new QTreeWidgetItem(fruit, { "Apple" });
    auto *pear = new QTreeWidgetItem(fruit, { "Pear" });
    auto *seed = new QTreeWidgetItem(secondApple, { "Seed" });
    new QTreeWidgetItem(&tree, { "Veg" });
    auto *secondVeg = new QTreeWidgetItem(&tree, { "Veg", "root" });
    tree.expandAll();
    watch({ { &tree, &SubscriptionTreeWidget } });
    // Mid-column, clear of the branch indicators.
    const auto clickItem = [&](QTreeWidgetItem *item, int column) {
        const QPoint middle(sectionCenter(tree.header(), column).x(), tree.visualItemRect(item).center().y());
        click(tree.viewport(), middle);
    };
    EXPECT_EQ((Lines{ "TreeItem BSTR Fruit / column BSTR Name double 0", "TreeItem I4 2 / column BSTR Kind double 0",
                      "TreeItem BSTR Fruit|[1]|Seed / column BSTR Name double 0",
                      "TreeItem BSTR Fruit|Pear / column BSTR Kind double 1" }),
              linesOf([&] {
                  clickItem(fruit, 0), clickItem(secondVeg, 1), clickItem(seed, 0);
                  emit tree.itemDoubleClicked(pear, 1);
              }));
    EXPECT_EQ((Lines{ "TreeCollapsed BSTR Fruit|[1] / null", "TreeExpanded BSTR Fruit|[1] / null",
                      "TreeCollapsed BSTR Fruit / null" }),
              linesOf([&] { secondApple->setExpanded(false), secondApple->setExpanded(true), fruit->setExpanded(false); }));
}

TEST_F(Handlers, ComboBoxesReportActivationsAndPopupPresses)
{
    QComboBox combo(&window), editable(&window), empty(&window), disabled(&window);
    combo.addItems({ "Apple", "Apple", "Pear" });
    editable.move(0, 50);
    editable.setEditable(true);
    editable.addItems({ "one", "two" });
    disabled.addItem("off");
    disabled.setEnabled(false);
    watch({ { &combo, &SubscriptionComboBox }, { &editable, &SubscriptionComboBox }, { &empty, &SubscriptionComboBox },
            { &disabled, &SubscriptionComboBox } });
    EXPECT_EQ((Lines{ "ComboItem BSTR Pear / null", "ComboItem I4 0 / null" }),
              linesOf([&] { emit combo.activated(2), emit combo.activated(0); }));
    const QPoint middle = combo.rect().center(), arrow(editable.width() - 3, editable.height() / 2);
    EXPECT_EQ((Lines{ "PopupOpening EMPTY / null", "PopupClosing EMPTY / null" }), linesOf([&] {
                  sendMouse(&combo, middle);
                  ASSERT_TRUE(waitUntil([&] { return combo.view()->isVisible(); }));
                  sendMouse(&combo, middle);
              }));
    combo.hidePopup();
    EXPECT_EQ(Lines{}, linesOf([&] {
                  sendMouse(&combo, middle, QEvent::MouseButtonPress, Qt::RightButton);
                  sendMouse(&editable, QPoint(5, editable.height() / 2));
                  sendMouse(&empty, middle);
                  sendMouse(&disabled, middle);
              }));
    EXPECT_EQ(Lines{ "PopupOpening EMPTY / null" }, linesOf([&] { sendMouse(&editable, arrow); }));
    editable.hidePopup();
}

TEST_F(Handlers, TabPressesReportEnabledTabsAsTheTabWidgets)
{
    QTabWidget tabs(&window);
    for (const char *caption : { "One", "&Two", "One", "Off" })
        tabs.addTab(new QWidget, caption);
    tabs.setTabEnabled(3, false);
    watch({ { &tabs, &SubscriptionTabWidget } });
    QTabBar *bar = tabs.tabBar();
    const auto tabCenter = [&](int index) { return bar->tabRect(index).center(); };
    EXPECT_EQ((Lines{ "Tab BSTR Two / null", "Tab I4 2 / null" }),
              linesOf([&] { sendMouse(bar, tabCenter(1)), sendMouse(bar, tabCenter(2)); }));
    for (const Report &report : sink.reports) {
        EXPECT_EQ(&tabs, report.sender);
        EXPECT_EQ(SubscriptionTabWidget, report.subscription);
    }
    EXPECT_EQ(Lines{}, linesOf([&] {
                  sendMouse(bar, tabCenter(3));
                  sendMouse(bar, tabCenter(0), QEvent::MouseButtonPress, Qt::RightButton);
                  sendMouse(bar, QPoint(bar->width() + 10, bar->height() / 2));
              }));
}
