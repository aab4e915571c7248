// Naming objects: every path the tree prints names exactly its object, and
// the selector forms find what they say, in the gallery.
#include <gtest/gtest.h>

#include <QJsonArray>

#include "programtest.h"

using namespace vrqt::testing;

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

// Every node of a tree document, objects and the application included.
void collect(const QJsonObject &node, QList<QJsonObject> *into)
{
    into->append(node);
    for (const char *below : { "children", "objects" }) {
        for (const QJsonValue &child : node.value(QLatin1String(below)).toArray())
            collect(child.toObject(), into);
    }
}

class Paths : public ProgramTest
{
protected:
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(start({ VRQT_TEST_GALLERY })); }

    // The address of the object a reference names, or the error code.
    QString resolve(const QString &reference)
    {
        const auto response = harness.call(id++, str("describe"), { { str("object"), reference } });
        if (!response)
            return str("no answer");
        if (!response->ok)
            return response->error.code;
        return response->result.toObject().value(str("object")).toObject().value(str("address")).toString();
    }
};

} // namespace

TEST_F(Paths, EveryPrintedPathNamesExactlyItsObject)
{
    const auto tree = harness.call(id++, str("tree"), { { str("objects"), true } });
    ASSERT_TRUE(tree && tree->ok);
    QList<QJsonObject> nodes;
    for (const QJsonValue &window : tree->result.toObject().value(str("windows")).toArray())
        collect(window.toObject(), &nodes);
    collect(tree->result.toObject().value(str("application")).toObject(), &nodes);
    ASSERT_GT(nodes.size(), 300) << "the gallery's objects, its actions and menus among them";
    QSet<QString> paths;
    for (const QJsonObject &node : nodes) {
        const QString path = node.value(str("path")).toString();
        SCOPED_TRACE(path.toStdString());
        ASSERT_TRUE(path.startsWith(QLatin1Char('/')));
        EXPECT_FALSE(paths.contains(path)) << "printed twice";
        paths.insert(path);
        const QString address = node.value(str("address")).toString();
        const QString resolved = resolve(path);
        // Qt's animations end and delete themselves meanwhile.
        if (resolved == str("no-such-object") && resolve(str("@") + address) == resolved)
            continue;
        EXPECT_EQ(resolved, address);
    }
}

TEST_F(Paths, SelectorsNarrowByPropertyIndexAndDepth)
{
    const QString group = str("/galleryWindow//commandGroup");
    const QString fullRun = resolve(group + str("/QPushButton[4]"));
    const QString quickRun = resolve(group + str("/QPushButton[3]"));
    ASSERT_TRUE(fullRun.startsWith(str("0x"))) << fullRun.toStdString();
    ASSERT_NE(fullRun, quickRun);
    struct Row {
        const char *reference;
        QString expected;
    } rows[] = {
        { "runButton", str("ambiguous-object") },
        { "runButton[toolTip=\"Full check\"]", fullRun },
        { "runButton#2", fullRun },
        { "QPushButton[text=Run]#1", quickRun },
        { "commandGroup/*[text=Run][toolTip=Quick check]", quickRun },
        { "deleteButton[enabled=false]", resolve(str("deleteButton")) },
        { "deleteButton[enabled=true]", str("no-such-object") },
        { "applyButton[focusPolicy=StrongFocus]", resolve(str("applyButton")) },
        { "runButton#3", str("no-such-object") },
        { "/commandGroup", str("no-such-object") },
        { "galleryWindow/commandGroup", str("no-such-object") },
        { "runButton[toolTip", str("invalid-params") },
        { "runButton#0", str("invalid-params") },
        { "galleryWindow//", str("invalid-params") },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.reference);
        EXPECT_EQ(resolve(str(row.reference)), row.expected);
    }
}
