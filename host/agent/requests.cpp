#include "host/agent/requests.h"

#include <QCoreApplication>
#include <QJsonArray>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "host/agent/earlyanswer.h"
#include "host/agent/guiexecutor.h"
#include "host/agent/itemrequests.h"
#include "host/agent/moduleview.h"
#include "host/agent/nativewindows.h"
#include "host/agent/recorder.h"
#include "host/agent/scriptrequests.h"
#include "host/agent/pictures.h"
#include "host/agent/userinput.h"
#include "host/agent/waits.h"
#include "host/agent/widgettree.h"
#include "host/protocol/protocol.h"

namespace vrqt::agent {

namespace {

// How long a request waits for a busy GUI thread before it answers "busy",
// unless its params give "timeout" in milliseconds.
constexpr std::chrono::milliseconds kGuiLimit{ 10000 };
constexpr double kLongestGuiLimit = 24 * 3600 * 1000.0;

QString text(const std::string &value)
{
    return QString::fromStdString(value);
}

// A handler's message may name what the client sent; in full, a long text
// would flood the answer and the terminal that prints it.
constexpr int kLongestMessage = 1000;

void CollectLongTexts(const QJsonValue &value, QStringList *texts)
{
    if (value.isString() && value.toString().size() > protocol::kQuotedLength)
        texts->append(value.toString());
    for (const QJsonValue &item : value.toArray())
        CollectLongTexts(item, texts);
    const QJsonObject object = value.toObject();
    for (auto member = object.begin(); member != object.end(); ++member)
        CollectLongTexts(member.value(), texts);
}

// message with every long text of params quoted as an excerpt, and cut
// where it is still too long.
QString ShortMessage(QString message, const QJsonObject &params)
{
    QStringList texts;
    CollectLongTexts(QJsonValue(params), &texts);
    // The longest first, so that a text that contains another goes whole.
    std::sort(texts.begin(), texts.end(), [](const QString &left, const QString &right) { return left.size() > right.size(); });
    for (const QString &longText : texts)
        message.replace(longText, protocol::excerpt(longText));
    if (message.size() > kLongestMessage)
        message = message.left(kLongestMessage) + QStringLiteral("...");
    return message;
}

Reply Shortened(Reply reply, const QJsonObject &params)
{
    if (!reply.ok)
        reply.error.message = ShortMessage(reply.error.message, params);
    return reply;
}

} // namespace

struct RequestHandlers::Entry
{
    const char *name;
    Thread thread;
    Reply (RequestHandlers::*handler)(const QJsonObject &params);
};

const RequestHandlers::Entry RequestHandlers::table[] = {
    { "hello", Thread::Any, &RequestHandlers::hello },
    { "status", Thread::Gui, &RequestHandlers::status },
    { "tree", Thread::Gui, &RequestHandlers::tree },
    { "get", Thread::Gui, &RequestHandlers::get },
    { "set", Thread::Gui, &RequestHandlers::set },
    { "call", Thread::Gui, &RequestHandlers::call },
    { "describe", Thread::Gui, &RequestHandlers::describe },
    { "items", Thread::Gui, &RequestHandlers::items },
    { "item", Thread::Gui, &RequestHandlers::item },
    { "record", Thread::Gui, &RequestHandlers::record },
    { "shot", Thread::Gui, &RequestHandlers::shot },
    { "input", Thread::Serving, &RequestHandlers::input },
    { "wait", Thread::Serving, &RequestHandlers::wait },
    { "settle", Thread::Serving, &RequestHandlers::settle },
    { "quit", Thread::Serving, &RequestHandlers::quit },
};

RequestHandlers::RequestHandlers(GuiExecutor &executor, ModuleView &module, ProcessFacts facts)
    : executor(executor), module(module), facts(std::move(facts)), scripts(std::make_unique<ScriptRequests>(module)),
      itemRequests(std::make_unique<ItemRequests>(module)), waits(std::make_unique<WaitRequests>(executor, module, *scripts)),
      pictures(std::make_unique<PictureRequests>(module, *itemRequests)),
      userInput(std::make_unique<UserInput>(executor, module, *itemRequests)),
      recorder(std::make_unique<Recorder>(executor, module))
{
}

RequestHandlers::~RequestHandlers() = default;

QStringList RequestHandlers::names()
{
    QStringList result;
    for (const Entry &entry : table)
        result.append(QLatin1String(entry.name));
    return result;
}

Reply RequestHandlers::handle(const protocol::Request &request, const std::shared_ptr<EarlyAnswer> &early)
{
    if (closing.load())
        return Reply::failure(protocol::error::kClosing, QStringLiteral("the application was asked to quit"));
    return Shortened(dispatch(request, early), request.params);
}

std::chrono::milliseconds RequestHandlers::guiLimitOf(const protocol::Request &request)
{
    const double limit = request.params.value(QStringLiteral("timeout")).toDouble(-1);
    return limit >= 1 && limit <= kLongestGuiLimit ? std::chrono::milliseconds(qint64(limit)) : kGuiLimit;
}

Reply RequestHandlers::busy(std::chrono::milliseconds limit)
{
    return Reply::failure(protocol::error::kBusy, QStringLiteral("the GUI thread did not finish the request within %1 ms").arg(limit.count()));
}

Reply RequestHandlers::modal()
{
    return Reply::success(QJsonObject{
        { QStringLiteral("modal"), true },
        { QStringLiteral("message"), QStringLiteral("the request runs on inside the modal dialog or menu it opened; later requests reach it") } });
}

const RequestHandlers::Entry *RequestHandlers::entryOf(const protocol::Request &request)
{
    for (const Entry &entry : table) {
        if (request.name == QLatin1String(entry.name))
            return &entry;
    }
    return nullptr;
}

bool RequestHandlers::answersOnGuiThread(const protocol::Request &request) const
{
    const Entry *entry = entryOf(request);
    return entry && entry->thread != Thread::Serving;
}

Reply RequestHandlers::handleHere(const protocol::Request &request)
{
    if (closing.load())
        return Reply::failure(protocol::error::kClosing, QStringLiteral("the application was asked to quit"));
    try {
        return Shortened((this->*entryOf(request)->handler)(request.params), request.params);
    } catch (...) {
        // Nothing may leave into Qt's event loop.
        return Reply::failure(protocol::error::kInternal, QStringLiteral("the request failed unexpectedly on the GUI thread"));
    }
}

Reply RequestHandlers::dispatch(const protocol::Request &request, const std::shared_ptr<EarlyAnswer> &early)
{
    const Entry *entry = entryOf(request);
    if (!entry) {
        return Reply::failure(protocol::error::kUnknownRequest, QStringLiteral("unknown request \"%1\"; known are: %2")
                                                                    .arg(protocol::excerpt(request.name), names().join(QStringLiteral(", "))));
    }
    try {
        if (entry->thread != Thread::Gui)
            return (this->*entry->handler)(request.params);
        const QJsonObject params = request.params;
        const auto handler = entry->handler;
        return onGuiThread([this, handler, params] { return (this->*handler)(params); }, guiLimitOf(request), request, early);
    } catch (...) {
        return Reply::failure(protocol::error::kInternal, QStringLiteral("the request failed unexpectedly"));
    }
}

Reply RequestHandlers::onGuiThread(std::function<Reply()> work, std::chrono::milliseconds guiLimit, const protocol::Request &request,
                                   const std::shared_ptr<EarlyAnswer> &early)
{
    // The slot outlives this call when the GUI thread runs the work late.
    auto slot = std::make_shared<Reply>();
    const QJsonValue id = request.id;
    const QJsonObject params = request.params;
    const GuiExecutor::Outcome outcome = executor.run([slot, work, early, id, params] {
        *slot = work();
        // An answer with something to do after it is sent stays the
        // serving thread's.
        if (early && !slot->afterSending && !slot->takeOver)
            early->offer(Encode(id, Shortened(*slot, params)));
    }, guiLimit);
    switch (outcome) {
    case GuiExecutor::Outcome::Done:
        return *slot;
    case GuiExecutor::Outcome::Failed:
        return Reply::failure(protocol::error::kInternal, QStringLiteral("the request failed unexpectedly on the GUI thread"));
    case GuiExecutor::Outcome::TimedOut:
        return busy(guiLimit);
    case GuiExecutor::Outcome::Modal:
        return modal();
    case GuiExecutor::Outcome::Abandoned:
        break;
    }
    return Reply::failure(protocol::error::kClosing, QStringLiteral("the application is closing"));
}

Reply RequestHandlers::input(const QJsonObject &params)
{
    return userInput->act(params);
}

Reply RequestHandlers::shot(const QJsonObject &params)
{
    return pictures->shot(params);
}

Reply RequestHandlers::wait(const QJsonObject &params)
{
    return waits->wait(params);
}

Reply RequestHandlers::settle(const QJsonObject &params)
{
    return waits->settle(params);
}

Reply RequestHandlers::hello(const QJsonObject &)
{
    return Reply::success(QJsonObject{
        { QStringLiteral("protocol"), protocol::kVersion },
        { QStringLiteral("agent"), QStringLiteral(VRQT_VERSION) },
        { QStringLiteral("qtVersion"), QLatin1String(qVersion()) },
        { QStringLiteral("pid"), double(::getpid()) },
        { QStringLiteral("program"), text(facts.programPath) },
        { QStringLiteral("widgets"), facts.widgets },
        { QStringLiteral("module"), text(facts.modulePath) },
        { QStringLiteral("requests"), QJsonArray::fromStringList(names()) },
    });
}

Reply RequestHandlers::status(const QJsonObject &)
{
    QJsonObject result{ { QStringLiteral("widgets"), facts.widgets } };
    const std::vector<NativeWindow> windows = nativeWindows();
    int topLevels = 0, visibleTopLevels = 0;
    for (const NativeWindow &window : windows) {
        if (window.parent)
            continue;
        ++topLevels;
        visibleTopLevels += window.visible ? 1 : 0;
    }
    result.insert(QStringLiteral("topLevelWindows"), topLevels);
    result.insert(QStringLiteral("visibleTopLevelWindows"), visibleTopLevels);
    if (!facts.widgets) {
        result.insert(QStringLiteral("mainWidgetShown"), false);
        return Reply::success(result);
    }
    if (!module.ensureLoaded())
        return Reply::failure(protocol::error::kModuleUnavailable, text(module.error()));
    WidgetTree tree(module.objects(), module.widgets());
    result.insert(QStringLiteral("mainWidgetShown"), tree.mainWidgetShown(windows));
    return Reply::success(result);
}

Reply RequestHandlers::tree(const QJsonObject &params)
{
    if (!facts.widgets)
        return Reply::failure(protocol::error::kNoWidgets, QStringLiteral("the application is not a Qt Widgets application (no QApplication)"));
    if (!module.ensureLoaded())
        return Reply::failure(protocol::error::kModuleUnavailable, text(module.error()));
    WidgetTree tree(module.objects(), module.widgets());
    return Reply::success(tree.build(nativeWindows(), params.value(QStringLiteral("objects")).toBool()));
}

// Scripting serves any Qt application: without widgets, names are looked
// for among the application object's children.
Reply RequestHandlers::get(const QJsonObject &params)
{
    return scripts->get(params);
}

Reply RequestHandlers::set(const QJsonObject &params)
{
    return scripts->set(params);
}

Reply RequestHandlers::call(const QJsonObject &params)
{
    return scripts->call(params);
}

Reply RequestHandlers::describe(const QJsonObject &params)
{
    return scripts->describe(params);
}

Reply RequestHandlers::items(const QJsonObject &params)
{
    return itemRequests->items(params);
}

Reply RequestHandlers::item(const QJsonObject &params)
{
    return itemRequests->item(params);
}

Reply RequestHandlers::record(const QJsonObject &params)
{
    return recorder->record(params);
}

Reply RequestHandlers::quit(const QJsonObject &)
{
    // Whatever comes after is answered "closing", from every client.
    closing = true;
    Reply reply = Reply::success(QJsonObject{ { QStringLiteral("quitting"), true } });
    GuiExecutor *gui = &executor;
    // QCoreApplication::quit leaves every event loop of the GUI thread,
    // nested and modal ones included; close events are not sent, so no
    // "save changes?" question can hold the application open.
    reply.afterSending = [gui] { gui->post([] { QCoreApplication::quit(); }); };
    return reply;
}

} // namespace vrqt::agent
