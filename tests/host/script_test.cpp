// The scripting requests in a real program with the real module: vrqt get,
// set, call and describe on the gallery, and one conversation that keeps
// what it changed.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>

#include "agentharness.h"
#include "host/protocol/protocol.h"
#include "vrqtrun.h"

using namespace std::chrono_literals;
using namespace vrqt::testing;
using vrqt::protocol::Deadline;

namespace {

constexpr std::chrono::milliseconds kRunLimit{ 120000 };

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

QJsonObject params(std::initializer_list<std::pair<const char *, QJsonValue>> members)
{
    QJsonObject object;
    for (const auto &[name, value] : members)
        object.insert(QLatin1String(name), value);
    return object;
}

} // namespace

TEST(Script, VrqtGetsSetsCallsAndDescribesInTheGallery)
{
    struct Row {
        const char *name;
        QStringList arguments;
        int exitCode;
        const char *out; // the whole of standard output, or null
        const char *says; // in standard output on success, else in standard error
    } rows[] = {
        { "a text property", { str("get"), str("counterButton"), str("text") }, 0, "Count\n", nullptr },
        { "a method with a text and a number", { str("call"), str("counterButton"), str("describe"), str("-> "), str("2") }, 0,
          "-> Count -> Count\n", nullptr },
        { "a write prints nothing", { str("set"), str("counterButton"), str("tone"), str("2") }, 0, "", nullptr },
        { "the chain of descriptions", { str("describe"), str("counterButton") }, 0, nullptr, "\nGalleryButton\n  clickCount" },
        { "no such member", { str("get"), str("counterButton"), str("nothing") }, 4, "", "no-such-member" },
        { "a failed call with its HRESULT", { str("set"), str("counterButton"), str("clickCount"), str("many") }, 7, "",
          "0x80020005 Type mismatch." },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const VrqtRun run = runVrqt(QStringList{ row.arguments.first(), str("--timeout"), str("60") } + row.arguments.mid(1)
                                        << str("--") << str(VRQT_TEST_GALLERY),
                                    kRunLimit);
        ASSERT_TRUE(run.finished);
        EXPECT_EQ(run.exitCode, row.exitCode) << run.err;
        if (row.out) {
            EXPECT_EQ(run.out, row.out);
        }
        if (row.says) {
            EXPECT_NE((row.exitCode == 0 ? run.out : run.err).find(row.says), std::string::npos) << run.out << run.err;
        }
    }

    const VrqtRun json = runVrqt({ str("get"), str("--json"), str("counterButton"), str("geometry"), str("--"), str(VRQT_TEST_GALLERY) },
                                 kRunLimit);
    ASSERT_EQ(json.exitCode, 0) << json.err;
    const QJsonObject geometry = QJsonDocument::fromJson(QByteArray::fromStdString(json.out)).object();
    EXPECT_EQ(geometry.value(str("typeName")), str("QRect"));
    EXPECT_GT(geometry.value(str("parts")).toObject().value(str("width")).toInt(), 0);
}

TEST(Script, AConversationKeepsWhatItChanged)
{
    AgentHarness harness;
    std::string failure;
    ASSERT_TRUE(harness.start({ VRQT_TEST_GALLERY }, {}, &failure)) << failure;
    const QJsonValue counter = str("counterButton");
    struct Step {
        const char *name;
        const char *request;
        QJsonObject params;
        QJsonValue value;
    } steps[] = {
        { "write", "set", params({ { "object", counter }, { "member", str("clickCount") }, { "value", 3 } }), QJsonValue() },
        { "call", "call", params({ { "object", counter }, { "method", str("addClicks") }, { "arguments", QJsonArray{ 2 } } }), 5 },
        { "read back", "get", params({ { "object", counter }, { "member", str("clickCount") } }), 5 },
        { "a flag from text", "set", params({ { "object", counter }, { "member", str("checkable") }, { "value", str("true") } }), QJsonValue() },
        { "read as a flag", "get", params({ { "object", counter }, { "member", str("checkable") } }), true },
    };
    int id = 1;
    for (const Step &step : steps) {
        SCOPED_TRACE(step.name);
        const auto response = harness.call(id++, QLatin1String(step.request), step.params);
        ASSERT_TRUE(response);
        ASSERT_TRUE(response->ok) << response->error.code.toStdString() << ": " << response->error.message.toStdString();
        if (!step.value.isNull()) {
            EXPECT_EQ(response->result.toObject().value(str("value")), step.value);
        }
    }
    const auto quit = harness.call(id, str("quit"));
    ASSERT_TRUE(quit);
    ASSERT_TRUE(harness.program().waitUntil(Deadline::after(30s)));
    EXPECT_TRUE(harness.program().status().clean()) << harness.program().status().describe();
}
