// The agent's item requests inside this process, with the real module and
// real widgets: keys as a user writes them, states and rectangles as Qt
// has them, actions that change the widgets, and clear errors.
#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QJsonArray>
#include <QLabel>
#include <QListWidget>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "../qt_support.h"
#include "host/agent/itemkeys.h"
#include "host/agent/itemrequests.h"
#include "host/protocol/protocol.h"
#include "scriptsupport.h"

using namespace scripttest;
using vrqt::agent::ItemRequests;
using vrqt::agent::Reply;
namespace error = vrqt::protocol::error;

namespace {

QString str(const char *text)
{
    return QString::fromUtf8(text);
}

QJsonArray itemsOf(const Reply &reply)
{
    EXPECT_TRUE(reply.ok) << reply.error.message.toStdString();
    return reply.result.toObject().value(str("items")).toArray();
}

QStringList keysOf(const QJsonArray &items)
{
    QStringList keys;
    for (const QJsonValue &item : items)
        keys.append(item.toObject().value(str("key")).toString());
    return keys;
}

// The value of key among an editor's values.
QJsonValue valueOf(const Reply &reply, const char *key)
{
    for (const QJsonValue &value : reply.result.toObject().value(str("values")).toArray()) {
        if (value.toObject().value(str("key")).toString() == QLatin1String(key))
            return value.toObject().value(str("value"));
    }
    return QJsonValue(QJsonValue::Undefined);
}

class ItemRequestsTest : public ScriptingTest
{
protected:
    void SetUp() override
    {
        ScriptingTest::SetUp();
        window.setObjectName(str("window"));
        auto *layout = new QVBoxLayout(&window);
        list->setObjectName(str("list"));
        list->addItems({ str("a"), str("b"), str("a"), QString(), str("x|y") });
        table->setObjectName(str("table"));
        table->setHorizontalHeaderLabels({ str("Name"), str("Age") });
        table->setVerticalHeaderLabels({ str("first"), str("second"), str("first") });
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 2; ++column)
                table->setItem(row, column, new QTableWidgetItem(QStringLiteral("%1,%2").arg(row).arg(column)));
        }
        tree->setObjectName(str("tree"));
        auto *animals = new QTreeWidgetItem(tree, { str("Animals") });
        new QTreeWidgetItem(animals, { str("Dog") });
        new QTreeWidgetItem(animals, { str("Cat") });
        new QTreeWidgetItem(animals, { str("Cat") });
        new QTreeWidgetItem(tree, { str("Plants") });
        spin->setObjectName(str("spin"));
        spin->setRange(0, 50);
        check->setObjectName(str("check"));
        check->setTristate(true);
        label->setObjectName(str("label"));
        for (QWidget *widget : std::initializer_list<QWidget *>{ list, table, tree, spin, check, label })
            layout->addWidget(widget);
        window.resize(400, 700);
        window.show();
        ASSERT_TRUE(qttest::waitUntil([this] { return window.isVisible() && window.effectiveWinId() != 0; }));
    }

    Reply items(const char *object) { return requests.items({ { str("object"), str(object) } }); }
    Reply item(const char *object, const char *key, const char *action, const char *value = "")
    {
        return requests.item({ { str("object"), str(object) }, { str("key"), str(key) }, { str("action"), str(action) },
                               { str("value"), str(value) } });
    }

    QWidget window;
    QListWidget *list = new QListWidget;
    QTableWidget *table = new QTableWidget(3, 2);
    QTreeWidget *tree = new QTreeWidget;
    QSpinBox *spin = new QSpinBox;
    QCheckBox *check = new QCheckBox(str("Check"));
    QLabel *label = new QLabel(str("Label"));
    ItemRequests requests{ module };
};

} // namespace

TEST_F(ItemRequestsTest, KeysAreUniqueTextsOrIndexesAndNameTheirItemsBack)
{
    EXPECT_EQ(keysOf(itemsOf(items("list"))), QStringList({ str("[0]"), str("b"), str("[2]"), str("[3]"), str("x\\|y") }));
    const QJsonArray top = itemsOf(items("tree"));
    ASSERT_EQ(top.size(), 2);
    const QJsonArray animals = top.at(0).toObject().value(str("children")).toArray();
    QStringList paths;
    for (const QJsonValue &child : animals)
        paths.append(child.toObject().value(str("path")).toString());
    EXPECT_EQ(paths, QStringList({ str("Animals|Dog"), str("Animals|[1]"), str("Animals|[2]") }));

    // Each printed key acts on its own item.
    ASSERT_TRUE(item("list", "[2]", "select").ok);
    EXPECT_TRUE(list->item(2)->isSelected());
    EXPECT_FALSE(list->item(0)->isSelected());
    ASSERT_TRUE(item("list", "x\\|y", "select").ok);
    EXPECT_TRUE(list->item(4)->isSelected());
    ASSERT_TRUE(item("list", "[2]", "deselect").ok);
    EXPECT_FALSE(list->item(2)->isSelected());

    struct Row {
        const char *name;
        const char *object;
        const char *key;
        const char *says;
    } refusals[] = {
        { "a duplicate text", "list", "a", "name one by its index, [0] or [2]" },
        { "an index past the end", "list", "[9]", "there is no item [9]: 5 items are here" },
        { "a path in a flat list", "list", "b|c", "is a path" },
        { "a missing tree level", "tree", "Animals|Fish", "level 2 of \"Animals|Fish\": no item is called \"Fish\"" },
        { "a cell without its column", "table", "first", "\"row|column\"" },
    };
    for (const Row &row : refusals) {
        SCOPED_TRACE(row.name);
        const Reply reply = item(row.object, row.key, "scroll");
        ASSERT_FALSE(reply.ok);
        EXPECT_EQ(reply.error.code, str(error::kNoSuchItem));
        EXPECT_TRUE(reply.error.message.contains(str(row.says))) << reply.error.message.toStdString();
    }
}

TEST_F(ItemRequestsTest, RectanglesAreWhereQtDrawsTheItems)
{
    const QJsonArray rows = itemsOf(items("list"));
    ASSERT_EQ(rows.size(), 5);
    const QJsonObject rect = rows.at(1).toObject().value(str("rect")).toObject();
    const QRect drawn = list->visualItemRect(list->item(1));
    EXPECT_EQ(rect.value(str("width")).toInt(), drawn.width());
    EXPECT_EQ(QPoint(rect.value(str("screenX")).toInt(), rect.value(str("screenY")).toInt()),
              list->viewport()->mapToGlobal(drawn.topLeft()));

    const QJsonObject cell = itemsOf(items("table")).at(1).toObject().value(str("cells")).toArray().at(1).toObject();
    EXPECT_EQ(cell.value(str("key")).toString(), str("second|Age"));
    EXPECT_EQ(cell.value(str("text")).toString(), str("1,1"));
    const QRect cellRect = table->visualRect(table->model()->index(1, 1));
    const QJsonObject where = cell.value(str("rect")).toObject();
    EXPECT_EQ(QPoint(where.value(str("screenX")).toInt(), where.value(str("screenY")).toInt()),
              table->viewport()->mapToGlobal(cellRect.topLeft()));
}

TEST_F(ItemRequestsTest, ActionsChangeTheWidgetsAndSayTheStateAfterwards)
{
    const Reply expanded = item("tree", "Animals", "expand");
    ASSERT_TRUE(expanded.ok) << expanded.error.message.toStdString();
    EXPECT_TRUE(expanded.result.toObject().value(str("expanded")).toBool());
    EXPECT_TRUE(tree->topLevelItem(0)->isExpanded());

    const Reply written = item("table", "[2]|Name", "setText", "changed");
    ASSERT_TRUE(written.ok) << written.error.message.toStdString();
    EXPECT_EQ(table->item(2, 0)->text(), str("changed"));
    EXPECT_EQ(written.result.toObject().value(str("text")).toString(), str("changed"));

    const Reply set = item("spin", "value", "set", "42");
    ASSERT_TRUE(set.ok) << set.error.message.toStdString();
    EXPECT_EQ(spin->value(), 42);
    EXPECT_EQ(valueOf(set, "value").toInt(), 42);
    ASSERT_TRUE(item("spin", "value", "step", "-2").ok);
    EXPECT_EQ(spin->value(), 40);

    struct State {
        const char *value;
        Qt::CheckState state;
    } states[] = { { "checked", Qt::Checked }, { "2", Qt::PartiallyChecked }, { "unchecked", Qt::Unchecked } };
    for (const State &state : states) {
        SCOPED_TRACE(state.value);
        ASSERT_TRUE(item("check", "state", "set", state.value).ok);
        EXPECT_EQ(check->checkState(), state.state);
    }

    const Reply wrongValue = item("spin", "value", "set", "many");
    EXPECT_EQ(wrongValue.error.code, str(error::kInvalidParams));
    EXPECT_EQ(spin->value(), 40);
    const Reply wrongAction = item("list", "b", "expand");
    EXPECT_EQ(wrongAction.error.code, str(error::kInvalidParams));
    EXPECT_TRUE(wrongAction.error.message.contains(str("select, deselect and scroll")));
}

TEST_F(ItemRequestsTest, AnObjectNoHelperServesIsNamedWithItsClasses)
{
    const Reply reply = items("label");
    ASSERT_FALSE(reply.ok);
    EXPECT_EQ(reply.error.code, str(error::kNoHelper));
    EXPECT_TRUE(reply.error.message.contains(str("window/label is a QLabel (QLabel < QFrame < QWidget < QObject)")))
        << reply.error.message.toStdString();
    EXPECT_EQ(items("nothing").error.code, str(error::kNoSuchObject));
}
