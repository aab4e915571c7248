// Pictures: what an object shows, saved as PNG, with the rectangles of what
// can be named in it; through the agent in the gallery.
#include <gtest/gtest.h>

#include <QColor>
#include <QHash>
#include <QImage>
#include <QJsonArray>
#include <QRect>
#include <QTemporaryDir>

#include <ostream>

#include "agentharness.h"
#include "treedocument.h"

using namespace std::chrono_literals;
using namespace vrqt::testing;
using vrqt::protocol::Deadline;

// For the failure messages.
static void PrintTo(const QRect &rect, std::ostream *out)
{
    *out << rect.x() << "," << rect.y() << " " << rect.width() << "x" << rect.height();
}

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

QStringList NamesOf(const QJsonObject &result)
{
    QStringList names;
    for (const QJsonValue &rect : result.value(str("rectangles")).toArray())
        names << rect.toObject().value(str("name")).toString();
    return names;
}

QRect RectOf(const QJsonObject &rect, const char *x, const char *y)
{
    return QRect(rect.value(str(x)).toInt(), rect.value(str(y)).toInt(), rect.value(str("width")).toInt(), rect.value(str("height")).toInt());
}

// An object's items on the screen, by the names shot gives them: a tree
// item's path, a table's header sections as "row|" and "|column", else the key.
void ScreenRects(const QJsonArray &entries, const QString &before, QHash<QString, QRect> *rects)
{
    for (const QJsonValue &value : entries) {
        const QJsonObject entry = value.toObject();
        const QJsonArray cells = entry.value(str("cells")).toArray();
        const QString key = before + entry.value(str("key")).toString() + (cells.isEmpty() ? QString() : str("|"));
        const QJsonObject rect = entry.value(str("rect")).toObject();
        if (rect.contains(str("screenX")))
            rects->insert(entry.value(str("path")).toString(key), RectOf(rect, "screenX", "screenY"));
        ScreenRects(entry.value(str("children")).toArray(), QString(), rects);
        ScreenRects(cells, QString(), rects);
    }
}

} // namespace

// The outlines of a picture sit on the items: every rectangle lies in the
// picture and is what shows of the item's rectangle as the helpers report
// it (cut to the viewport or tab bar); the outline is drawn along each one.
TEST(Pictures, OutlinesSitOnTheItems)
{
    AgentHarness harness;
    std::string failure;
    ASSERT_TRUE(harness.start({ VRQT_TEST_GALLERY }, {}, &failure)) << failure;
    QTemporaryDir folder;
    int id = 1;
    auto call = [&](const char *name, const QJsonObject &params) {
        const auto response = harness.call(id++, str(name), params);
        EXPECT_TRUE(response && response->ok) << name << ": " << (response ? response->error.message.toStdString() : "no answer");
        return response && response->ok ? response->result.toObject() : QJsonObject();
    };
    // Part of the list and of the tab bar is scrolled away; a tree item open.
    call("item", { { str("object"), str("itemTree") }, { str("key"), str("Archive") }, { str("action"), str("expand") } });
    const QJsonObject tree = call("tree", {});
    const std::string outlineColour = QColor(220, 0, 80).name().toStdString();

    for (const char *pictured : { "itemList", "itemTree", "pages", "listsPage" }) {
        SCOPED_TRACE(pictured);
        const QString plainFile = folder.filePath(str(pictured) + str(".png"));
        const QString outlinedFile = folder.filePath(str(pictured) + str("-outlined.png"));
        const QJsonObject plainShot = call("shot", { { str("object"), str(pictured) }, { str("path"), plainFile } });
        const QJsonObject shot = call("shot", { { str("object"), str(pictured) }, { str("path"), outlinedFile }, { str("outline"), true } });
        const QImage plain = QImage(plainFile).convertToFormat(QImage::Format_RGB32);
        const QImage outlined = QImage(outlinedFile).convertToFormat(QImage::Format_RGB32);
        ASSERT_FALSE(plain.isNull() || outlined.isNull());
        EXPECT_EQ(plainShot.value(str("rectangles")), shot.value(str("rectangles"))) << "drawing names nothing else";
        const TreeNode node = findByName(tree, str(pictured));
        const QPoint origin(node.node.value(str("screenX")).toInt(), node.node.value(str("screenY")).toInt());

        // The helpers' rectangles of each object whose items the picture names,
        // and where each such object shows its items.
        QHash<QString, QHash<QString, QRect>> itemRects;
        QHash<QString, QRect> showing;
        QHash<QString, QRect> named; // "owner\nname": on the screen
        int compared = 0, drawn = 0;
        for (const QJsonValue &value : shot.value(str("rectangles")).toArray()) {
            const QJsonObject rectangle = value.toObject();
            const QString name = rectangle.value(str("name")).toString();
            const QString owner = rectangle.value(str("object")).toString(shot.value(str("object")).toString());
            const QRect inPicture = RectOf(rectangle, "x", "y");
            SCOPED_TRACE(name.toStdString());
            EXPECT_TRUE(!inPicture.isEmpty() && plain.rect().contains(inPicture)) << "outside the picture";
            if (name.startsWith(QLatin1Char('/')))
                continue; // a widget
            if (!itemRects.contains(owner)) {
                const QJsonObject listed = call("items", { { str("object"), owner } });
                ScreenRects(listed.value(str("columns")).toArray(), str("|"), &itemRects[owner]);
                ScreenRects(listed.value(str("items")).toArray(), QString(), &itemRects[owner]);
                // Rows and cells show through the viewport, tabs through the tab bar.
                const TreeNode ownerNode = findByName(tree, owner.section(QLatin1Char('/'), -1));
                QRect area = RectOf(ownerNode.node, "screenX", "screenY");
                for (const QJsonValue &child : ownerNode.node.value(str("children")).toArray()) {
                    const QJsonObject part = child.toObject();
                    if (part.value(str("objectName")).toString() == str("qt_scrollarea_viewport") || part.value(str("className")).toString() == str("QTabBar"))
                        area = RectOf(part, "screenX", "screenY");
                }
                showing.insert(owner, area & RectOf(node.node, "screenX", "screenY"));
            }
            ASSERT_TRUE(itemRects[owner].contains(name)) << "named as items names no item of " << owner.toStdString();
            const QRect onScreen = inPicture.translated(origin);
            named.insert(owner + QLatin1Char('\n') + name, onScreen);
            const QRect item = itemRects[owner].value(name);
            EXPECT_EQ(onScreen & item, onScreen) << "beyond the item";
            // A header section shows outside the viewport: only the above holds for it.
            if (item.intersects(showing.value(owner))) {
                EXPECT_EQ(onScreen, item & showing.value(owner)) << "not what shows of the item";
                ++compared;
            }
            // The label stays inside the outline: each edge shows.
            for (const QPoint edge : { QPoint(inPicture.center().x(), inPicture.top()), QPoint(inPicture.center().x(), inPicture.bottom()),
                                       QPoint(inPicture.left(), inPicture.center().y()), QPoint(inPicture.right(), inPicture.center().y()) }) {
                EXPECT_EQ(QColor(outlined.pixel(edge)).name().toStdString(), outlineColour) << "no outline at " << edge.x() << "," << edge.y();
                EXPECT_NE(QColor(plain.pixel(edge)).name().toStdString(), outlineColour);
            }
            ++drawn;
        }
        EXPECT_GT(compared, 2) << "items compared";
        EXPECT_GT(drawn, 2) << "outlines looked at";
        // Every item that shows is named, with what shows of it.
        for (auto owner = itemRects.cbegin(); owner != itemRects.cend(); ++owner) {
            for (auto item = owner->cbegin(); item != owner->cend(); ++item) {
                if (item->intersects(showing.value(owner.key()))) {
                    EXPECT_EQ(named.value(owner.key() + QLatin1Char('\n') + item.key()), *item & showing.value(owner.key())) << item.key().toStdString();
                }
            }
        }
    }

    harness.call(id++, str("quit"));
    harness.program().waitUntil(Deadline::after(30s));
}

TEST(Pictures, AnObjectItsItemsAndTheirOutline)
{
    AgentHarness harness;
    std::string failure;
    ASSERT_TRUE(harness.start({ VRQT_TEST_GALLERY }, {}, &failure)) << failure;
    QTemporaryDir folder;
    int id = 1;
    auto shot = [&](QJsonObject params) { return harness.call(id++, str("shot"), params); };

    const QString plain = folder.filePath(str("list.png")), outlined = folder.filePath(str("outlined.png"));
    const auto list = shot({ { str("object"), str("itemList") }, { str("path"), plain } });
    ASSERT_TRUE(list && list->ok) << (list ? list->error.message.toStdString() : "no answer");
    const auto drawn = shot({ { str("object"), str("itemList") }, { str("path"), outlined }, { str("outline"), true } });
    ASSERT_TRUE(drawn && drawn->ok);
    const QImage picture(plain), withOutline(outlined);
    ASSERT_FALSE(picture.isNull());
    EXPECT_EQ(picture.width(), list->result.toObject().value(str("width")).toInt());
    EXPECT_NE(picture.convertToFormat(QImage::Format_RGB32), withOutline.convertToFormat(QImage::Format_RGB32)) << "the outline is drawn";
    // A list's rows by their keys: duplicates by index.
    const QStringList rows = NamesOf(list->result.toObject());
    EXPECT_TRUE(rows.contains(str("Apple")) && rows.contains(str("[1]"))) << rows.join(str(", ")).toStdString();

    // The main window's widgets by their exact paths.
    const auto main = shot({ { str("path"), folder.filePath(str("main.png")) } });
    ASSERT_TRUE(main && main->ok);
    EXPECT_EQ(main->result.toObject().value(str("object")).toString(), str("/galleryWindow"));
    EXPECT_TRUE(NamesOf(main->result.toObject()).contains(str("/galleryWindow/menuBar")));

    const auto relative = shot({ { str("path"), str("list.png") } });
    ASSERT_TRUE(relative);
    EXPECT_EQ(relative->error.code, str("invalid-params"));
    const auto timer = shot({ { str("object"), str("QAction#1") }, { str("path"), folder.filePath(str("x.png")) } });
    ASSERT_TRUE(timer);
    EXPECT_EQ(timer->error.code, str("invalid-params")) << "an action shows nothing";

    harness.call(id++, str("quit"));
    harness.program().waitUntil(Deadline::after(30s));
}
