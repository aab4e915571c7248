// Reading is reading, on the gallery with the real module: get and describe
// of every member of its main window and of a button change nothing a tree
// shows; the window, which main() keeps on its stack, cannot be deleted; a
// widget the gallery points at can, and the gallery lives on.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>

#include "agentharness.h"
#include "host/protocol/protocol.h"
#include "vrqtrun.h"

using namespace std::chrono_literals;
using namespace vrqt::testing;
using vrqt::protocol::Deadline;
namespace error = vrqt::protocol::error;

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

class GalleryConversation
{
public:
    bool start(std::string *failure) { return harness.start({ VRQT_TEST_GALLERY }, {}, failure); }

    vrqt::protocol::Response call(const char *request, const QJsonObject &params = {})
    {
        const auto response = harness.call(++id, QLatin1String(request), params);
        EXPECT_TRUE(response) << "no answer to " << request;
        return response.value_or(vrqt::protocol::Response{});
    }

    QStringList memberNames(const QString &object)
    {
        QStringList names;
        const auto described = call("describe", { { str("object"), object } });
        for (const QJsonValue &type : described.result.toObject().value(str("chain")).toArray()) {
            for (const QJsonValue &member : type.toObject().value(str("members")).toArray())
                names << member.toObject().value(str("name")).toString();
        }
        return names;
    }

    AgentHarness harness;
    int id = 0;
};

} // namespace

TEST(GalleryReading, GetAndDescribeOfEveryMemberLeaveTheProgramAsItWas)
{
    GalleryConversation gallery;
    std::string failure;
    ASSERT_TRUE(gallery.start(&failure)) << failure;
    while (!gallery.call("status").result.toObject().value(str("mainWidgetShown")).toBool())
        ASSERT_FALSE(gallery.harness.program().finished());
    const QJsonValue before = gallery.call("tree").result;

    int refused = 0;
    for (const QString &object : { str("galleryWindow"), str("counterButton") }) {
        const QStringList names = gallery.memberNames(object);
        ASSERT_GT(names.size(), 100) << object.toStdString();
        for (const QString &name : names) {
            SCOPED_TRACE((object + QLatin1Char('.') + name).toStdString());
            const QJsonObject params{ { str("object"), object }, { str("member"), name } };
            const auto got = gallery.call("get", params);
            if (!got.ok) {
                EXPECT_EQ(got.error.code, QLatin1String(error::kNotAProperty)) << got.error.message.toStdString();
                ++refused;
            }
            EXPECT_TRUE(gallery.call("describe", params).ok);
        }
    }
    EXPECT_GT(refused, 50) << "the methods were refused";
    EXPECT_EQ(gallery.call("tree").result, before);

    const auto deleted = gallery.call("call", { { str("object"), str("galleryWindow") }, { str("method"), str("deleteLater") } });
    EXPECT_EQ(deleted.error.code, QLatin1String(error::kNotDeletable)) << deleted.error.message.toStdString();
    ASSERT_TRUE(gallery.call("call", { { str("object"), str("activityLog") }, { str("method"), str("deleteLater") } }).ok);
    EXPECT_TRUE(gallery.call("call", { { str("object"), str("galleryWindow") }, { str("method"), str("logActivity") },
                                       { str("arguments"), QJsonArray{ str("logged where there is no log") } } })
                    .ok);
    EXPECT_TRUE(gallery.call("tree").ok) << "the gallery lives on";

    EXPECT_TRUE(gallery.call("quit").ok);
    ASSERT_TRUE(gallery.harness.program().waitUntil(Deadline::after(30s)));
    EXPECT_TRUE(gallery.harness.program().status().clean()) << gallery.harness.program().status().describe();
}

TEST(GalleryReading, VrqtPrintsTheProgramsTextsEscaped)
{
    // describe("\e[2J\e]0;pwned\a", 1) gives the prefix and the button's text.
    const VrqtRun run = runVrqt({ str("call"), str("--timeout"), str("60"), str("counterButton"), str("describe"),
                                  QString::fromUtf8("\x1b[2J\x1b]0;pwned\x07"), str("1"), str("--"), str(VRQT_TEST_GALLERY) },
                                120s);
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "\\x1B[2J\\x1B]0;pwned\\x07Count\n");
}
