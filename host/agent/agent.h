// The agent inside the application: the connections of command-line
// programs, each a conversation with a serving thread of its own, and the
// GUI-thread side that does the work.
#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "host/agent/requests.h"

namespace vrqt::protocol {
class PrivateListener;
}

namespace vrqt::agent {

class GuiExecutor;
class ModuleView;
class ObjectDelivery;

// Where the agent's clients reach it. owner: the socket of the vrqt that
// started the program, to connect to; session: a socket to listen on for
// any number of clients of a named session. Either may be empty.
struct Endpoints
{
    std::string owner;
    std::string session;
};

class Agent
{
public:
    // GUI thread, once the application object exists: connects and listens
    // as endpoints say, and starts serving. Null when nothing could be
    // reached; the application is left as it was.
    static std::unique_ptr<Agent> start(const Endpoints &endpoints);

    // GUI thread: ends every conversation, waits for the serving threads and
    // unloads the module. Safe to call twice.
    void stop();
    ~Agent();

    Agent(const Agent &) = delete;
    Agent &operator=(const Agent &) = delete;

private:
    struct Connection;

    Agent();

    // Listening thread: accepts the session's clients until stop.
    void acceptClients();
    // Starts a serving thread for a new connection; false when none could start.
    bool addConnection(int descriptor);

    std::unique_ptr<GuiExecutor> executor;
    std::unique_ptr<ObjectDelivery> delivery;
    std::unique_ptr<ModuleView> module;
    // Answers the requests of all connections at once: work for the GUI
    // thread is queued there in the order it arrives, and a wait of one
    // client holds up no other.
    std::unique_ptr<RequestHandlers> handlers;

    std::unique_ptr<protocol::PrivateListener> listener;
    int stopSignal = -1; // an eventfd that wakes the listening thread at stop
    std::thread listening;
    std::mutex connectionsLock;
    std::list<Connection> connections; // guarded by connectionsLock
    std::atomic<bool> stopping{ false };
};

} // namespace vrqt::agent
