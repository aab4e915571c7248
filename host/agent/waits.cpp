#include "host/agent/waits.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPointer>
#include <QTimerEvent>

#include <condition_variable>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>

#include "host/agent/guiexecutor.h"
#include "host/agent/moduleview.h"
#include "host/agent/objectpath.h"
#include "host/agent/scriptrequests.h"
#include "host/protocol/protocol.h"

namespace vrqt::agent {

namespace {

constexpr std::chrono::milliseconds kDefaultLimit{ 10000 };
constexpr std::chrono::milliseconds kDefaultQuiet{ 100 };
// After an event, how soon a condition is looked at again: often enough to
// answer at once, seldom enough not to weigh on a busy program.
constexpr int kCheckDelayMs = 5;

std::chrono::milliseconds Milliseconds(const QJsonObject &params, const char *name, std::chrono::milliseconds fallback)
{
    const double value = params.value(QLatin1String(name)).toDouble(-1);
    return value >= 0 && value <= 24 * 3600 * 1000.0 ? std::chrono::milliseconds(qint64(value)) : fallback;
}

// What the serving thread and the GUI thread share about one wait.
struct WaitState
{
    std::mutex lock;
    std::condition_variable changed;
    bool finished = false; // the outcome is known, or the watch is gone
    bool met = false;
    bool timedOut = false; // the serving thread gave up first
    QJsonValue last; // what the last check saw
    QString lastProblem;
};

// GUI thread: looks at the condition once at start, then after the
// program's events, until it holds, and reports to the serving thread.
// quiet > 0 makes it a settle: done once no event of the program's was seen
// for that long.
class EventWatch : public QObject
{
public:
    using Check = std::function<bool(QJsonValue *last, QString *problem)>;

    EventWatch(std::shared_ptr<WaitState> state, Check check, std::chrono::milliseconds quiet, QObject *parent)
        : QObject(parent), state(std::move(state)), check(std::move(check)), quiet(int(quiet.count()))
    {
        sinceEvent.start();
        QCoreApplication::instance()->installEventFilter(this);
        if (this->quiet > 0)
            timer = startTimer(this->quiet);
        else
            evaluate();
    }

    ~EventWatch() override { finish(false); }

    bool eventFilter(QObject *receiver, QEvent *event) override
    {
        // Our own timer's events are not the program's.
        if (receiver != this && !done) {
            sinceEvent.restart();
            if (!timer)
                timer = startTimer(quiet > 0 ? quiet : kCheckDelayMs);
        }
        Q_UNUSED(event);
        return false;
    }

protected:
    void timerEvent(QTimerEvent *) override
    {
        killTimer(timer);
        timer = 0;
        if (quiet > 0) {
            const qint64 left = quiet - sinceEvent.elapsed();
            if (left <= 0)
                finish(true);
            else
                timer = startTimer(int(left));
            return;
        }
        evaluate();
    }

private:
    void evaluate()
    {
        QJsonValue last;
        QString problem;
        const bool met = check(&last, &problem);
        {
            std::lock_guard<std::mutex> locked(state->lock);
            state->last = last;
            state->lastProblem = problem;
        }
        if (met)
            finish(true);
    }

    void finish(bool met)
    {
        if (done)
            return;
        done = true;
        QCoreApplication::instance()->removeEventFilter(this);
        std::lock_guard<std::mutex> locked(state->lock);
        state->finished = true;
        state->met = met;
        state->changed.notify_all();
        if (met)
            deleteLater();
    }

    std::shared_ptr<WaitState> state;
    Check check;
    int quiet;
    int timer = 0;
    bool done = false;
    QElapsedTimer sinceEvent;
};

// Serving thread: starts a watch on the GUI thread and waits for its
// outcome until limit; a watch still running then is removed.
std::shared_ptr<WaitState> Watch(GuiExecutor &executor, EventWatch::Check check, std::chrono::milliseconds quiet,
                                 std::chrono::milliseconds limit)
{
    auto state = std::make_shared<WaitState>();
    auto watch = std::make_shared<QPointer<EventWatch>>(); // touched on the GUI thread only
    QObject *owner = &executor;
    executor.post([state, check, quiet, watch, owner] { *watch = new EventWatch(state, check, quiet, owner); });
    std::unique_lock<std::mutex> locked(state->lock);
    if (!state->changed.wait_for(locked, limit, [&] { return state->finished; })) {
        state->timedOut = true;
        locked.unlock();
        executor.post([watch] { delete watch->data(); });
    }
    return state;
}

QString Shown(const QJsonValue &value)
{
    if (value.isString())
        return value.toString();
    if (value.isUndefined())
        return QStringLiteral("nothing");
    return QString::fromUtf8(QJsonDocument(QJsonArray{ value }).toJson(QJsonDocument::Compact).mid(1).chopped(1));
}

} // namespace

bool Satisfies(const QJsonValue &actual, const QString &op, const QString &wanted, bool *known)
{
    if (known)
        *known = true;
    QString expected = wanted;
    if (expected.size() >= 2 && expected.startsWith(QLatin1Char('"')) && expected.endsWith(QLatin1Char('"')))
        expected = expected.mid(1, expected.size() - 2);
    bool wantedIsNumber = false;
    const double number = expected.toDouble(&wantedIsNumber);
    const bool numeric = actual.isDouble() && wantedIsNumber;
    const QString text = actual.isBool() ? (actual.toBool() ? QStringLiteral("true") : QStringLiteral("false")) : Shown(actual);
    const int order = numeric ? (actual.toDouble() < number ? -1 : actual.toDouble() > number ? 1 : 0) : text.compare(expected);
    if (op == QLatin1String("==") || op == QLatin1String("="))
        return order == 0;
    if (op == QLatin1String("!="))
        return order != 0;
    if (op == QLatin1String("<"))
        return order < 0;
    if (op == QLatin1String("<="))
        return order <= 0;
    if (op == QLatin1String(">"))
        return order > 0;
    if (op == QLatin1String(">="))
        return order >= 0;
    if (op == QLatin1String("~"))
        return text.contains(expected);
    if (known)
        *known = false;
    return false;
}

Reply WaitRequests::wait(const QJsonObject &params)
{
    const QString object = params.value(QStringLiteral("object")).toString();
    const QString member = params.value(QStringLiteral("member")).toString();
    const QString op = params.value(QStringLiteral("operator")).toString();
    const QString wanted = params.value(QStringLiteral("value")).toString();
    const bool gone = params.value(QStringLiteral("gone")).toBool();
    if (object.isEmpty())
        return Reply::failure(protocol::error::kInvalidParams, QStringLiteral("wait needs \"object\""));
    if (gone && !member.isEmpty())
        return Reply::failure(protocol::error::kInvalidParams, QStringLiteral("\"gone\" waits for the object alone, without a \"member\""));
    bool known = true;
    if (!op.isEmpty())
        Satisfies(QJsonValue(), op, wanted, &known);
    if (!known || (!op.isEmpty() && member.isEmpty()))
        return Reply::failure(protocol::error::kInvalidParams,
                              QStringLiteral("\"operator\" is one of == != < <= > >= ~, after a \"member\""));
    ModuleView *modules = &module;
    ScriptRequests *reader = &scripts;
    // Without a member the object's existence is waited for (its absence
    // when gone); a member without an operator must read as true.
    EventWatch::Check check = [=](QJsonValue *last, QString *problem) {
        if (!modules->ensureLoaded()) {
            *problem = QString::fromStdString(modules->error());
            return false;
        }
        const ObjectLookup lookup = FindObject(object, modules->objects());
        if (gone) {
            // A reference that names several objects still names some.
            const bool none = !lookup.object && lookup.error && std::strcmp(lookup.error, protocol::error::kNoSuchObject) == 0;
            *problem = none ? QString() : lookup.object ? QStringLiteral("it is still there") : lookup.message;
            return none;
        }
        if (!lookup.object) {
            *problem = lookup.message;
            return false;
        }
        if (member.isEmpty())
            return true;
        const Reply read = reader->get(QJsonObject{ { QStringLiteral("object"), object }, { QStringLiteral("member"), member } });
        if (!read.ok) {
            *problem = read.error.message;
            return false;
        }
        *last = read.result.toObject().value(QStringLiteral("value"));
        return op.isEmpty() ? Satisfies(*last, QStringLiteral("=="), QStringLiteral("true")) : Satisfies(*last, op, wanted);
    };
    const std::chrono::milliseconds limit = Milliseconds(params, "timeout", kDefaultLimit);
    const std::shared_ptr<WaitState> state = Watch(executor, check, std::chrono::milliseconds(0), limit);
    std::lock_guard<std::mutex> locked(state->lock);
    if (state->met && !state->timedOut)
        return Reply::success(QJsonObject{ { QStringLiteral("met"), true }, { QStringLiteral("value"), state->last } });
    if (!state->timedOut)
        return Reply::failure(protocol::error::kClosing, QStringLiteral("the application is closing"));
    const QString seen = !state->lastProblem.isEmpty() ? state->lastProblem : QStringLiteral("the last value seen was %1").arg(Shown(state->last));
    return Reply::failure(protocol::error::kTimedOut, QStringLiteral("the condition did not hold within %1 ms; %2").arg(limit.count()).arg(seen),
                          QJsonObject{ { QStringLiteral("last"), state->last } });
}

Reply WaitRequests::settle(const QJsonObject &params)
{
    const std::chrono::milliseconds quiet = std::max(Milliseconds(params, "quiet", kDefaultQuiet), std::chrono::milliseconds(1));
    const std::chrono::milliseconds limit = Milliseconds(params, "timeout", kDefaultLimit);
    QElapsedTimer took;
    took.start();
    const std::shared_ptr<WaitState> state = Watch(executor, {}, quiet, limit);
    std::lock_guard<std::mutex> locked(state->lock);
    if (!state->timedOut && !state->met)
        return Reply::failure(protocol::error::kClosing, QStringLiteral("the application is closing"));
    return Reply::success(QJsonObject{ { QStringLiteral("settled"), state->met && !state->timedOut }, { QStringLiteral("milliseconds"), double(took.elapsed()) } });
}

} // namespace vrqt::agent
