// The agent inside the application: a connection to the command-line
// program, a thread of its own that serves it, and the GUI-thread side that
// does the work.
#pragma once

#include <memory>
#include <string>
#include <thread>

#include "host/agent/requests.h"

namespace vrqt::protocol {
class Channel;
}

namespace vrqt::agent {

class GuiExecutor;
class ModuleView;
class ObjectDelivery;

class Agent
{
public:
    // GUI thread, once the application object exists: connects to the
    // socket and starts serving. Null when anything fails; the application
    // is left as it was.
    static std::unique_ptr<Agent> start(const std::string &socketPath);

    // GUI thread: ends the conversation, waits for the serving thread and
    // unloads the module. Safe to call twice.
    void stop();
    ~Agent();

    Agent(const Agent &) = delete;
    Agent &operator=(const Agent &) = delete;

private:
    Agent() = default;

    // Serving thread: reads requests until the connection ends.
    void serve();
    void serveRequests();

    std::unique_ptr<GuiExecutor> executor;
    std::unique_ptr<ObjectDelivery> delivery;
    std::unique_ptr<ModuleView> module;
    std::unique_ptr<RequestHandlers> handlers;
    std::unique_ptr<protocol::Channel> channel;
    std::thread serving;
};

} // namespace vrqt::agent
