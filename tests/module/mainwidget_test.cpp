// Which top-level widget the module takes for the application's main
// widget, seen through GetMainWindowHandle.
#include <QApplication>
#include <QMainWindow>
#include <QMenu>

#include <memory>
#include <vector>

#include "modulesupport.h"

using namespace moduletest;

namespace {

class MainWidget : public ModuleTest
{
protected:
    template <typename Widget>
    Widget *shown(Qt::WindowFlags flags = {})
    {
        auto *widget = new Widget;
        if (flags)
            widget->setWindowFlags(flags);
        windows.emplace_back(widget);
        EXPECT_TRUE(showAndWait(widget));
        return widget;
    }

    NativeWindowId mainWindowHandle()
    {
        NativeWindowId handle = 0;
        EXPECT_EQ(S_OK, widgets->GetMainWindowHandle(&handle));
        return handle;
    }

    // Top-level widgets come in Qt's own order, which is not the order of
    // creation: the expectations are taken from it.
    static QWidget *firstTopLevel(const std::function<bool(QWidget *)> &accepts)
    {
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            if (accepts(widget))
                return widget;
        }
        return nullptr;
    }

    std::vector<std::unique_ptr<QWidget>> windows;
};

} // namespace

TEST_F(MainWidget, FirstMainWindowWinsOverEveryOtherTopLevel)
{
    shown<QWidget>();
    shown<QMainWindow>();
    shown<QMainWindow>();
    QWidget *expected = firstTopLevel([](QWidget *widget) { return qobject_cast<QMainWindow *>(widget) != nullptr; });
    ASSERT_NE(nullptr, expected);
    EXPECT_EQ(expected->effectiveWinId(), mainWindowHandle());
}

TEST_F(MainWidget, WithoutMainWindowAToolWindowWinsOverAMenu)
{
    shown<QMenu>();
    QWidget *tool = shown<QWidget>(Qt::Tool);
    shown<QMenu>();
    EXPECT_EQ(tool->effectiveWinId(), mainWindowHandle());
}

TEST_F(MainWidget, OnlyMenusGiveTheFirstMenu)
{
    shown<QMenu>();
    shown<QMenu>();
    QWidget *first = QApplication::topLevelWidgets().value(0);
    ASSERT_TRUE(qobject_cast<QMenu *>(first));
    EXPECT_EQ(first->effectiveWinId(), mainWindowHandle());
}

TEST_F(MainWidget, NoTopLevelWidgetIsAFailure)
{
    ASSERT_TRUE(QApplication::topLevelWidgets().isEmpty());
    NativeWindowId handle = 1;
    EXPECT_EQ(E_FAIL, widgets->GetMainWindowHandle(&handle));
    EXPECT_EQ(0u, handle);
    EXPECT_EQ(E_POINTER, widgets->GetMainWindowHandle(nullptr));
}
