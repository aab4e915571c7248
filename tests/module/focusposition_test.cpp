// Focus, screen positions and the child under a point, and what a call
// from a host thread does when it would have to cross to the GUI thread.
#include <QLabel>
#include <QLineEdit>

#include <thread>

#include "modulesupport.h"

using namespace moduletest;

namespace {

class FocusPosition : public ModuleTest
{
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        window.setGeometry(120, 80, 300, 200);
        first.setGeometry(10, 10, 100, 25);
        second.setGeometry(15, 40, 100, 25);
        native.setGeometry(10, 100, 50, 50);
        native.setAttribute(Qt::WA_NativeWindow);
        native.setFocusPolicy(Qt::StrongFocus);
        ASSERT_TRUE(showAndWait(&window));
        window.activateWindow();
        ASSERT_TRUE(waitUntil([this] { return window.isActiveWindow(); }));
    }

    VARIANT_BOOL hasFocus(QWidget *widget)
    {
        VARIANT_BOOL focused = 1;
        EXPECT_EQ(S_OK, widgets->GetHasFocus(widget, &focused));
        return focused;
    }

    // Runs work on a thread of its own, as a host thread would call.
    template <typename Work>
    static void onHostThread(Work work)
    {
        std::thread host(work);
        host.join();
    }

    QWidget window;
    QLineEdit first{ &window };
    QLineEdit second{ &window };
    QWidget native{ &window };
};

} // namespace

TEST_F(FocusPosition, SetWidgetFocusMovesTheFocusOnlyWhenAskedTo)
{
    first.setFocus();
    ASSERT_TRUE(waitUntil([this] { return first.hasFocus(); }));
    EXPECT_EQ(VARIANT_TRUE, hasFocus(&first));
    EXPECT_EQ(VARIANT_FALSE, hasFocus(&second));

    EXPECT_EQ(S_OK, widgets->SetWidgetFocus(&second, VARIANT_FALSE));
    EXPECT_TRUE(first.hasFocus());
    EXPECT_EQ(S_OK, widgets->SetWidgetFocus(&second, VARIANT_TRUE));
    EXPECT_TRUE(second.hasFocus());
    EXPECT_EQ(VARIANT_TRUE, hasFocus(&second));
    // Already focused: nothing to do.
    EXPECT_EQ(S_OK, widgets->SetWidgetFocus(&second, VARIANT_TRUE));
    EXPECT_TRUE(second.hasFocus());
}

TEST_F(FocusPosition, FocusWidgetIsReportedOnlyWhenAlien)
{
    second.setFocus();
    ASSERT_TRUE(waitUntil([this] { return second.hasFocus(); }));
    QWidget *focused = nullptr;
    EXPECT_EQ(VARIANT_TRUE, widgets->GetFocusWidget(&window, &focused));
    EXPECT_EQ(&second, focused);

    native.setFocus();
    ASSERT_TRUE(waitUntil([this] { return native.hasFocus(); }));
    focused = &first;
    EXPECT_EQ(VARIANT_FALSE, widgets->GetFocusWidget(&window, &focused));
    EXPECT_EQ(nullptr, focused);
    EXPECT_EQ(VARIANT_FALSE, widgets->GetFocusWidget(&window, nullptr));
}

TEST_F(FocusPosition, ScreenPositionOfWindowsAndChildren)
{
    int x = 0, y = 0;
    ASSERT_EQ(S_OK, widgets->GetScreenX(&window, &x));
    ASSERT_EQ(S_OK, widgets->GetScreenY(&window, &y));
    EXPECT_EQ(window.pos(), QPoint(x, y));

    ASSERT_EQ(S_OK, widgets->GetScreenX(&second, &x));
    ASSERT_EQ(S_OK, widgets->GetScreenY(&second, &y));
    EXPECT_EQ(window.mapToGlobal(QPoint(15, 40)), QPoint(x, y));
    EXPECT_EQ(second.mapToGlobal(QPoint(0, 0)), QPoint(x, y));

    // A widget that is neither a window nor has a parent has no position.
    QLabel orphan("orphan", &window);
    orphan.QObject::setParent(nullptr);
    x = y = -1;
    EXPECT_EQ(E_FAIL, widgets->GetScreenX(&orphan, &x));
    EXPECT_EQ(E_FAIL, widgets->GetScreenY(&orphan, &y));
    EXPECT_EQ(-1, x);
    EXPECT_EQ(-1, y);
}

TEST_F(FocusPosition, ChildAtAScreenPointIsReportedOnlyWhenAlien)
{
    QWidget *child = nullptr;
    const QPoint inSecond = second.mapToGlobal(QPoint(5, 5));
    EXPECT_EQ(VARIANT_TRUE, widgets->GetChildAt(&window, inSecond.x(), inSecond.y(), &child));
    EXPECT_EQ(&second, child);

    const QPoint inNative = native.mapToGlobal(QPoint(5, 5));
    EXPECT_EQ(VARIANT_FALSE, widgets->GetChildAt(&window, inNative.x(), inNative.y(), &child));
    EXPECT_EQ(nullptr, child);

    const QPoint empty = window.mapToGlobal(QPoint(250, 150));
    child = &first;
    EXPECT_EQ(VARIANT_FALSE, widgets->GetChildAt(&window, empty.x(), empty.y(), &child));
    EXPECT_EQ(nullptr, child);
}

TEST_F(FocusPosition, CallsThatWouldCrossToTheGuiThreadDoNotRunYet)
{
    first.setFocus();
    ASSERT_TRUE(waitUntil([this] { return first.hasFocus(); }));
    HRESULT focusResult = E_UNEXPECTED;
    VARIANT_BOOL childrenFound = VARIANT_TRUE;
    VARIANT children;
    V_VT(&children) = VT_EMPTY;
    onHostThread([&] {
        focusResult = widgets->SetWidgetFocus(&second, VARIANT_TRUE);
        childrenFound = widgets->GetChildWidgets(&window, &children);
    });
    EXPECT_EQ(S_OK, focusResult);
    EXPECT_TRUE(first.hasFocus());
    EXPECT_EQ(VARIANT_FALSE, childrenFound);
    EXPECT_EQ(VT_EMPTY, V_VT(&children));

    // The same calls on the GUI thread run.
    EXPECT_EQ(VARIANT_TRUE, widgets->GetChildWidgets(&window, &children));
    VariantClear(&children);
}
