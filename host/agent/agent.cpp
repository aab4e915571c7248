#include "host/agent/agent.h"

#include <QApplication>

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <climits>

#include "host/agent/conversation.h"
#include "host/agent/crashnote.h"
#include "host/agent/guiexecutor.h"
#include "host/agent/moduleview.h"
#include "host/agent/objectdelivery.h"
#include "host/protocol/channel.h"
#include "host/protocol/protocol.h"
#include "host/protocol/rendezvous.h"

namespace vrqt::agent {

namespace {

// How long a scripting call waits for its object's thread: well inside the
// limit of the request it belongs to.
constexpr std::chrono::milliseconds kObjectThreadLimit{ 5000 };

std::string programPath()
{
    char buffer[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof buffer);
    return length > 0 ? std::string(buffer, std::size_t(length)) : std::string();
}

// Starts a thread that takes no signals: they stay with the threads the
// application expects them on.
template <typename... Arguments>
bool startQuietThread(std::thread *thread, Arguments &&...arguments)
{
    sigset_t all, previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    bool started = true;
    try {
        *thread = std::thread(std::forward<Arguments>(arguments)...);
    } catch (...) {
        started = false;
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return started;
}

} // namespace

struct Agent::Connection
{
    Connection(int descriptor, RequestHandlers &handlers, GuiExecutor &executor) : conversation(descriptor, handlers, executor) {}
    Conversation conversation;
    std::thread thread;
};

Agent::Agent() = default;

std::unique_ptr<Agent> Agent::start(const Endpoints &endpoints)
{
    std::unique_ptr<Agent> agent(new Agent);
    agent->executor = std::make_unique<GuiExecutor>();
    agent->delivery = std::make_unique<ObjectDelivery>(*agent->executor, kObjectThreadLimit);
    agent->module = std::make_unique<ModuleView>(*agent->delivery);
    ProcessFacts facts;
    facts.widgets = qobject_cast<QApplication *>(QCoreApplication::instance()) != nullptr;
    facts.programPath = programPath();
    facts.modulePath = agent->module->path();
    agent->handlers = std::make_unique<RequestHandlers>(*agent->executor, *agent->module, std::move(facts));

    bool reachable = false;
    std::string reason;
    if (!endpoints.owner.empty()) {
        const int connection = protocol::connectToListener(endpoints.owner, &reason);
        reachable = connection >= 0 && agent->addConnection(connection);
    }
    if (!endpoints.session.empty()) {
        const std::size_t slash = endpoints.session.find_last_of('/');
        if (slash != std::string::npos)
            NoteCrashesIn(endpoints.session.substr(0, slash) + "/crash.log");
        agent->listener = std::make_unique<protocol::PrivateListener>();
        agent->stopSignal = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (agent->stopSignal >= 0 && agent->listener->listenAt(endpoints.session, &reason)
            && startQuietThread(&agent->listening, &Agent::acceptClients, agent.get()))
            reachable = true;
        else
            agent->listener.reset();
    }
    if (!reachable) {
        agent->stop();
        return nullptr;
    }

    // Release the module while the application is still whole; a later
    // request loads it again.
    ModuleView *module = agent->module.get();
    QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, agent->executor.get(), [module] { module->unload(); });
    return agent;
}

bool Agent::addConnection(int descriptor)
{
    std::lock_guard<std::mutex> guard(connectionsLock);
    // Serving threads whose client has gone are joined here, so that a
    // long session does not gather them.
    for (auto it = connections.begin(); it != connections.end();) {
        if (it->conversation.finished()) {
            it->thread.join();
            it = connections.erase(it);
        } else {
            ++it;
        }
    }
    Connection &connection = connections.emplace_back(descriptor, *handlers, *executor);
    if (stopping.load() || !startQuietThread(&connection.thread, &Conversation::serve, &connection.conversation)) {
        connections.pop_back();
        return false;
    }
    return true;
}

void Agent::acceptClients()
{
    while (!stopping.load()) {
        pollfd watched[] = { { listener->descriptor(), POLLIN, 0 }, { stopSignal, POLLIN, 0 } };
        if (::poll(watched, 2, -1) < 0 && errno != EINTR)
            return;
        if (watched[1].revents)
            return;
        if (!watched[0].revents)
            continue;
        protocol::PeerCredentials peer;
        std::string refusal;
        const int connection = listener->accept(&peer, &refusal);
        if (connection >= 0)
            addConnection(connection);
    }
}

void Agent::stop()
{
    stopping = true;
    if (executor)
        executor->close();
    if (stopSignal >= 0) {
        const uint64_t one = 1;
        ssize_t ignored = ::write(stopSignal, &one, sizeof one);
        (void)ignored;
    }
    if (listening.joinable())
        listening.join();
    {
        std::lock_guard<std::mutex> guard(connectionsLock);
        for (Connection &connection : connections)
            connection.conversation.shutdown();
    }
    // No thread adds connections any more: join them without the lock,
    // which a serving thread never takes.
    for (Connection &connection : connections) {
        if (connection.thread.joinable())
            connection.thread.join();
    }
    connections.clear();
    listener.reset();
    if (stopSignal >= 0) {
        ::close(stopSignal);
        stopSignal = -1;
    }
    if (module)
        module->unload();
}

Agent::~Agent()
{
    stop();
}

} // namespace vrqt::agent
