// Acting like a user, through the agent in the gallery: clicks on every kind
// of item, typing beyond Latin-1, shortcuts, a drag that reorders a list,
// and the refusals for a target a user could not reach. The same program
// runs offscreen (input synthesized inside the gallery) and under Xvfb with
// QT_QPA_PLATFORM=xcb (real input through XTest, tests/realinput); every
// answer must say which of the two it gave.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>

#include <ostream>

#include "programtest.h"

using namespace vrqt::testing;

// Readable failures: the texts and values themselves.
void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

void PrintTo(const QJsonValue &value, std::ostream *out)
{
    *out << QJsonDocument(QJsonArray{ value }).toJson(QJsonDocument::Compact).toStdString();
}

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

class Input : public ProgramTest
{
protected:
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(start({ VRQT_TEST_GALLERY })); }

    // The answer to an input request: its error, empty when it was done.
    // Done input must be real exactly when the program runs on an X server;
    // then the program settles, as vrqt lets it.
    QString act(QJsonObject params)
    {
        const auto reply = harness.call(id++, str("input"), params);
        if (!reply)
            return str("no answer");
        if (!reply->ok)
            return reply->error.code + str(": ") + reply->error.message;
        const bool real = qgetenv("QT_QPA_PLATFORM") == "xcb";
        EXPECT_EQ(reply->result.toObject().value(str("real")), QJsonValue(real)) << "the input was not given the way the platform wants";
        harness.call(id++, str("settle"), { { str("timeout"), 5000 } });
        return QString();
    }

    QString act(const char *action, const char *object, const char *item = nullptr, QJsonObject more = {})
    {
        more.insert(str("action"), str(action));
        more.insert(str("object"), str(object));
        if (item)
            more.insert(str("item"), str(item));
        return act(more);
    }

    QJsonValue get(const char *object, const char *member)
    {
        const auto reply = harness.call(id++, str("get"), { { str("object"), str(object) }, { str("member"), str(member) } });
        return reply && reply->ok ? reply->result.toObject().value(str("value")) : QJsonValue(reply ? reply->error.message : str("no answer"));
    }

    QString log() { return get("activityLog", "plainText").toString(); }

    // The texts of a list's rows, in order.
    QStringList rows(const char *list)
    {
        const auto reply = harness.call(id++, str("items"), { { str("object"), str(list) } });
        QStringList texts;
        for (const QJsonValue &row : reply ? reply->result.toObject().value(str("items")).toArray() : QJsonArray())
            texts.append(row.toObject().value(str("text")).toString());
        return texts;
    }
};

} // namespace

TEST_F(Input, AClickReachesExactlyTheItemAimedAt)
{
    // Each effect comes from Qt's own signal path: a clicked() the button
    // counts, a current row or index a click sets, a signal the gallery logs.
    struct Row {
        const char *name;
        const char *page;
        const char *action;
        const char *object;
        const char *item;
        const char *member; // of object, or the activity log when null
        QJsonValue expected;
    } rows[] = {
        { "a button", "Buttons", "click", "counterButton", nullptr, "clickCount", 1 },
        { "a list row", "Lists", "click", "itemList", "Date", "currentRow", 5 },
        { "a table cell", "Lists", "click", "itemTable", "2|Price", nullptr, str("Orders: row 2, Price clicked") },
        { "a tree item", "Lists", "dclick", "itemTree", "Drafts", nullptr, str("Tree: Drafts opened") },
        { "a combo box entry", "Controls", "click", "sizeCombo", "Large", "currentIndex", 2 },
        { "a tab", nullptr, "click", "pages", "Models", "currentIndex", 1 },
        { "a menu entry", nullptr, "click", "menuBar", "File|Open Recent|report.odt", nullptr, str("Action: report.odt") },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        if (row.page) {
            ASSERT_EQ(act("click", "pages", row.page), QString());
        }
        EXPECT_EQ(act(row.action, row.object, row.item), QString());
        if (row.member) {
            EXPECT_EQ(get(row.object, row.member), row.expected);
        } else {
            EXPECT_TRUE(log().contains(row.expected.toString())) << log().toStdString();
        }
    }
}

TEST_F(Input, AMenuTheBarHasNoRoomForIsReachedThroughItsExtension)
{
    ASSERT_TRUE(harness.call(id++, str("set"), { { str("object"), str("galleryWindow") }, { str("member"), str("size") },
                                                  { str("value"), str("480x600") } })->ok);
    harness.call(id++, str("settle"), { { str("timeout"), 5000 } });
    ASSERT_TRUE(get("qt_menubar_ext_button", "visible").toBool()) << "the window is not narrow enough for the bar to overflow";
    EXPECT_EQ(act("click", "menuBar", "Window|Tile"), QString());
    EXPECT_TRUE(log().contains(str("Action: Tile"))) << log().toStdString();
}

TEST_F(Input, TypedTextAndKeySequencesArriveAsTyped)
{
    ASSERT_EQ(act("click", "pages", "Save & Load"), QString());
    EXPECT_EQ(act("key", "fileNameEdit", nullptr, { { str("sequence"), str("Ctrl+A") } }), QString());
    // Beyond the keyboard's keys: Latin-1, Greek and Japanese.
    EXPECT_EQ(act("type", "fileNameEdit", nullptr, { { str("text"), str("Grüße, Ωmega, 日本") } }), QString());
    EXPECT_EQ(get("fileNameEdit", "text"), QJsonValue(str("Grüße, Ωmega, 日本")));
    EXPECT_EQ(act("key", "fileNameEdit", nullptr, { { str("sequence"), str("Backspace") } }), QString());
    EXPECT_EQ(act("key", "fileNameEdit", nullptr, { { str("sequence"), str("Shift+Home") } }), QString());
    EXPECT_EQ(act("type", "fileNameEdit", nullptr, { { str("text"), str("A") } }), QString());
    EXPECT_EQ(get("fileNameEdit", "text"), QJsonValue(str("A"))) << "Shift+Home selected what was left, and typing replaced it";

    // Shortcuts of the window's actions, from the focus in the line edit.
    EXPECT_EQ(act("key", "fileNameEdit", nullptr, { { str("sequence"), str("Ctrl+S") } }), QString());
    EXPECT_TRUE(log().contains(str("Action: Save"))) << log().toStdString();
    EXPECT_EQ(act("key", "fileNameEdit", nullptr, { { str("sequence"), str("F7") } }), QString());
    EXPECT_TRUE(log().contains(str("Action: Spelling"))) << log().toStdString();

    EXPECT_EQ(act("click", "pages", "Controls"), QString());
    const int before = get("quantitySpin", "value").toInt();
    EXPECT_EQ(act("scroll", "quantitySpin", nullptr, { { str("steps"), 2 } }), QString());
    EXPECT_EQ(get("quantitySpin", "value").toInt(), before + 2);
}

TEST_F(Input, ADragReordersAList)
{
    const QStringList before = rows("taskList");
    ASSERT_EQ(before.size(), 4);
    // Dropped on the middle of the third row, the first goes below it.
    EXPECT_EQ(act("drag", "taskList", before[0].toUtf8().constData(),
                  { { str("to"), QJsonObject{ { str("object"), str("taskList") }, { str("item"), before[2] } } } }),
              QString());
    EXPECT_EQ(rows("taskList"), (QStringList{ before[1], before[2], before[0], before[3] }));
}

TEST_F(Input, ATargetAUserCouldNotReachIsRefusedAndNothingChanges)
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
        EXPECT_TRUE(refusal.contains(str(row.says))) << refusal.toStdString();
    }

    // A disabled button, and a tab under the find window that Ctrl+F shows
    // over the top left of the pages.
    ASSERT_EQ(act("click", "pages", "Buttons"), QString());
    const QString logBefore = log();
    EXPECT_TRUE(act("click", "deleteButton").contains(str("is disabled")));
    EXPECT_EQ(act("key", "counterButton", nullptr, { { str("sequence"), str("Ctrl+F") } }), QString());
    ASSERT_TRUE(get("findWindow", "visible").toBool()) << "Ctrl+F did not show the find window";
    const QString covered = act("click", "pages", "Lists");
    EXPECT_TRUE(covered.contains(str("is covered at"))) << covered.toStdString();
    EXPECT_TRUE(covered.contains(str("findWindow"))) << covered.toStdString();
    EXPECT_EQ(get("pages", "currentIndex"), QJsonValue(4)) << "the covered tab was clicked all the same";
    EXPECT_EQ(log().mid(logBefore.size()).trimmed(), str("Action: Find")) << "something but the find entry's shortcut acted";
}
