// Focus, screen positions and the child under a point, also asked for from
// a host thread while the GUI thread turns its event loop.
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>
#include <QWindow>

#include <atomic>
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

    // Runs work on a thread of its own, as a host thread calls, while the
    // GUI thread turns its event loop.
    template <typename Work>
    static void onHostThread(Work work)
    {
        std::atomic<bool> done{ false };
        std::thread host([&] {
            work();
            done.store(true);
        });
        EXPECT_TRUE(waitUntil([&] { return done.load(); }, 20000));
        host.join();
    }

    QWidget window;
    QLineEdit first{ &window };
    QLineEdit second{ &window };
    QWidget native{ &window };
};

} // namespace

TEST_F(FocusPosition, FocusMovesOnlyWhenAskedAndIsReportedOnlyWhenAlien)
{
    first.setFocus();
    ASSERT_TRUE(waitUntil([this] { return first.hasFocus(); }));
    EXPECT_EQ(VARIANT_TRUE, hasFocus(&first));
    EXPECT_EQ(VARIANT_FALSE, hasFocus(&second));
    EXPECT_EQ(S_OK, widgets->SetWidgetFocus(&second, VARIANT_FALSE));
    EXPECT_TRUE(first.hasFocus());
    EXPECT_EQ(S_OK, widgets->SetWidgetFocus(&second, VARIANT_TRUE));
    EXPECT_TRUE(second.hasFocus());
    QWidget *focused = nullptr;
    EXPECT_EQ(VARIANT_TRUE, widgets->GetFocusWidget(&window, &focused));
    EXPECT_EQ(&second, focused);

    native.setFocus();
    ASSERT_TRUE(waitUntil([this] { return native.hasFocus(); }));
    EXPECT_EQ(VARIANT_FALSE, widgets->GetFocusWidget(&window, &focused));
    EXPECT_EQ(nullptr, focused);
    EXPECT_EQ(VARIANT_FALSE, widgets->GetFocusWidget(&window, nullptr));
}

TEST_F(FocusPosition, ScreenPositionsAndTheAlienChildAtAPoint)
{
    // Also run with QT_SCALE_FACTOR=2: positions and points stay in Qt's
    // device-independent pixels however the native window is scaled.
    EXPECT_EQ(window.windowHandle()->devicePixelRatio(), qEnvironmentVariable("QT_SCALE_FACTOR", QStringLiteral("1")).toDouble());
    int x = 0, y = 0;
    ASSERT_EQ(S_OK, widgets->GetScreenX(&window, &x));
    ASSERT_EQ(S_OK, widgets->GetScreenY(&window, &y));
    EXPECT_EQ(window.pos(), QPoint(x, y));
    ASSERT_EQ(S_OK, widgets->GetScreenX(&second, &x));
    ASSERT_EQ(S_OK, widgets->GetScreenY(&second, &y));
    EXPECT_EQ(window.mapToGlobal(QPoint(15, 40)), QPoint(x, y));

    // A widget that is neither a window nor has a parent has no position.
    QLabel orphan("orphan", &window);
    orphan.QObject::setParent(nullptr);
    x = -1;
    EXPECT_EQ(E_FAIL, widgets->GetScreenX(&orphan, &x));
    EXPECT_EQ(-1, x);

    struct Row {
        const char *name;
        QPoint point;
        QWidget *expected;
    };
    const Row rows[] = {
        { "alien child", second.mapToGlobal(QPoint(5, 5)), &second },
        { "native child", native.mapToGlobal(QPoint(5, 5)), nullptr },
        { "no child", window.mapToGlobal(QPoint(250, 150)), nullptr },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        QWidget *child = &first;
        EXPECT_EQ(row.expected ? VARIANT_TRUE : VARIANT_FALSE, widgets->GetChildAt(&window, row.point.x(), row.point.y(), &child));
        EXPECT_EQ(row.expected, child);
    }
}

TEST_F(FocusPosition, CallsFromAHostThreadRunOnTheGuiThread)
{
    first.setFocus();
    ASSERT_TRUE(waitUntil([this] { return first.hasFocus(); }));
    HRESULT focusResult = E_UNEXPECTED;
    VARIANT_BOOL childrenFound = VARIANT_FALSE;
    VARIANT children;
    VariantInit(&children);
    onHostThread([&] {
        focusResult = widgets->SetWidgetFocus(&second, VARIANT_TRUE);
        childrenFound = widgets->GetChildWidgets(&window, &children);
    });
    EXPECT_EQ(S_OK, focusResult);
    EXPECT_TRUE(second.hasFocus());
    ASSERT_EQ(VARIANT_TRUE, childrenFound);
    ASSERT_EQ(VT_ARRAY | VT_UI8, V_VT(&children));
    LONG upper = -1;
    SafeArrayGetUBound(V_ARRAY(&children), 1, &upper);
    // The two line edits; the native child is no alien.
    EXPECT_EQ(1, upper);
    VariantClear(&children);

    // A widget whose window has no native surface: the call finds no
    // window and runs nowhere.
    QWidget unshown;
    QLineEdit inUnshown(&unshown);
    onHostThread([&] { focusResult = widgets->SetWidgetFocus(&inUnshown, VARIANT_TRUE); });
    EXPECT_EQ(S_OK, focusResult);
    EXPECT_FALSE(inUnshown.hasFocus());
    EXPECT_EQ(nullptr, unshown.windowHandle());
    EXPECT_TRUE(second.hasFocus());
}

TEST_F(FocusPosition, HostCallsReachTheGuiThreadInsideAModalDialog)
{
    QDialog dialog;
    QLineEdit top(&dialog);
    QLineEdit bottom(&dialog);
    bottom.move(0, 40);
    HRESULT focusResult = E_UNEXPECTED;
    VARIANT_BOOL childrenFound = VARIANT_FALSE;
    VARIANT children;
    VariantInit(&children);
    std::atomic<bool> done{ false };
    std::thread host;
    // Started once the dialog's own loop runs; the GUI thread stays in it
    // until the host is done.
    QTimer::singleShot(0, &dialog, [&] {
        host = std::thread([&] {
            focusResult = widgets->SetWidgetFocus(&bottom, VARIANT_TRUE);
            childrenFound = widgets->GetChildWidgets(&dialog, &children);
            done.store(true);
        });
    });
    bool focusSeen = false;
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, &dialog, [&] {
        if (!done.load())
            return;
        // Read before the dialog hides, which takes its focus away.
        focusSeen = bottom.hasFocus();
        dialog.accept();
    });
    closer.start(5);
    dialog.exec();
    host.join();
    EXPECT_EQ(S_OK, focusResult);
    EXPECT_TRUE(focusSeen);
    EXPECT_EQ(VARIANT_TRUE, childrenFound);
    VariantClear(&children);
}
