// The agent's scripting requests inside this process: objects found by the
// names `vrqt tree` shows, values as JSON, errors as codes, and the type
// description's chain.
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QPushButton>

#include "host/agent/objectpath.h"
#include "host/agent/scriptrequests.h"
#include "host/protocol/protocol.h"
#include "scriptables.h"
#include "scriptsupport.h"

using namespace scripttest;
using vrqt::agent::FindObject;
using vrqt::agent::ObjectPath;
using vrqt::agent::Reply;
using vrqt::agent::ScriptRequests;
namespace error = vrqt::protocol::error;

namespace {

QJsonObject json(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

QString address(const void *pointer)
{
    return vrqt::scripting::AddressText(pointer);
}

// A window as the tests name it: two buttons called okButton in two
// windows, unnamed labels, and a plain object among the widgets.
class ScriptRequestsTest : public ScriptingTest
{
protected:
    ScriptRequestsTest()
    {
        window.setObjectName(QStringLiteral("window"));
        ok->setObjectName(QStringLiteral("okButton"));
        target->setObjectName(QStringLiteral("target"));
        dialog.setObjectName(QStringLiteral("dialog"));
        otherOk->setObjectName(QStringLiteral("okButton"));
    }

    Reply request(const char *name, const QJsonObject &params)
    {
        const QString request = QLatin1String(name);
        if (request == QLatin1String("get"))
            return requests.get(params);
        if (request == QLatin1String("set"))
            return requests.set(params);
        if (request == QLatin1String("call"))
            return requests.call(params);
        return requests.describe(params);
    }

    QWidget window;
    QPushButton *ok = new QPushButton(QStringLiteral("OK"), &window);
    QLabel *firstLabel = new QLabel(QStringLiteral("first"), &window);
    QLabel *secondLabel = new QLabel(QStringLiteral("second"), &window);
    ScriptTarget *target = new ScriptTarget(&window);
    QWidget dialog;
    QPushButton *otherOk = new QPushButton(QStringLiteral("Other"), &dialog);
    ScriptRequests requests{ module };
};

} // namespace

TEST_F(ScriptRequestsTest, FindsObjectsByTheNamesTheTreeShows)
{
    struct Row {
        QString reference;
        QObject *expected;
        const char *error;
    } rows[] = {
        { QStringLiteral("window/okButton"), ok, nullptr },
        { QStringLiteral("dialog/okButton"), otherOk, nullptr },
        { QStringLiteral("window/QLabel[2]"), secondLabel, nullptr },
        { QStringLiteral("ScriptTarget"), target, nullptr },
        { QStringLiteral("@") + address(secondLabel), secondLabel, nullptr },
        { QStringLiteral("okButton"), nullptr, error::kAmbiguousObject },
        { QStringLiteral("nowhere"), nullptr, error::kNoSuchObject },
        { QStringLiteral("dialog/target"), nullptr, error::kNoSuchObject },
        { QStringLiteral("window//okButton"), ok, nullptr },
        { QStringLiteral("window/"), nullptr, error::kInvalidParams },
        { QStringLiteral("@0x10"), nullptr, error::kNoSuchObject },
        { QStringLiteral("@zz"), nullptr, error::kInvalidParams },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.reference.toStdString());
        const vrqt::agent::ObjectLookup lookup = FindObject(row.reference, module.objects());
        EXPECT_EQ(lookup.object, row.expected) << lookup.message.toStdString();
        EXPECT_STREQ(lookup.error, row.error);
    }
    EXPECT_EQ(ObjectPath(secondLabel), QStringLiteral("/window/QLabel[2]"));
    for (QObject *object : std::initializer_list<QObject *>{ ok, otherOk, secondLabel, target })
        EXPECT_EQ(FindObject(ObjectPath(object), module.objects()).object, object) << ObjectPath(object).toStdString();
    const QString ambiguity = FindObject(QStringLiteral("okButton"), module.objects()).message;
    EXPECT_TRUE(ambiguity.contains(QStringLiteral("window/okButton")) && ambiguity.contains(QStringLiteral("dialog/okButton")))
        << ambiguity.toStdString();
}

TEST_F(ScriptRequestsTest, ReadsWritesAndCallsByRequest)
{
    struct Row {
        const char *name;
        const char *request;
        const char *params;
        const char *error;          // the code of a refusal
        const char *resultValue;    // the "value" of the result as compact JSON
    } rows[] = {
        { "a QString property", "get", R"({"object":"window/okButton","member":"text"})", nullptr, R"("OK")" },
        { "a number written as text", "set", R"({"object":"target","member":"count","value":"5"})", nullptr, nullptr },
        { "a call with texts", "call", R"({"object":"target","method":"join","arguments":["a","b"]})", nullptr, R"("ab")" },
        { "quoted digits stay text", "set", R"({"object":"target","member":"title","value":"\"42\""})", nullptr, nullptr },
        { "a QRect from text", "set", R"({"object":"target","member":"area","value":"1,2 3x4"})", nullptr, nullptr },
        { "a part of a value", "get", R"({"object":"target","member":"area.width"})", nullptr, "3" },
        { "an object by its reference", "set", R"({"object":"target","member":"partner","value":"window/okButton"})", nullptr, nullptr },
        { "a member of an object read on the way", "get", R"({"object":"target","member":"partner.text"})", nullptr, R"("OK")" },
        { "a call with numbers", "call", R"({"object":"target","method":"add","arguments":[2,"40"]})", nullptr, "42" },
        { "a call with an object", "call", R"({"object":"target","method":"isPartner","arguments":["window/okButton"]})", nullptr, "true" },
        { "a text that is no QRect", "set", R"({"object":"target","member":"area","value":"1,2"})", error::kInvalidParams, nullptr },
        { "no such member", "get", R"({"object":"target","member":"nothing"})", error::kNoSuchMember, nullptr },
        { "a scalar has no members", "get", R"({"object":"target","member":"count.x"})", error::kNoSuchMember, nullptr },
        { "no such object", "get", R"({"object":"nowhere","member":"x"})", error::kNoSuchObject, nullptr },
        { "an argument missing", "call", R"({"object":"target","method":"add","arguments":[1]})", error::kInvokeFailed, nullptr },
        { "an argument of no literal", "call", R"({"object":"target","method":"add","arguments":[[1],2]})", error::kInvalidParams, nullptr },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const Reply reply = request(row.request, json(row.params));
        if (row.error) {
            EXPECT_FALSE(reply.ok);
            EXPECT_EQ(reply.error.code, QLatin1String(row.error)) << reply.error.message.toStdString();
            continue;
        }
        ASSERT_TRUE(reply.ok) << reply.error.code.toStdString() << ": " << reply.error.message.toStdString();
        if (row.resultValue) {
            const QJsonValue value = reply.result.toObject().value(QStringLiteral("value"));
            EXPECT_EQ(QJsonDocument(QJsonArray{ value }).toJson(QJsonDocument::Compact),
                      QByteArray("[") + row.resultValue + "]");
        }
    }
    EXPECT_EQ(target->count, 5);
    EXPECT_EQ(target->title, QStringLiteral("42"));
    EXPECT_EQ(target->area, QRect(1, 2, 3, 4));
    EXPECT_EQ(target->partner, ok);

    const Reply failed = request("call", json(R"({"object":"target","method":"add","arguments":[1]})"));
    EXPECT_EQ(failed.error.details.value(QStringLiteral("hresult")).toString(), QStringLiteral("0x8002000E"));
    EXPECT_EQ(failed.error.details.value(QStringLiteral("hresultText")).toString(), QStringLiteral("Invalid number of parameters."));
}

TEST_F(ScriptRequestsTest, RendersValuesWithTheirTypesAndParts)
{
    target->area = QRect(5, 6, 7, 8);
    target->partner = ok;
    const QJsonObject area = request("get", json(R"({"object":"target","member":"area"})")).result.toObject();
    EXPECT_EQ(area, json(R"({"vt":"VT_DISPATCH","typeName":"QRect","value":"5,6 7x8","parts":{"x":5,"y":6,"width":7,"height":8}})"));
    const QJsonObject partner = request("get", json(R"({"object":"target","member":"partner"})")).result.toObject();
    EXPECT_EQ(partner.value(QStringLiteral("typeName")), QStringLiteral("QObject*"));
    EXPECT_EQ(partner.value(QStringLiteral("value")), address(ok));
    EXPECT_EQ(partner.value(QStringLiteral("object")).toObject(),
              (QJsonObject{ { QStringLiteral("address"), address(ok) }, { QStringLiteral("className"), QStringLiteral("QPushButton") },
                            { QStringLiteral("objectName"), QStringLiteral("okButton") }, { QStringLiteral("path"), QStringLiteral("/window/okButton") } }));
    target->gate.release(); // hold goes straight through
    const QJsonObject nothing = request("call", json(R"({"object":"target","method":"hold"})")).result.toObject();
    EXPECT_EQ(nothing, json(R"({"vt":"VT_EMPTY","value":null})")) << "a void method gives nothing";
}

TEST_F(ScriptRequestsTest, DescribesTheChainOfTypeDescriptions)
{
    const Reply reply = request("describe", json(R"({"object":"target"})"));
    ASSERT_TRUE(reply.ok) << reply.error.message.toStdString();
    const QJsonObject result = reply.result.toObject();
    EXPECT_EQ(result.value(QStringLiteral("object")).toObject().value(QStringLiteral("path")), QStringLiteral("/window/target"));
    const QJsonArray chain = result.value(QStringLiteral("chain")).toArray();
    ASSERT_EQ(chain.size(), 2);
    EXPECT_EQ(chain.at(0).toObject().value(QStringLiteral("typeName")), QStringLiteral("ScriptTarget"));
    EXPECT_EQ(chain.at(1).toObject().value(QStringLiteral("typeName")), QStringLiteral("QObject"));

    auto member = [&chain](int level, const char *name) {
        for (const QJsonValue &entry : chain.at(level).toObject().value(QStringLiteral("members")).toArray()) {
            QJsonObject found = entry.toObject();
            if (found.value(QStringLiteral("name")) == QLatin1String(name)) {
                found.remove(QStringLiteral("memberId"));
                return found;
            }
        }
        return QJsonObject();
    };
    EXPECT_EQ(member(0, "count"),
              json(R"({"name":"count","kinds":["get","put"],"type":"VT_INT","parameters":[],"usage":2,"usageName":"property","qtType":"int"})"));
    EXPECT_EQ(member(0, "add"),
              json(R"({"name":"add","kinds":["method"],"type":"VT_INT","parameters":["VT_INT","VT_INT"],"usage":3,"usageName":"method",
                       "qtType":"int","qtParameters":["int","int"]})"));
    EXPECT_EQ(member(1, "QtClassName").value(QStringLiteral("description")), QStringLiteral("The name of the object's class."));

    const Reply through = request("describe", json(R"({"object":"target","member":"partner"})"));
    EXPECT_EQ(through.result.toObject().value(QStringLiteral("member")).toObject().value(QStringLiteral("qtType")), QStringLiteral("QObject*"))
        << "a null partner is no object: the property itself is described";
    target->partner = ok;
    const Reply button = request("describe", json(R"({"object":"target","member":"partner"})"));
    EXPECT_EQ(button.result.toObject().value(QStringLiteral("chain")).toArray().at(0).toObject().value(QStringLiteral("typeName")),
              QStringLiteral("QPushButton"));
}
