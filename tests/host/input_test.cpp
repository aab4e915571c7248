// Acting like a user, through the agent in the gallery: clicks on objects,
// tabs, list rows and menu paths, typing, key sequences and the wheel, with
// input synthesized inside the program (offscreen), and the refusals for a
// target a user could not reach.
#include <gtest/gtest.h>

#include "agentharness.h"

using namespace std::chrono_literals;
using namespace vrqt::testing;
using vrqt::protocol::Deadline;

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

class Input : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string failure;
        ASSERT_TRUE(harness.start({ VRQT_TEST_GALLERY }, {}, &failure)) << failure;
        ASSERT_TRUE(harness.call(id++, str("status")));
    }

    void TearDown() override
    {
        harness.call(id++, str("quit"));
        harness.program().waitUntil(Deadline::after(30s));
    }

    // The answer to an input request: its error code, empty when it was done.
    QString act(QJsonObject params)
    {
        const auto reply = harness.call(id++, str("input"), params);
        return !reply ? str("no answer") : reply->ok ? QString() : reply->error.code + str(": ") + reply->error.message;
    }

    QJsonValue get(const char *object, const char *member)
    {
        const auto reply = harness.call(id++, str("get"), { { str("object"), str(object) }, { str("member"), str(member) } });
        return reply && reply->ok ? reply->result.toObject().value(str("value")) : QJsonValue(reply ? reply->error.message : str("no answer"));
    }

    AgentHarness harness;
    int id = 1;
};

} // namespace

TEST_F(Input, ClicksTypingKeysAndTheWheelReachTheWidgets)
{
    EXPECT_EQ(act({ { str("action"), str("click") }, { str("object"), str("itemList") }, { str("item"), str("Cherry") } }), QString());
    EXPECT_EQ(get("itemList", "currentRow"), QJsonValue(3));

    EXPECT_EQ(act({ { str("action"), str("click") }, { str("object"), str("pages") }, { str("item"), str("Buttons") } }), QString());
    EXPECT_EQ(act({ { str("action"), str("click") }, { str("object"), str("counterButton") } }), QString());
    EXPECT_EQ(act({ { str("action"), str("dclick") }, { str("object"), str("counterButton") } }), QString());
    EXPECT_EQ(get("counterButton", "clickCount"), QJsonValue(3)) << "a click, and a double click's two presses";

    EXPECT_EQ(act({ { str("action"), str("click") }, { str("object"), str("pages") }, { str("item"), str("Save & Load") } }), QString());
    EXPECT_EQ(act({ { str("action"), str("key") }, { str("object"), str("fileNameEdit") }, { str("sequence"), str("Ctrl+A") } }), QString());
    EXPECT_EQ(act({ { str("action"), str("type") }, { str("object"), str("fileNameEdit") }, { str("text"), str("Plan B.txt") } }), QString());
    EXPECT_EQ(get("fileNameEdit", "text"), QJsonValue(str("Plan B.txt")));
    EXPECT_EQ(act({ { str("action"), str("key") }, { str("object"), str("fileNameEdit") }, { str("sequence"), str("Backspace") } }), QString());
    EXPECT_EQ(act({ { str("action"), str("key") }, { str("object"), str("fileNameEdit") }, { str("sequence"), str("Shift+Home") } }), QString());
    EXPECT_EQ(act({ { str("action"), str("type") }, { str("object"), str("fileNameEdit") }, { str("text"), str("A") } }), QString());
    EXPECT_EQ(get("fileNameEdit", "text"), QJsonValue(str("A"))) << "Shift+Home selected what was left, and typing replaced it";

    EXPECT_EQ(act({ { str("action"), str("click") }, { str("object"), str("pages") }, { str("item"), str("Controls") } }), QString());
    const int before = get("quantitySpin", "value").toInt();
    EXPECT_EQ(act({ { str("action"), str("scroll") }, { str("object"), str("quantitySpin") }, { str("steps"), 2 } }), QString());
    EXPECT_EQ(get("quantitySpin", "value").toInt(), before + 2);

    // An entry deep in a menu, through the bar, as a user opens each menu.
    EXPECT_EQ(act({ { str("action"), str("click") }, { str("object"), str("menuBar") }, { str("item"), str("File|Open Recent|report.odt") } }), QString());
    EXPECT_TRUE(get("activityLog", "plainText").toString().contains(str("report.odt")));
}

TEST_F(Input, ATargetAUserCouldNotReachIsRefusedWithWhatIsWrong)
{
    struct Row {
        const char *name;
        QJsonObject params;
        const char *says;
    } rows[] = {
        { "on a page not shown", { { str("action"), str("click") }, { str("object"), str("counterButton") } }, "is not visible" },
        { "a disabled item", { { str("action"), str("click") }, { str("object"), str("pages") }, { str("item"), str("Reports") } }, "is disabled" },
        { "no such item", { { str("action"), str("click") }, { str("object"), str("itemList") }, { str("item"), str("Durian") } }, "has no item" },
        { "not a key sequence", { { str("action"), str("key") }, { str("object"), str("itemList") }, { str("sequence"), str("Ctrl+Nonsense") } }, "no key sequence" },
        { "no such action", { { str("action"), str("poke") }, { str("object"), str("itemList") } }, "is one of" },
        { "an object that shows nothing", { { str("action"), str("click") }, { str("object"), str("actionSave") } }, "is no widget" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const QString refusal = act(row.params);
        EXPECT_FALSE(refusal.isEmpty());
        EXPECT_TRUE(refusal.contains(str(row.says))) << refusal.toStdString();
    }
}
