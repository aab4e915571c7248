// `vrqt tree` on real programs with the real module: our own target, the
// gallery, and a Qt example program that Debian ships.
#include <gtest/gtest.h>

#include <QSet>
#include <QStandardPaths>

#include <sstream>

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

// Runs vrqt tree on command and expects it to succeed, the program's clean
// end included (vrqt exits 3 otherwise).
VrqtRun runTree(const QStringList &command, bool json)
{
    QStringList arguments{ str("tree"), str("--timeout"), str("60") };
    if (json)
        arguments << str("--json");
    return runVrqt(arguments << str("--") << command, kRunLimit);
}

QJsonObject jsonTreeOf(const QStringList &command)
{
    const VrqtRun run = runTree(command, true);
    EXPECT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    std::string error;
    const QJsonObject tree = parseTree(run.out, &error);
    EXPECT_FALSE(tree.isEmpty()) << error << "\n" << run.out;
    return tree;
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
    for (std::size_t index = 0; index < siblings.size(); ++index) {
        SCOPED_TRACE(field(siblings[index], "qtText").toStdString());
        EXPECT_EQ(number(siblings[index], "qtIndex"), int(index) + 1);
    }
}

const QStringList kHostWindow{ QString::fromStdString(targetPath("hostwindow")) };

} // namespace

TEST(Tree, ShowsTheHostWindowAsTheModuleSeesIt)
{
    const QJsonObject tree = jsonTreeOf(kHostWindow);
    const QJsonArray windows = tree.value(str("windows")).toArray();
    ASSERT_GE(windows.size(), 2);

    // The main window comes first, although Qt lists the tool window first.
    const QJsonObject main = windows.at(0).toObject();
    EXPECT_EQ(field(main, "className"), str("QMainWindow"));
    EXPECT_EQ(field(main, "objectName"), str("hostWindow"));
    EXPECT_EQ(field(main, "qtText"), str("Host Window"));
    EXPECT_TRUE(main.value(str("native")).toBool());
    EXPECT_EQ(main.value(str("window")), tree.value(str("mainWindow")));
    EXPECT_TRUE(main.value(str("visible")).toBool());
    EXPECT_TRUE(findByName(tree, str("toolWindow")).parent.isEmpty()) << "the tool window is a top-level window";
    EXPECT_TRUE(findByName(tree, str("neverShownDialog")).node.isEmpty()) << "a window that was never made is not listed";

    const TreeNode pages = findByName(tree, str("pages"));
    EXPECT_EQ(field(pages.node, "className"), str("QTabWidget"));
    EXPECT_FALSE(pages.node.value(str("native")).toBool());
    EXPECT_EQ(field(pages.parent, "objectName"), str("hostWindow"));

    const TreeNode page = findByName(tree, str("buttonsPage"));
    const std::vector<QJsonObject> buttons = childrenOfClass(page.node, str("QPushButton"));
    ASSERT_EQ(buttons.size(), 3u);
    expectCountedInOrder(buttons);
    EXPECT_EQ(field(buttons[0], "qtText"), str("First"));
    EXPECT_EQ(field(buttons[2], "qtText"), str("Third"));
    EXPECT_EQ(number(findByName(tree, str("caption")).node, "qtIndex"), 1) << "a label counts among labels only";
    EXPECT_EQ(field(findByName(tree, str("caption")).node, "qtText"), str("Caption"));
    for (const char *name : { "buttonsPage", "firstButton", "thirdButton", "caption", "insideButton" })
        expectPlacedInParent(findByName(tree, str(name)));

    // The native surface hangs under the widget of its native parent window.
    const TreeNode surface = findByName(tree, str("nativeSurface"));
    EXPECT_TRUE(surface.node.value(str("native")).toBool());
    EXPECT_GT(surface.node.value(str("window")).toDouble(), 0);
    EXPECT_EQ(field(surface.parent, "objectName"), str("hostWindow"));
    const TreeNode inside = findByName(tree, str("insideButton"));
    EXPECT_EQ(field(inside.parent, "objectName"), str("nativeSurface"));
    EXPECT_FALSE(inside.node.value(str("native")).toBool());

    const QJsonObject locked = findByName(tree, str("lockedEdit")).node;
    EXPECT_FALSE(locked.value(str("enabled")).toBool(true));
    EXPECT_FALSE(locked.value(str("visible")).toBool(true)) << "it is on the hidden tab";

    QSet<QString> addresses;
    for (const TreeNode &entry : flatten(tree))
        addresses.insert(field(entry.node, "address"));
    EXPECT_EQ(std::size_t(addresses.size()), flatten(tree).size()) << "each widget appears once";
}

TEST(Tree, PrintsTheSameTreeAsTextOneLineAWidget)
{
    const QJsonObject tree = jsonTreeOf(kHostWindow);
    const VrqtRun run = runTree(kHostWindow, false);
    ASSERT_TRUE(run.finished);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    std::vector<std::string> lines;
    std::istringstream text(run.out);
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    const std::vector<TreeNode> nodes = flatten(tree);
    ASSERT_EQ(lines.size(), nodes.size()) << run.out;
    for (std::size_t index = 0; index < nodes.size(); ++index) {
        SCOPED_TRACE(lines[index]);
        const std::string indent(std::size_t(nodes[index].depth) * 2, ' ');
        const std::string className = field(nodes[index].node, "className").toStdString();
        EXPECT_EQ(lines[index].rfind(indent + className + " ", 0), 0u);
        // Addresses differ between the two runs; names and classes do not.
        EXPECT_NE(lines[index].find("name=\"" + field(nodes[index].node, "objectName").toStdString() + "\""), std::string::npos);
    }
    EXPECT_NE(lines.front().find(" main "), std::string::npos);
    EXPECT_NE(run.out.find("  QWidget index=1 text=\"\" name=\"nativeSurface\""), std::string::npos);
}

TEST(Tree, ShowsTheGallery)
{
    const QJsonObject tree = jsonTreeOf({ str(VRQT_TEST_GALLERY) });
    const QJsonObject main = tree.value(str("windows")).toArray().at(0).toObject();
    EXPECT_EQ(field(main, "objectName"), str("galleryWindow"));
    EXPECT_EQ(field(main, "qtText"), str("vrQt Gallery"));
    EXPECT_EQ(main.value(str("window")), tree.value(str("mainWindow")));

    const std::vector<TreeNode> nodes = flatten(tree);
    int tabWidgets = 0, alienWidgets = 0, buttonGroups = 0;
    for (const TreeNode &entry : nodes) {
        tabWidgets += field(entry.node, "className") == str("QTabWidget") ? 1 : 0;
        alienWidgets += entry.node.value(str("native")).toBool() ? 0 : 1;
        const std::vector<QJsonObject> buttons = childrenOfClass(entry.node, str("QPushButton"));
        if (buttons.size() >= 2) {
            ++buttonGroups;
            SCOPED_TRACE(field(entry.node, "objectName").toStdString());
            expectCountedInOrder(buttons);
        }
    }
    EXPECT_GE(tabWidgets, 1);
    EXPECT_GE(alienWidgets, 50) << "the gallery is made of alien widgets";
    EXPECT_GE(buttonGroups, 1) << "some push buttons stand side by side";

    const TreeNode surface = findByName(tree, str("nativeSurface"));
    ASSERT_FALSE(surface.node.isEmpty());
    EXPECT_TRUE(surface.node.value(str("native")).toBool());
    EXPECT_EQ(field(surface.parent, "objectName"), str("galleryWindow"));
    EXPECT_EQ(field(findByName(tree, str("nativeInsideButton")).parent, "objectName"), str("nativeSurface"));
}

TEST(Tree, ShowsTheGalleryOnARealXServer)
{
    // Native windows are X windows here, made by the xcb platform.
    const QString xvfbRun = QStandardPaths::findExecutable(str("xvfb-run"));
    if (xvfbRun.isEmpty())
        GTEST_SKIP() << "xvfb-run is not installed (scripts/install-deps.sh installs it)";
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(str("QT_QPA_PLATFORM"));
    environment.remove(str("DISPLAY"));
    const VrqtRun run = runVrqt({ str("tree"), str("--json"), str("--timeout"), str("60"), str("--"), str(VRQT_TEST_GALLERY) },
                                kRunLimit, environment, { xvfbRun, str("-a") });
    ASSERT_TRUE(run.finished);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    std::string error;
    const QJsonObject tree = parseTree(run.out, &error);
    const QJsonObject main = tree.value(str("windows")).toArray().at(0).toObject();
    EXPECT_EQ(field(main, "objectName"), str("galleryWindow"));
    EXPECT_EQ(main.value(str("window")), tree.value(str("mainWindow")));
    const TreeNode surface = findByName(tree, str("nativeSurface"));
    EXPECT_TRUE(surface.node.value(str("native")).toBool());
    EXPECT_NE(surface.node.value(str("window")), main.value(str("window")));
    EXPECT_FALSE(findByName(tree, str("pages")).node.isEmpty());
}

TEST(Tree, ShowsAQtExampleThatDebianShips)
{
    // The calculator of Qt's widget examples (package qtbase5-examples):
    // nobody here wrote it, and it has no object names at all.
    const QJsonObject tree = jsonTreeOf({ str(VRQT_TEST_DEBIAN_PROGRAM) });
    const QJsonObject main = tree.value(str("windows")).toArray().at(0).toObject();
    EXPECT_EQ(field(main, "className"), str("Calculator"));
    EXPECT_EQ(field(main, "qtText"), str("Calculator"));
    EXPECT_EQ(childrenOfClass(main, str("QLineEdit")).size(), 1u);
    const std::vector<QJsonObject> buttons = childrenOfClass(main, str("Button"));
    ASSERT_GE(buttons.size(), 20u);
    expectCountedInOrder(buttons);
    QSet<QString> captions;
    for (const QJsonObject &button : buttons)
        captions.insert(field(button, "qtText"));
    for (const char *caption : { "Backspace", "Clear", "7", "=", "Sqrt" })
        EXPECT_TRUE(captions.contains(str(caption))) << caption;
}
