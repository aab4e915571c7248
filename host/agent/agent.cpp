#include "host/agent/agent.h"

#include <QApplication>

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <climits>

#include "host/agent/guiexecutor.h"
#include "host/agent/moduleview.h"
#include "host/agent/objectdelivery.h"
#include "host/protocol/channel.h"
#include "host/protocol/protocol.h"
#include "host/protocol/rendezvous.h"

namespace vrqt::agent {

namespace {

// How long one response may wait for the other side to read.
constexpr std::chrono::milliseconds kSendLimit{ 10000 };
// How long a scripting call waits for its object's thread: well inside the
// limit of the request it belongs to.
constexpr std::chrono::milliseconds kObjectThreadLimit{ 5000 };

std::string programPath()
{
    char buffer[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof buffer);
    return length > 0 ? std::string(buffer, std::size_t(length)) : std::string();
}

} // namespace

std::unique_ptr<Agent> Agent::start(const std::string &socketPath)
{
    std::string reason;
    const int connection = protocol::connectToListener(socketPath, &reason);
    if (connection < 0)
        return nullptr;

    std::unique_ptr<Agent> agent(new Agent);
    agent->channel = std::make_unique<protocol::Channel>(connection);
    agent->executor = std::make_unique<GuiExecutor>();
    agent->delivery = std::make_unique<ObjectDelivery>(*agent->executor, kObjectThreadLimit);
    agent->module = std::make_unique<ModuleView>(*agent->delivery);
    ProcessFacts facts;
    facts.widgets = qobject_cast<QApplication *>(QCoreApplication::instance()) != nullptr;
    facts.programPath = programPath();
    facts.modulePath = agent->module->path();
    agent->handlers = std::make_unique<RequestHandlers>(*agent->executor, *agent->module, std::move(facts));

    // Release the module while the application is still whole; a later
    // request loads it again.
    ModuleView *module = agent->module.get();
    QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, agent->executor.get(), [module] { module->unload(); });

    // The serving thread takes no signals: they stay with the threads the
    // application expects them on.
    sigset_t all, previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    try {
        agent->serving = std::thread(&Agent::serve, agent.get());
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &previous, nullptr);
        return nullptr;
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return agent;
}

void Agent::stop()
{
    if (executor)
        executor->close();
    if (channel)
        channel->shutdown();
    if (serving.joinable())
        serving.join();
    if (module)
        module->unload();
}

Agent::~Agent()
{
    stop();
}

void Agent::serve()
{
    serveRequests();
    // The other side learns at once that nobody listens any more.
    channel->shutdown();
}

void Agent::serveRequests()
{
    for (;;) {
        std::string line;
        const protocol::Channel::Status received = channel->receive(&line, protocol::Deadline::never());
        if (received == protocol::Channel::Status::TooLong) {
            const protocol::Error error{ QLatin1String(protocol::error::kLineTooLong), QStringLiteral("a request line exceeded the limit"), {} };
            channel->send(protocol::encodeError(QJsonValue(), error), protocol::Deadline::after(kSendLimit));
            return;
        }
        if (received != protocol::Channel::Status::Ok)
            return;

        protocol::Request request;
        protocol::Error error;
        std::string response;
        Reply reply;
        if (!protocol::parseRequest(line, &request, &error)) {
            response = protocol::encodeError(request.id, error);
        } else {
            reply = handlers->handle(request);
            response = reply.ok ? protocol::encodeResult(request.id, reply.result) : protocol::encodeError(request.id, reply.error);
        }
        if (channel->send(response, protocol::Deadline::after(kSendLimit)) != protocol::Channel::Status::Ok)
            return;
        if (reply.afterSending)
            reply.afterSending();
    }
}

} // namespace vrqt::agent
