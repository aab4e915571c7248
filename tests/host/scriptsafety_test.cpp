// What scripting must never do to the program: run a method when asked to
// read, delete an object that does not live on the heap; and enumerations
// by name both ways, with the Qt type of every member.
#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPointer>
#include <QSemaphore>
#include <QThread>
#include <QWidget>

#include "host/agent/addressspace.h"
#include "host/agent/requests.h"
#include "host/agent/scriptrequests.h"
#include "host/protocol/protocol.h"
#include "scriptsupport.h"

using namespace scripttest;
using vrqt::agent::Reply;
using vrqt::agent::ScriptRequests;
using vrqt::agent::Storage;
using vrqt::agent::StorageOf;
namespace error = vrqt::protocol::error;

// Counts every call of its methods; its properties only read.
class Watched : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int count MEMBER count)
    Q_PROPERTY(Mode mode MEMBER mode)
    Q_PROPERTY(Options options READ optionsRead WRITE setOptions) // moc takes no MEMBER of a flags type
    Q_PROPERTY(QRect area MEMBER area)
    Q_PROPERTY(QObject *partner MEMBER partner)

public:
    enum Mode { Quiet, Loud, VeryLoud = 7 };
    Q_ENUM(Mode)
    enum Option { Bold = 1, Italic = 2, Underlined = 4 };
    Q_DECLARE_FLAGS(Options, Option)
    Q_FLAG(Options)

    using QObject::QObject;

    Options optionsRead() const { return options; }
    void setOptions(Options value) { options = value; }

    Q_INVOKABLE void poke() { ++calls; }
    Q_INVOKABLE QString join(const QString &left, int times)
    {
        ++calls;
        return left.repeated(times);
    }
    Q_INVOKABLE QObject *self()
    {
        ++calls;
        return this;
    }

    int count = 0;
    Mode mode = Quiet;
    Options options;
    QRect area;
    QObject *partner = nullptr;
    int calls = 0;
};

namespace {

QJsonObject json(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

QJsonObject params(const QString &object, const QString &member)
{
    return { { QStringLiteral("object"), object }, { QStringLiteral("member"), member } };
}

Watched staticWatched;

class ScriptSafetyTest : public ScriptingTest
{
protected:
    ScriptSafetyTest() { watched->setObjectName(QStringLiteral("watched")); }

    QWidget window;
    Watched *watched = new Watched(&window);
    ScriptRequests requests{ module };
};

} // namespace

// The gallery's test does the same for every member of real widgets.
TEST_F(ScriptSafetyTest, ReadingCallsNothingAndNamesQtTypes)
{
    const Reply described = requests.describe({ { QStringLiteral("object"), QStringLiteral("watched") } });
    ASSERT_TRUE(described.ok) << described.error.message.toStdString();
    QJsonObject byName;
    for (const QJsonValue &member : described.result.toObject().value(QStringLiteral("chain")).toArray().at(0).toObject().value(QStringLiteral("members")).toArray()) {
        const QString name = member.toObject().value(QStringLiteral("name")).toString();
        byName.insert(name, member);
        SCOPED_TRACE(name.toStdString());
        const Reply got = requests.get(params(QStringLiteral("watched"), name));
        EXPECT_TRUE(got.ok || got.error.code == QLatin1String(error::kNotAProperty)) << got.error.message.toStdString();
        EXPECT_TRUE(requests.describe(params(QStringLiteral("watched"), name)).ok);
    }
    EXPECT_EQ(requests.get(params(QStringLiteral("watched"), QStringLiteral("self.count"))).error.code, QLatin1String(error::kNotAProperty))
        << "a method on the way is refused too";
    EXPECT_EQ(watched->calls, 0);

    const struct {
        const char *member;
        const char *qtType;
    } rows[] = { { "count", "int" },          { "area", "QRect" },     { "partner", "QObject*" }, { "mode", "Watched::Mode" },
                 { "options", "Watched::Options" }, { "poke", "void" }, { "join", "QString" } };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.member);
        EXPECT_EQ(byName.value(QLatin1String(row.member)).toObject().value(QStringLiteral("qtType")).toString(), QLatin1String(row.qtType));
    }
    EXPECT_EQ(byName.value(QStringLiteral("join")).toObject().value(QStringLiteral("qtParameters")),
              QJsonArray({ QStringLiteral("QString"), QStringLiteral("int") }));
    EXPECT_EQ(byName.value(QStringLiteral("mode")).toObject().value(QStringLiteral("keys")),
              QJsonArray({ QStringLiteral("Quiet"), QStringLiteral("Loud"), QStringLiteral("VeryLoud") }));
    EXPECT_TRUE(requests.call(json(R"({"object":"watched","method":"poke"})")).ok);
    EXPECT_EQ(watched->calls, 1) << "call still runs methods";
}

TEST_F(ScriptSafetyTest, EnumerationsAndFlagsByNameBothWays)
{
    const struct {
        const char *member;
        const char *written;
        int stored;     // -1: refused with invalid-params
        const char *shown;
    } rows[] = {
        { "mode", "Loud", Watched::Loud, "Loud" },
        { "mode", "Watched::VeryLoud", Watched::VeryLoud, "VeryLoud" },
        { "mode", "loud", Watched::Loud, "Loud" },
        { "mode", "7", Watched::VeryLoud, "VeryLoud" },
        { "mode", "Shouting", -1, nullptr },
        { "mode", "Quiet|Loud", -1, nullptr },
        { "options", "Bold|Underlined", Watched::Bold | Watched::Underlined, "Bold|Underlined" },
        { "options", "Italic", Watched::Italic, "Italic" },
        { "options", "3", Watched::Bold | Watched::Italic, "Bold|Italic" },
        { "options", "Bold|Heavy", -1, nullptr },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.member) + " = " + row.written);
        QJsonObject write = params(QStringLiteral("watched"), QLatin1String(row.member));
        write.insert(QStringLiteral("value"), QLatin1String(row.written));
        const Reply written = requests.set(write);
        if (row.stored < 0) {
            EXPECT_EQ(written.error.code, QLatin1String(error::kInvalidParams));
            EXPECT_TRUE(written.error.message.contains(QStringLiteral("Quiet")) || written.error.message.contains(QStringLiteral("Bold")))
                << "the message lists the names";
            continue;
        }
        ASSERT_TRUE(written.ok) << written.error.message.toStdString();
        const int stored = QLatin1String(row.member) == QLatin1String("mode") ? int(watched->mode) : int(watched->options);
        EXPECT_EQ(stored, row.stored);
        const QJsonObject read = requests.get(params(QStringLiteral("watched"), QLatin1String(row.member))).result.toObject();
        EXPECT_EQ(read.value(QStringLiteral("name")).toString(), QLatin1String(row.shown));
        EXPECT_EQ(read.value(QStringLiteral("value")).toInt(), row.stored) << "the number stays in the value";
    }
}

// A thread whose run() keeps an object on its own stack until released.
class StackThread : public QThread
{
public:
    QPointer<QObject> object;
    QSemaphore made;

    void run() override
    {
        QObject local;
        local.setObjectName(QStringLiteral("threadLocal"));
        object = &local;
        made.release();
        exec();
    }
};

TEST_F(ScriptSafetyTest, DeletionOfWhatIsNotOnTheHeapIsRefused)
{
    QObject onStack;
    QObject *heapParent = new QObject(&window);
    QObject stackChild;
    stackChild.setParent(heapParent);
    QWidget closingWidget(&window);
    closingWidget.setAttribute(Qt::WA_DeleteOnClose);
    EXPECT_EQ(StorageOf(&onStack), Storage::Stack);
    EXPECT_EQ(StorageOf(&staticWatched), Storage::Static);
    EXPECT_EQ(StorageOf(heapParent), Storage::Heap);

    StackThread thread;
    thread.start();
    ASSERT_TRUE(thread.made.tryAcquire(1, 10000));
    QMetaObject::invokeMethod(thread.object, [] {}, Qt::BlockingQueuedConnection); // its event loop runs
    EXPECT_EQ(StorageOf(thread.object), Storage::Stack) << "another thread's stack, seen from this one";

    const auto reference = [](const QObject *object) { return QStringLiteral("@") + vrqt::scripting::AddressText(object); };
    const struct {
        const char *name;
        QString object;
        const char *method;
    } rows[] = {
        { "a local", reference(&onStack), "deleteLater" },
        { "in static storage", reference(&staticWatched), "deleteLater" },
        { "a heap object's child on the stack", reference(heapParent), "deleteLater" },
        { "another thread's local", reference(thread.object), "DELETELATER" },
        { "closing a widget that deletes itself on close", reference(&closingWidget), "close" },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const Reply refused = requests.call({ { QStringLiteral("object"), row.object }, { QStringLiteral("method"), QLatin1String(row.method) } });
        EXPECT_EQ(refused.error.code, QLatin1String(error::kNotDeletable)) << refused.error.message.toStdString();
    }
    // A deletion let through would crash here or when the locals go.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(thread.object) << "nothing was deleted";
    thread.quit();
    thread.wait();

    stackChild.setParent(nullptr);
    QPointer<QObject> gone(heapParent);
    EXPECT_TRUE(requests.call({ { QStringLiteral("object"), reference(heapParent) }, { QStringLiteral("method"), QStringLiteral("deleteLater") } }).ok)
        << "a heap object without stack children may go";
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(gone);
}

TEST_F(ScriptSafetyTest, MessagesQuoteLittleAndAfterQuitEveryRequestIsClosing)
{
    vrqt::agent::RequestHandlers handlers(executor, module, vrqt::agent::ProcessFacts{ true, "program", "module" });
    const Reply unknown = handlers.handle({ 1, QString(5000, QLatin1Char('x')), {} });
    EXPECT_EQ(unknown.error.code, QLatin1String(error::kUnknownRequest));
    EXPECT_LT(unknown.error.message.size(), 600) << unknown.error.message.toStdString();
    EXPECT_TRUE(unknown.error.message.contains(QStringLiteral("(5000 characters)"))) << unknown.error.message.toStdString();

    EXPECT_TRUE(handlers.handle({ 2, QStringLiteral("quit"), {} }).ok);
    for (const char *name : { "hello", "tree", "quit", "nonsense" }) {
        SCOPED_TRACE(name);
        EXPECT_EQ(handlers.handle({ 3, QLatin1String(name), {} }).error.code, QLatin1String(error::kClosing));
    }
}

#include "scriptsafety_test.moc"
