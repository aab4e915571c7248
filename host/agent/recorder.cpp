#include "host/agent/recorder.h"

#include <QApplication>
#include <QEvent>
#include <QJsonDocument>
#include <QPointer>
#include <QWidget>

#include <poll.h>

#include <algorithm>

#include "host/agent/eventsink.h"
#include "host/agent/guiexecutor.h"
#include "host/agent/moduleview.h"
#include "host/protocol/channel.h"
#include "host/protocol/protocol.h"

namespace vrqt::agent {

namespace {

// How long a line waits for a client that reads none of it before the
// client is let go.
constexpr std::chrono::milliseconds kSendStall{ 10000 };
// How often an idle stream looks whether its client is still there.
constexpr std::chrono::milliseconds kIdleCheck{ 100 };

std::string LineOf(const QJsonObject &message)
{
    return QJsonDocument(message).toJson(QJsonDocument::Compact).toStdString() + '\n';
}

// A recording client sends nothing more: whatever it sends is read away,
// and its end of the conversation ends the stream.
bool ClientGone(protocol::Channel &channel)
{
    pollfd watched{ channel.descriptor(), POLLIN | POLLRDHUP, 0 };
    if (::poll(&watched, 1, 0) <= 0)
        return false;
    if (watched.revents & (POLLHUP | POLLRDHUP | POLLERR | POLLNVAL))
        return true;
    std::string ignored;
    const protocol::Channel::Status status = channel.receive(&ignored, protocol::Deadline::after(std::chrono::milliseconds(0)));
    return status != protocol::Channel::Status::Ok && status != protocol::Channel::Status::TimedOut;
}

host::Ref<IvrQtEventsNotifier> NotifierOf(const ModuleView &module)
{
    host::Ref<IvrQtEventsNotifier> notifier;
    if (module.loaded())
        module.objects()->QueryInterface(IID_IvrQtEventsNotifier, notifier.out());
    return notifier;
}

bool Subscribe(IvrQtEventsNotifier *notifier, QObject *object)
{
    const GUID *kind = SubscriptionOf(object);
    return kind && notifier && SUCCEEDED(notifier->Subscribe(object, *kind));
}

} // namespace

void ActionStream::push(const std::string &line)
{
    {
        std::lock_guard<std::mutex> guard(lock);
        if (lines.size() >= kLimit) {
            ++dropped;
            return;
        }
        lines.push_back(line);
    }
    ready.notify_one();
}

std::deque<std::string> ActionStream::take(std::chrono::milliseconds wait)
{
    std::unique_lock<std::mutex> guard(lock);
    ready.wait_for(guard, wait, [this] { return !lines.empty(); });
    std::deque<std::string> taken;
    taken.swap(lines);
    if (dropped) {
        taken.push_front(LineOf(QJsonObject{ { QStringLiteral("dropped"), double(dropped) } }));
        dropped = 0;
    }
    return taken;
}

// A client is registered for as long as its reply may still take the
// connection over. Whoever drops the last copy of the reply ends the
// registration: the serving thread after the relay, or, when the reply
// never took the connection over (the GUI thread answered after the
// serving thread had answered "busy", or the answer could not be sent),
// whoever held it last.
class Recorder::Registration
{
public:
    Registration(Recorder *recorder, std::shared_ptr<ActionStream> stream) : recorder(recorder), stream(std::move(stream)) {}
    Registration(const Registration &) = delete;
    Registration &operator=(const Registration &) = delete;
    // Any thread. The removal is queued to the recorder itself: a reply
    // dropped while the agent ends (with the executor's queue, after the
    // recorder) finds no recorder and does nothing; serving threads are
    // joined before the recorder goes.
    ~Registration()
    {
        if (Recorder *owner = recorder.data())
            QMetaObject::invokeMethod(owner, [owner, gone = stream] { owner->removeClient(gone); }, Qt::QueuedConnection);
    }

    const QPointer<Recorder> recorder;
    const std::shared_ptr<ActionStream> stream;
};

Recorder::Recorder(GuiExecutor &executor, ModuleView &module) : executor(executor), module(module)
{
    // Before the agent releases the module at the same signal.
    if (QCoreApplication *application = QCoreApplication::instance())
        connect(application, &QCoreApplication::aboutToQuit, this, &Recorder::endRecording);
}

Recorder::~Recorder()
{
    endRecording();
    if (sink) {
        sink->detach();
        sink->Release();
    }
}

Reply Recorder::record(const QJsonObject &)
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
        return Reply::failure(protocol::error::kNoWidgets, QStringLiteral("the application is not a Qt Widgets application (no QApplication)"));
    if (!module.ensureLoaded())
        return Reply::failure(protocol::error::kModuleUnavailable, QString::fromStdString(module.error()));
    if (!NotifierOf(module))
        return Reply::failure(protocol::error::kModuleUnavailable,
                              QString::fromStdString(module.path()) + QStringLiteral(" offers no event notifier (IvrQtEventsNotifier)"));
    int subscribed = -1;
    if (clients.empty())
        subscribed = beginRecording();
    auto stream = std::make_shared<ActionStream>();
    clients.push_back(stream);
    QJsonObject result{ { QStringLiteral("recording"), true }, { QStringLiteral("clients"), int(clients.size()) } };
    if (subscribed >= 0)
        result.insert(QStringLiteral("subscribed"), subscribed);
    Reply reply = Reply::success(result);
    auto registration = std::make_shared<Registration>(this, stream);
    reply.takeOver = [this, registration](protocol::Channel &channel) { relay(channel, registration->stream); };
    return reply;
}

void Recorder::relay(protocol::Channel &channel, const std::shared_ptr<ActionStream> &stream)
{
    bool open = true;
    while (open) {
        for (const std::string &line : stream->take(kIdleCheck)) {
            if (channel.sendWhileRead(line, kSendStall) != protocol::Channel::Status::Ok) {
                open = false;
                break;
            }
        }
        open = open && !ClientGone(channel);
    }
    // The registration ends when the reply is dropped.
}

void Recorder::removeClient(const std::shared_ptr<ActionStream> &stream)
{
    clients.erase(std::remove(clients.begin(), clients.end(), stream), clients.end());
    if (clients.empty())
        endRecording();
}

int Recorder::beginRecording()
{
    const host::Ref<IvrQtEventsNotifier> notifier = NotifierOf(module);
    if (!sink) {
        sink = ActionSink::create([this](QObject *sender, const GUID &subscription, const GUID &event, const VARIANT &value,
                                         const void *extra) { report(sender, subscription, event, value, extra); });
    }
    notifier->SetEventSink(sink);
    qApp->installEventFilter(this);
    int subscribed = 0;
    for (QWidget *widget : QApplication::allWidgets())
        subscribed += Subscribe(notifier.get(), widget) ? 1 : 0;
    return subscribed;
}

void Recorder::endRecording()
{
    if (QCoreApplication *application = QCoreApplication::instance())
        application->removeEventFilter(this);
    if (const host::Ref<IvrQtEventsNotifier> notifier = NotifierOf(module))
        notifier->UnsubscribeAll();
}

bool Recorder::eventFilter(QObject *watched, QEvent *event)
{
    // Every widget is polished once before it is first shown: windows and
    // dialogs that appear later, and the widgets added to them.
    if (event->type() == QEvent::Polish && watched->isWidgetType())
        Subscribe(NotifierOf(module).get(), watched);
    return false;
}

void Recorder::report(QObject *sender, const GUID &subscription, const GUID &event, const VARIANT &value, const void *extra)
{
    if (clients.empty())
        return;
    const std::string line = LineOf(QJsonObject{ { QStringLiteral("action"), DescribeAction(sender, subscription, event, value, extra) } });
    for (const std::shared_ptr<ActionStream> &client : clients)
        client->push(line);
}

} // namespace vrqt::agent
