// The menu and menu bar helpers and the helper for any widget, asked of the
// manager as a host asks, on real menus, bars and widgets. Rectangles are
// checked against what Qt itself says.
#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QThread>
#include <QToolButton>

#include <atomic>
#include <thread>
#include <vector>

#include "modulesupport.h"

using namespace moduletest;

namespace {

VARIANT_BOOL variantBool(bool value)
{
    return value ? VARIANT_TRUE : VARIANT_FALSE;
}

std::string describe(const QRect &rect)
{
    return QStringLiteral("%1,%2 %3x%4").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height()).toStdString();
}

// GetItemRect as "x,y wxh", or "failed x,y wxh" with the values left.
std::string itemRect(IvrQtMenuHelper *helper, QWidget *widget, bool global, int index)
{
    int x = 7, y = 7, width = 7, height = 7;
    const HRESULT hr = helper->GetItemRect(widget, variantBool(global), index, &x, &y, &width, &height);
    return (hr == S_OK ? "" : "failed ") + describe(QRect(x, y, width, height));
}

// A style on another, with the panel width and the separator hint it is
// told, counting the bar entries it measures away from the GUI thread.
class TestStyle : public QProxyStyle
{
public:
    TestStyle(const char *base, int panelWidth = -1, bool drawSeparator = false)
        : QProxyStyle(QStyleFactory::create(QString::fromLatin1(base))), panelWidth(panelWidth), drawSeparator(drawSeparator)
    {
    }
    int pixelMetric(PixelMetric metric, const QStyleOption *option, const QWidget *widget) const override
    {
        if (metric == PM_MenuBarPanelWidth && panelWidth >= 0)
            return panelWidth;
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
    int styleHint(StyleHint hint, const QStyleOption *option, const QWidget *widget, QStyleHintReturn *data) const override
    {
        return hint == SH_DrawMenuBarSeparator ? drawSeparator : QProxyStyle::styleHint(hint, option, widget, data);
    }
    QSize sizeFromContents(ContentsType type, const QStyleOption *option, const QSize &size, const QWidget *widget) const override
    {
        if (type == CT_MenuBarItem && QThread::currentThread() != QCoreApplication::instance()->thread())
            ++measuredElsewhere;
        return QProxyStyle::sizeFromContents(type, option, size, widget);
    }
    mutable std::atomic<int> measuredElsewhere{ 0 };

private:
    int panelWidth;
    bool drawSeparator;
};

class MenuHelpers : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        menus = helper<IvrQtMenuHelper>(IID_IvrQtMenuHelper);
        bars = helper<IvrQtMenuBarHelper>(IID_IvrQtMenuBarHelper);
        controls = helper<IvrQtControlHelper>(IID_IvrQtControlHelper);
        ASSERT_TRUE(menus && bars && controls);
        barMenus = bars.query<IvrQtMenuHelper>(IID_IvrQtMenuHelper);
        ASSERT_TRUE(barMenus);
    }

    // The helpers go before the module does.
    void TearDown() override
    {
        menus.reset();
        bars.reset();
        barMenus.reset();
        controls.reset();
        ModuleTest::TearDown();
    }

    std::string itemPath(IvrQtMenuHelper *helper, QWidget *widget, int index)
    {
        return textOf([&](BSTR *path) { return helper->GetItemPath(widget, index, path); });
    }

    Ref<IvrQtMenuHelper> menus, barMenus;
    Ref<IvrQtMenuBarHelper> bars;
    Ref<IvrQtControlHelper> controls;
};

// A window with a bar: File > Recent > one.txt, two View menus, a menu on
// the bar without being its child, and one in File without being File's.
class MenuTree : public MenuHelpers
{
protected:
    void SetUp() override
    {
        MenuHelpers::SetUp();
        window.setGeometry(100, 100, 600, 200);
        bar->setGeometry(0, 0, 600, 30);
        file = bar->addMenu(QStringLiteral("&File"));
        recent = file->addMenu(QStringLiteral("&Recent"));
        recent->addAction(QStringLiteral("zero.txt"));
        recent->addAction(QStringLiteral("one.txt"));
        bar->addMenu(QStringLiteral("&View"));
        bar->addMenu(QStringLiteral("&View"))->addAction(QStringLiteral("Zoom"));
        bar->addMenu(&adopted)->setText(QStringLiteral("&Tools"));
        adopted.addAction(QStringLiteral("Options"));
        file->addMenu(&loose);
        loose.addAction(QStringLiteral("Stray"));
        loose.addAction(QString());
        ASSERT_TRUE(showAndWait(&window));
    }

    QMenu adopted, loose;
    QWidget window;
    QMenuBar *bar = new QMenuBar(&window);
    QLabel *label = new QLabel(QStringLiteral("label"), &window);
    QMenu *file = nullptr, *recent = nullptr;
};

} // namespace

TEST_F(MenuTree, PathsClimbToTheBarAndOwnersTellBarsFromContextMenus)
{
    QMenu *secondView = bar->actions().at(2)->menu();
    // A free-standing menu: a path is the caption alone, and positions count
    // the separator.
    QMenu freeStanding;
    freeStanding.addAction(QStringLiteral("&Open"));
    freeStanding.addAction(QStringLiteral("&Open"));
    freeStanding.addSeparator();
    freeStanding.addAction(QStringLiteral("Save && Close"));
    const struct {
        const char *name;
        IvrQtMenuHelper *helper;
        QWidget *widget;
        int index;
        const char *path;
    } paths[] = {
        { "entry of a sub-menu of a bar's menu", menus.get(), recent, 1, "File|Recent|one.txt" },
        { "entry of a bar's menu", menus.get(), file, 0, "File|Recent" },
        { "menu whose bar entry repeats its title", menus.get(), secondView, 0, "[2]|Zoom" },
        { "menu on the bar, parented elsewhere", menus.get(), &adopted, 0, "Tools|Options" },
        // Deliberately: a sub-menu that is no child of its menu loses the way up.
        { "sub-menu without a parent", menus.get(), &loose, 0, "Stray" },
        { "the only entry with an empty text", menus.get(), &loose, 1, "[1]" },
        { "first of two equal texts", menus.get(), &freeStanding, 0, "[0]" },
        { "second of two equal texts", menus.get(), &freeStanding, 1, "[1]" },
        { "separator", menus.get(), &freeStanding, 2, "[2]" },
        { "doubled mark", menus.get(), &freeStanding, 3, "Save & Close" },
        { "the bar's own entry", barMenus.get(), bar, 0, "File" },
        { "the bar's repeated entry", barMenus.get(), bar, 1, "[1]" },
    };
    for (const auto &row : paths) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.path, itemPath(row.helper, row.widget, row.index));
    }

    QMenu context(label), barContext(bar);
    const struct {
        const char *name;
        QMenu *menu;
        QWidget *owner;
        VARIANT_BOOL isContext;
    } owners[] = {
        { "bar's menu", file, bar, VARIANT_FALSE },
        { "sub-menu of a bar's menu", recent, bar, VARIANT_FALSE },
        { "menu on the bar, parented elsewhere", &adopted, bar, VARIANT_FALSE },
        { "context menu of a widget", &context, label, VARIANT_TRUE },
        { "context menu of the bar", &barContext, bar, VARIANT_TRUE },
        { "free-standing menu", &freeStanding, &freeStanding, VARIANT_FALSE },
    };
    for (const auto &row : owners) {
        SCOPED_TRACE(row.name);
        QWidget *owner = nullptr;
        VARIANT_BOOL isContext = 1;
        EXPECT_EQ(S_OK, menus->GetMenuOwner(row.menu, &owner, &isContext));
        EXPECT_EQ(row.owner, owner);
        EXPECT_EQ(row.isContext, isContext);
    }
}

TEST_F(MenuTree, RectanglesAndPointsOfAMenuWithItsOwnWindow)
{
    EXPECT_EQ("failed 0,0 -1x-1", itemRect(menus.get(), recent, false, 0));

    file->popup(QPoint(150, 160));
    recent->popup(QPoint(250, 160));
    ASSERT_TRUE(waitUntil([this] { return file->isVisible() && recent->isVisible() && recent->effectiveWinId() != 0; }));
    for (int index = 0; index < recent->actions().size(); ++index) {
        SCOPED_TRACE(index);
        const QRect geometry = recent->actionGeometry(recent->actions().at(index));
        EXPECT_EQ(describe(geometry), itemRect(menus.get(), recent, false, index));
        EXPECT_EQ(describe(geometry.translated(recent->mapToGlobal(QPoint(0, 0)))), itemRect(menus.get(), recent, true, index));
        int at = -2;
        EXPECT_EQ(S_OK, menus->ItemIndexAt(recent, geometry.center().x(), geometry.center().y(), &at));
        EXPECT_EQ(index, at);
    }
    int at = -2;
    EXPECT_EQ(S_OK, menus->ItemIndexAt(recent, -5, -5, &at));
    EXPECT_EQ(-1, at);
    recent->hide();
    file->hide();
}

TEST_F(MenuTree, BarFindsMenusByTitleAndLeadsToItsMenuOperations)
{
    QMenu untitled(bar);
    const struct {
        const char *name;
        QString title;
        QMenu *menu;
    } rows[] = {
        { "raw title", QStringLiteral("&File"), file },
        { "title without its mark", QStringLiteral("File"), nullptr },
        { "empty title", QString(), &untitled },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        BSTR title = SysAllocStringLen(reinterpret_cast<const OLECHAR *>(row.title.utf16()), UINT(row.title.size()));
        QMenu *found = &untitled;
        EXPECT_EQ(S_OK, bars->FindMenuByTitle(bar, title, &found));
        EXPECT_EQ(row.menu, found);
        SysFreeString(title);
    }

    // The menu operations of the bar's helper take bars, the menu helper's menus.
    int count = -1;
    EXPECT_EQ(E_FAIL, menus->GetItemCount(bar, &count));
    EXPECT_EQ(E_FAIL, barMenus->GetItemCount(file, &count));
    const QRect second = bar->actionGeometry(bar->actions().at(1));
    int at = -2;
    EXPECT_EQ(S_OK, barMenus->ItemIndexAt(bar, second.center().x(), second.center().y(), &at));
    EXPECT_EQ(1, at);

    auto provider = bars.query<IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper);
    ASSERT_TRUE(provider);
    QWidget *viewPort = nullptr;
    EXPECT_EQ(S_OK, provider->GetViewPort(bar, 5, &viewPort));
    EXPECT_EQ(bar->findChild<QToolButton *>(), viewPort);
}

// Wide, a bar keeps its entries; narrowed, it moves the last ones to the
// extension button's popup. Asked from a host thread, the helper says off
// the bar exactly the entries in Qt's popup, gives every rectangle as Qt
// does, from the bar or from the popup, and measures on the GUI thread.
TEST_F(MenuHelpers, BarEntriesAreWhereQtPutsThem)
{
    // Measured rows narrow the bar until the right end of entry 4 ("Save
    // && Exit", laid out left to right) touches the button (slack 0) or
    // lies one pixel under it (slack -1).
    const int edgeEntry = 4, measured = 0;
    const Qt::LayoutDirection ltr = Qt::LeftToRight, rtl = Qt::RightToLeft;
    const struct {
        const char *name;
        int width;
        const char *style;
        int panelWidth;
        bool drawSeparator, leftCorner;
        Qt::LayoutDirection direction;
        int slack;
    } rows[] = {
        { "wide", 800, "Fusion", -1, false, false, ltr, 0 },
        { "narrow", 220, "Fusion", -1, false, false, ltr, 0 },
        { "narrow, panel width 3", 220, "Fusion", 3, false, false, ltr, 0 },
        { "narrow, left corner widget", 260, "Fusion", -1, false, true, ltr, 0 },
        { "wide, separator drawn", 800, "Fusion", -1, true, false, ltr, 0 },
        { "entry touching the button", measured, "Fusion", -1, false, false, ltr, 0 },
        { "entry one pixel under the button", measured, "Fusion", -1, false, false, ltr, -1 },
        { "right to left, entry touching the button", measured, "Fusion", -1, false, false, rtl, 0 },
        { "right to left, entry one pixel under the button", measured, "Fusion", -1, false, false, rtl, -1 },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        TestStyle style(row.style, row.panelWidth, row.drawSeparator);
        QWidget window;
        window.setGeometry(50, 60, 840, 150);
        QMenuBar *bar = new QMenuBar(&window);
        bar->setStyle(&style);
        if (row.leftCorner)
            bar->setCornerWidget(new QLabel(QStringLiteral("corner")), Qt::TopLeftCorner);
        for (const char *title : { "&File", "&Edit", "-", "&View", "Save && Exit", "Invisible", "AVAWAV To", "Icon", "&Help" }) {
            if (*title == '-')
                bar->addSeparator();
            else if (QString::fromLatin1(title) == QLatin1String("Icon"))
                bar->addMenu(style.standardIcon(QStyle::SP_DialogOkButton), QStringLiteral("Icon and text"));
            else
                bar->addMenu(QString::fromLatin1(title));
        }
        bar->actions().at(5)->setVisible(false);
        bar->setGeometry(0, 0, 800, bar->sizeHint().height());
        ASSERT_TRUE(showAndWait(&window));
        QToolButton *extension = bar->findChild<QToolButton *>();
        ASSERT_NE(nullptr, extension);
        int width = row.width;
        if (width == measured)
            width = bar->actionGeometry(bar->actions().at(edgeEntry)).right() + 1 + extension->sizeHint().width() + row.slack;
        bar->setLayoutDirection(row.direction);
        bar->resize(width, bar->height());
        const bool overflows = row.width != 800;
        ASSERT_EQ(overflows, waitUntil([extension] { return extension->isVisible(); }, overflows ? 5000 : 100));

        const int count = int(bar->actions().size());
        std::vector<VARIANT_BOOL> onBar(count, 1);
        std::vector<std::string> local(count), global(count);
        std::atomic<bool> done{ false };
        std::thread host([&] {
            for (int index = 0; index < count; ++index) {
                EXPECT_EQ(S_OK, bars->IsItemOnBar(bar, index, &onBar[index]));
                local[index] = itemRect(barMenus.get(), bar, false, index);
                global[index] = itemRect(barMenus.get(), bar, true, index);
            }
            done = true;
        });
        EXPECT_TRUE(waitUntil([&] { return done.load(); }, 20000));
        host.join();
        EXPECT_EQ(0, style.measuredElsewhere);

        QMenu *popup = overflows ? extension->menu() : nullptr;
        int moved = 0;
        for (int index = 0; index < count; ++index) {
            QAction *action = bar->actions().at(index);
            SCOPED_TRACE(action->text().toStdString());
            const bool inPopup = popup && popup->actions().contains(action);
            EXPECT_EQ(variantBool(!inPopup), onBar[index]);
            if (row.width == measured && index == edgeEntry) {
                EXPECT_EQ(row.slack < 0, inPopup);
            }
            QWidget *container = inPopup ? static_cast<QWidget *>(popup) : bar;
            const QRect geometry = inPopup ? popup->actionGeometry(action) : bar->actionGeometry(action);
            EXPECT_EQ(describe(geometry), local[index]);
            EXPECT_EQ(describe(geometry.translated(container->mapToGlobal(QPoint(0, 0)))), global[index]);
            moved += inPopup ? 1 : 0;
        }
        EXPECT_EQ(overflows, moved >= 3);
    }
}

TEST_F(MenuTree, AnyWidgetHelperFindsPopupsAndVisiblePoints)
{
    QMenu context(label), untitled(bar);
    QWidget plain(&window);
    const struct {
        const char *name;
        QWidget *widget;
        QMenu *popup;
    } popups[] = {
        { "widget with a context menu", label, &context },
        { "menu with a sub-menu child", file, nullptr },
        { "bar: its titled menus are entries", bar, &untitled },
        { "widget without a menu", &plain, nullptr },
    };
    for (const auto &row : popups) {
        SCOPED_TRACE(row.name);
        QMenu *popup = file;
        EXPECT_EQ(S_OK, controls->GetPopupMenu(row.widget, &popup));
        EXPECT_EQ(row.popup, popup);
    }

    // The label's right half lies under an opaque sibling.
    label->setGeometry(20, 50, 100, 40);
    QLabel cover(QStringLiteral("cover"), &window), stranger(QStringLiteral("stranger"), &window);
    cover.setGeometry(70, 50, 100, 40);
    cover.setAutoFillBackground(true);
    cover.show();
    const struct {
        const char *name;
        QWidget *other;
        QPoint point;
        HRESULT result;
        VARIANT_BOOL visible;
    } points[] = {
        { "own coordinates, uncovered", nullptr, { 10, 10 }, S_OK, VARIANT_TRUE },
        { "own coordinates, covered", nullptr, { 60, 10 }, S_OK, VARIANT_FALSE },
        { "window coordinates, covered", &window, { 80, 60 }, S_OK, VARIANT_FALSE },
        { "coordinates of no ancestor", &stranger, { 10, 10 }, E_FAIL, 1 },
    };
    for (const auto &row : points) {
        SCOPED_TRACE(row.name);
        VARIANT_BOOL visible = 1;
        EXPECT_EQ(row.result, controls->IsPointVisible(label, row.other, row.point.x(), row.point.y(), &visible));
        EXPECT_EQ(row.visible, visible);
    }
}
