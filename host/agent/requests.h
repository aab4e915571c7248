// The requests the agent answers, in one table: each has a name, the thread
// it runs on, and its handler. docs/protocol.md describes each of them.
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/agent/reply.h"
#include "host/protocol/message.h"

namespace vrqt::agent {

class EarlyAnswer;
class GuiExecutor;
class ItemRequests;
class ModuleView;
class Recorder;
class ScriptRequests;
class WaitRequests;
class PictureRequests;
class UserInput;

// What the agent learns about its process once, at start, on the GUI thread.
struct ProcessFacts
{
    bool widgets = false; // the application object is a QApplication
    std::string programPath;
    std::string modulePath;
};

class RequestHandlers
{
public:
    // module is touched on the GUI thread only.
    RequestHandlers(GuiExecutor &executor, ModuleView &module, ProcessFacts facts);
    ~RequestHandlers();

    // Serving thread of any connection, several at once: answers one
    // request; never throws. Once quit has been answered, every request,
    // from any client, is answered "closing". With early, work done on the
    // GUI thread sends its answer from there (see EarlyAnswer).
    Reply handle(const protocol::Request &request, const std::shared_ptr<EarlyAnswer> &early = nullptr);

    // Whether request may be answered right on the GUI thread when that
    // thread has read it: work of the GUI thread, and answers given at once
    // anywhere. The others wait for something, and run on a serving thread.
    bool answersOnGuiThread(const protocol::Request &request) const;
    // GUI thread: answers such a request there and then; never throws.
    Reply handleHere(const protocol::Request &request);

    // How long a request may hold the GUI thread before its client hears
    // "busy".
    static std::chrono::milliseconds guiLimitOf(const protocol::Request &request);
    // The answers for work on the GUI thread that outran its limit, and for
    // work that runs on inside a modal loop it opened.
    static Reply busy(std::chrono::milliseconds limit);
    static Reply modal();

    static QStringList names();

private:
    // Any: answers at once on whichever thread reads the request.
    enum class Thread { Serving, Gui, Any };
    struct Entry;
    static const Entry table[];

    // Serving thread.
    Reply hello(const QJsonObject &params);
    Reply quit(const QJsonObject &params);
    Reply shot(const QJsonObject &params);
    Reply input(const QJsonObject &params);
    Reply wait(const QJsonObject &params);
    Reply settle(const QJsonObject &params);
    // GUI thread.
    Reply status(const QJsonObject &params);
    Reply tree(const QJsonObject &params);
    Reply get(const QJsonObject &params);
    Reply set(const QJsonObject &params);
    Reply call(const QJsonObject &params);
    Reply describe(const QJsonObject &params);
    Reply items(const QJsonObject &params);
    Reply item(const QJsonObject &params);
    Reply record(const QJsonObject &params);

    Reply dispatch(const protocol::Request &request, const std::shared_ptr<EarlyAnswer> &early);
    static const Entry *entryOf(const protocol::Request &request);
    // Runs work on the GUI thread, waiting for it at most guiLimit.
    Reply onGuiThread(std::function<Reply()> work, std::chrono::milliseconds guiLimit,
                      const protocol::Request &request = {}, const std::shared_ptr<EarlyAnswer> &early = nullptr);

    GuiExecutor &executor;
    ModuleView &module;
    ProcessFacts facts;
    std::unique_ptr<ScriptRequests> scripts;
    std::unique_ptr<ItemRequests> itemRequests;
    std::unique_ptr<WaitRequests> waits;
    std::unique_ptr<PictureRequests> pictures;
    std::unique_ptr<UserInput> userInput;
    std::unique_ptr<Recorder> recorder;
    std::atomic<bool> closing{ false };
};

} // namespace vrqt::agent
