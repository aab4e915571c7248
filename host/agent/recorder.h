// The record request: while at least one client records, every widget of a
// recorded kind is subscribed with the module's notifier, widgets that
// appear later as they are polished, and each user action the module
// reports goes to every recording client as one line, in order.
//
// The sink runs inside Qt's emission and never waits: it queues the line
// for each client's serving thread, which writes it out. A client that
// reads nothing loses lines past a bound, and learns how many.
#pragma once

#include <QObject>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/agent/reply.h"
#include "interfaces/events.h"

namespace vrqt::protocol {
class Channel;
}

namespace vrqt::agent {

class ActionSink;
class GuiExecutor;
class ModuleView;

// The lines on their way to one recording client.
class ActionStream
{
public:
    static constexpr std::size_t kLimit = 10000;

    // Any thread, never waits: queues line; past kLimit waiting lines it is
    // dropped and counted.
    void push(const std::string &line);
    // Waits at most wait for lines and takes all there are; when some were
    // dropped, a line that says how many comes first.
    std::deque<std::string> take(std::chrono::milliseconds wait);

private:
    std::mutex lock;
    std::condition_variable ready;
    std::deque<std::string> lines;
    std::size_t dropped = 0;
};

class Recorder : public QObject
{
    Q_OBJECT
public:
    // GUI thread. module is touched on the GUI thread only.
    Recorder(GuiExecutor &executor, ModuleView &module);
    ~Recorder() override;

    // GUI thread: the record request. Its reply takes the connection over
    // and streams the actions on it until the client closes it.
    Reply record(const QJsonObject &params);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    class Registration;

    // Serving thread: writes the stream's lines until the client or the
    // agent ends the conversation.
    void relay(protocol::Channel &channel, const std::shared_ptr<ActionStream> &stream);
    void removeClient(const std::shared_ptr<ActionStream> &stream);
    // Subscribes every widget there is, and those polished from now on.
    int beginRecording();
    void endRecording();
    bool subscribe(QObject *object);
    void report(QObject *sender, const GUID &subscription, const GUID &event, const VARIANT &value, const void *extra);

    GuiExecutor &executor;
    ModuleView &module;
    ActionSink *sink = nullptr;
    std::vector<std::shared_ptr<ActionStream>> clients; // GUI thread
};

} // namespace vrqt::agent
