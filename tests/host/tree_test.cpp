// `vrqt tree` on real programs with the real module: our own target, the
// gallery, and a Qt example program that Debian ships.
#include <gtest/gtest.h>

#include <unistd.h>

#include <QSet>
#include <QStandardPaths>

#include <algorithm>

#include "agentharness.h"
#include "treedocument.h"
#include "vrqtrun.h"

using namespace std::chrono_literals;
using namespace vrqt::testing;

namespace {

constexpr std::chrono::milliseconds kRunLimit{ 120000 };

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

QString field(const QJsonObject &node, const char *name)
{
    return node.value(QLatin1String(name)).toString();
}

int number(const QJsonObject &node, const char *name)
{
    return node.value(QLatin1String(name)).toInt(-1);
}

bool flag(const QJsonObject &node, const char *name)
{
    return node.value(QLatin1String(name)).toBool();
}

// Runs vrqt tree on command and expects it to succeed, the program's clean
// end included (vrqt exits 3 otherwise).
VrqtRun runTree(const QStringList &command, bool json, const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
                const QStringList &wrapper = {})
{
    QStringList arguments{ str("tree"), str("--timeout"), str("60") };
    if (json)
        arguments << str("--json");
    const VrqtRun run = runVrqt(arguments << str("--") << command, kRunLimit, environment, wrapper);
    EXPECT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return run;
}

QJsonObject jsonTreeOf(const QStringList &command, const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
                       const QStringList &wrapper = {})
{
    std::string error;
    const QJsonObject tree = parseTree(runTree(command, true, environment, wrapper).out, &error);
    EXPECT_FALSE(tree.isEmpty()) << error;
    return tree;
}

QJsonObject mainWindowOf(const QJsonObject &tree)
{
    const QJsonObject main = tree.value(str("windows")).toArray().at(0).toObject();
    EXPECT_EQ(main.value(str("window")), tree.value(str("mainWindow")));
    return main;
}

// Alien children lie inside their parent: their screen position is the
// parent's plus their own. (Not under a top-level window, whose position
// includes its frame.)
void expectPlacedInParent(const TreeNode &entry)
{
    SCOPED_TRACE(field(entry.node, "objectName").toStdString());
    ASSERT_FALSE(entry.parent.isEmpty());
    EXPECT_EQ(number(entry.node, "screenX"), number(entry.parent, "screenX") + number(entry.node, "x"));
    EXPECT_EQ(number(entry.node, "screenY"), number(entry.parent, "screenY") + number(entry.node, "y"));
}

// Siblings of one class are counted from 1 in their order.
void expectCountedInOrder(const std::vector<QJsonObject> &siblings)
{
    for (std::size_t index = 0; index < siblings.size(); ++index)
        EXPECT_EQ(number(siblings[index], "qtIndex"), int(index) + 1) << field(siblings[index], "qtText").toStdString();
}

const QStringList kHostWindow{ QString::fromStdString(targetPath("hostwindow")) };

} // namespace

TEST(Tree, ShowsTheHostWindowAsTheModuleSeesIt)
{
    const QJsonObject tree = jsonTreeOf(kHostWindow);
    // The main window comes first, although Qt lists the tool window first.
    const QJsonObject main = mainWindowOf(tree);
    EXPECT_EQ(field(main, "objectName"), str("hostWindow"));
    EXPECT_EQ(field(main, "qtText"), str("Host Window"));
    EXPECT_TRUE(flag(main, "native"));
    EXPECT_TRUE(findByName(tree, str("toolWindow")).parent.isEmpty()) << "the tool window is a top-level window";
    EXPECT_TRUE(findByName(tree, str("neverShownDialog")).node.isEmpty()) << "a window that was never made is not listed";

    const TreeNode pages = findByName(tree, str("pages"));
    EXPECT_FALSE(flag(pages.node, "native"));
    EXPECT_EQ(field(pages.parent, "objectName"), str("hostWindow"));
    const std::vector<QJsonObject> buttons = childrenOfClass(findByName(tree, str("buttonsPage")).node, str("QPushButton"));
    ASSERT_EQ(buttons.size(), 3u);
    expectCountedInOrder(buttons);
    EXPECT_EQ(field(buttons[2], "qtText"), str("Third"));
    EXPECT_EQ(number(findByName(tree, str("caption")).node, "qtIndex"), 1) << "a label counts among labels only";
    for (const char *name : { "buttonsPage", "firstButton", "caption", "insideButton" })
        expectPlacedInParent(findByName(tree, str(name)));

    // The native surface hangs under the widget of its native parent window.
    const TreeNode surface = findByName(tree, str("nativeSurface"));
    EXPECT_TRUE(flag(surface.node, "native"));
    EXPECT_EQ(field(surface.parent, "objectName"), str("hostWindow"));
    EXPECT_EQ(field(findByName(tree, str("insideButton")).parent, "objectName"), str("nativeSurface"));
    const QJsonObject locked = findByName(tree, str("lockedEdit")).node;
    EXPECT_FALSE(locked.value(str("enabled")).toBool(true));
    EXPECT_FALSE(locked.value(str("visible")).toBool(true)) << "it is on the hidden tab";
    QSet<QString> addresses;
    for (const TreeNode &entry : flatten(tree))
        addresses.insert(field(entry.node, "address"));
    EXPECT_EQ(std::size_t(addresses.size()), flatten(tree).size()) << "each widget appears once";

    // The same tree as text, one line a widget.
    const VrqtRun text = runTree(kHostWindow, false);
    EXPECT_EQ(std::size_t(std::count(text.out.begin(), text.out.end(), '\n')), flatten(tree).size()) << text.out;
    EXPECT_NE(text.out.find(" main "), std::string::npos);
    EXPECT_NE(text.out.find("\n  QWidget index=1 text=\"\" name=\"nativeSurface\""), std::string::npos) << text.out;
}

TEST(Tree, ShowsTheGalleryOffscreenAndOnARealXServer)
{
    // Native windows are X windows under Xvfb, made by the xcb platform.
    const QString xvfbRun = QStandardPaths::findExecutable(str("xvfb-run"));
    QProcessEnvironment xEnvironment = QProcessEnvironment::systemEnvironment();
    xEnvironment.remove(str("QT_QPA_PLATFORM"));
    xEnvironment.remove(str("DISPLAY"));
    for (const bool onX : { false, true }) {
        SCOPED_TRACE(onX ? "xvfb" : "offscreen");
        if (onX && xvfbRun.isEmpty())
            GTEST_SKIP() << "xvfb-run is not installed (scripts/install-deps.sh installs it)";
        const QJsonObject tree = onX ? jsonTreeOf({ str(VRQT_TEST_GALLERY) }, xEnvironment, { xvfbRun, str("-a") })
                                     : jsonTreeOf({ str(VRQT_TEST_GALLERY) });
        const QJsonObject main = mainWindowOf(tree);
        EXPECT_EQ(field(main, "objectName"), str("galleryWindow"));
        int alienWidgets = 0, buttonGroups = 0;
        for (const TreeNode &entry : flatten(tree)) {
            alienWidgets += flag(entry.node, "native") ? 0 : 1;
            const std::vector<QJsonObject> buttons = childrenOfClass(entry.node, str("QPushButton"));
            if (buttons.size() >= 2) {
                ++buttonGroups;
                expectCountedInOrder(buttons);
            }
        }
        EXPECT_GE(alienWidgets, 50) << "the gallery is made of alien widgets";
        EXPECT_GE(buttonGroups, 1) << "some push buttons stand side by side";
        const TreeNode surface = findByName(tree, str("nativeSurface"));
        EXPECT_TRUE(flag(surface.node, "native"));
        EXPECT_NE(surface.node.value(str("window")), main.value(str("window")));
        EXPECT_EQ(field(surface.parent, "objectName"), str("galleryWindow"));
        EXPECT_EQ(field(findByName(tree, str("nativeInsideButton")).parent, "objectName"), str("nativeSurface"));
    }
}

TEST(Tree, RectanglesStayInDeviceIndependentPixelsWhenTheScreenIsScaled)
{
    // The module reports what Qt's geometry says; the window's ratio is what
    // a host multiplies by to act on the screen.
    QJsonObject plain, scaled;
    for (const char *factor : { "1", "2" }) {
        SCOPED_TRACE(factor);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(str("QT_SCALE_FACTOR"), str(factor));
        const QJsonObject tree = jsonTreeOf(kHostWindow, environment);
        (factor[0] == '1' ? plain : scaled) = tree;
        EXPECT_EQ(mainWindowOf(tree).value(str("devicePixelRatio")).toDouble(), std::atof(factor));
    }
    // The window's size is the program's own choice; the layout inside it
    // may round differently with larger fonts.
    const QJsonObject before = findByName(plain, str("hostWindow")).node, after = findByName(scaled, str("hostWindow")).node;
    for (const char *member : { "x", "y", "width", "height", "screenX", "screenY" })
        EXPECT_EQ(number(before, member), number(after, member)) << member;
    expectPlacedInParent(findByName(scaled, str("firstButton")));
    EXPECT_EQ(findByName(scaled, str("nativeSurface")).node.value(str("devicePixelRatio")).toDouble(), 2.0);
}

TEST(Tree, ShowsAQtExampleThatDebianShips)
{
    // The calculator of Qt's widget examples (package qtbase5-examples):
    // nobody here wrote it, and it has no object names at all.
    if (::access(VRQT_TEST_DEBIAN_PROGRAM, X_OK) != 0)
        GTEST_SKIP() << VRQT_TEST_DEBIAN_PROGRAM " is not installed: Debian 12 packages Qt's examples for Qt 5 only";
    const QJsonObject main = mainWindowOf(jsonTreeOf({ str(VRQT_TEST_DEBIAN_PROGRAM) }));
    EXPECT_EQ(field(main, "className"), str("Calculator"));
    EXPECT_EQ(field(main, "qtText"), str("Calculator"));
    const std::vector<QJsonObject> buttons = childrenOfClass(main, str("Button"));
    ASSERT_GE(buttons.size(), 20u);
    expectCountedInOrder(buttons);
    QSet<QString> captions;
    for (const QJsonObject &button : buttons)
        captions.insert(field(button, "qtText"));
    for (const char *caption : { "Backspace", "7", "=", "Sqrt" })
        EXPECT_TRUE(captions.contains(str(caption))) << caption;
}
