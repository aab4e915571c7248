// Which top-level widget the module takes for the application's main
// widget, seen through GetMainWindowHandle.
#include <QApplication>
#include <QMainWindow>
#include <QMenu>

#include <memory>
#include <vector>

#include "modulesupport.h"

using namespace moduletest;

class MainWidget : public ModuleTest
{
};

TEST_F(MainWidget, MainWindowThenToolWindowThenFirstMenu)
{
    NativeWindowId handle = 1;
    ASSERT_TRUE(QApplication::topLevelWidgets().isEmpty());
    EXPECT_EQ(E_FAIL, widgets->GetMainWindowHandle(&handle));
    EXPECT_EQ(0u, handle);
    EXPECT_EQ(E_POINTER, widgets->GetMainWindowHandle(nullptr));

    enum Kind { Menu, Tool, Plain, Main };
    struct Row {
        const char *name;
        std::vector<Kind> windows;
        Kind expected;
    };
    const Row rows[] = {
        { "only menus give the first menu", { Menu, Menu }, Menu },
        { "a tool window wins over menus", { Menu, Tool, Menu }, Tool },
        { "the first main window wins over every other", { Plain, Main, Tool, Main }, Main },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<std::unique_ptr<QWidget>> windows;
        for (Kind kind : row.windows) {
            QWidget *window = kind == Menu ? new QMenu : kind == Main ? new QMainWindow : new QWidget;
            if (kind == Tool)
                window->setWindowFlags(Qt::Tool);
            windows.emplace_back(window);
            ASSERT_TRUE(showAndWait(window));
        }
        // Top-level widgets come in Qt's own order, which is not the order
        // of creation: the expectation is taken from it.
        QWidget *expected = nullptr;
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            const bool menu = qobject_cast<QMenu *>(widget), main = qobject_cast<QMainWindow *>(widget);
            const Kind kind = menu ? Menu : main ? Main : widget->windowType() == Qt::Tool ? Tool : Plain;
            if (kind == row.expected && !expected)
                expected = widget;
        }
        ASSERT_NE(nullptr, expected);
        EXPECT_EQ(S_OK, widgets->GetMainWindowHandle(&handle));
        EXPECT_EQ(expected->effectiveWinId(), handle);
    }
}
