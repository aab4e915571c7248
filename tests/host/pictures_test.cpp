// Pictures: what an object shows, saved as PNG, with the rectangles of what
// can be named in it; through the agent in the gallery.
#include <gtest/gtest.h>

#include <QImage>
#include <QJsonArray>
#include <QTemporaryDir>

#include "agentharness.h"

using namespace std::chrono_literals;
using namespace vrqt::testing;
using vrqt::protocol::Deadline;

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

} // namespace

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
