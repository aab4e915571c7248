// The requests the agent answers, in one table: each has a name, the thread
// it runs on, and its handler. docs/protocol.md describes each of them.
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QStringList>

#include <functional>
#include <string>

#include "host/protocol/message.h"

namespace vrqt::agent {

class GuiExecutor;
class ModuleView;

// What the agent learns about its process once, at start, on the GUI thread.
struct ProcessFacts
{
    bool widgets = false; // the application object is a QApplication
    std::string programPath;
    std::string modulePath;
};

struct Reply
{
    static Reply success(const QJsonValue &result) { Reply reply; reply.result = result; return reply; }
    static Reply failure(const char *code, const QString &message)
    {
        Reply reply;
        reply.ok = false;
        reply.error = { QLatin1String(code), message };
        return reply;
    }

    bool ok = true;
    QJsonValue result;
    protocol::Error error;
    // Serving thread: runs once the reply has been sent (quit uses it, so
    // that the answer leaves before the application starts to close).
    std::function<void()> afterSending;
};

class RequestHandlers
{
public:
    // module is touched on the GUI thread only.
    RequestHandlers(GuiExecutor &executor, ModuleView &module, ProcessFacts facts);

    // Serving thread: answers one request; never throws.
    Reply handle(const protocol::Request &request);

    static QStringList names();

private:
    enum class Thread { Serving, Gui };
    struct Entry;
    static const Entry table[];

    // Serving thread.
    Reply hello(const QJsonObject &params);
    Reply quit(const QJsonObject &params);
    // GUI thread.
    Reply status(const QJsonObject &params);
    Reply tree(const QJsonObject &params);

    Reply onGuiThread(std::function<Reply()> work);

    GuiExecutor &executor;
    ModuleView &module;
    ProcessFacts facts;
};

} // namespace vrqt::agent
