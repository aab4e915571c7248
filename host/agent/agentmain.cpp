// libvrqthost.so: preloaded into a Qt program (LD_PRELOAD), it waits for the
// application object and then starts the agent. The program is not linked to
// it and knows nothing of it; Qt is the program's own.
#include <QCoreApplication>

#include <dlfcn.h>
#include <stdlib.h>

#include <climits>
#include <cstdlib>
#include <memory>
#include <string>

#include "host/agent/agent.h"
#include "host/protocol/protocol.h"

namespace {

std::string canonical(const std::string &path)
{
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

// Programs the application starts must not load the agent nor connect: take
// this library out of LD_PRELOAD.
void leavePreloadOfChildren()
{
    const char *preload = std::getenv("LD_PRELOAD");
    Dl_info info{};
    if (!preload || !dladdr(reinterpret_cast<void *>(&leavePreloadOfChildren), &info) || !info.dli_fname)
        return;
    const std::string self = canonical(info.dli_fname);
    std::string kept;
    const std::string list = preload;
    std::size_t begin = 0;
    while (begin <= list.size()) {
        std::size_t end = list.find_first_of(": ", begin);
        if (end == std::string::npos)
            end = list.size();
        const std::string entry = list.substr(begin, end - begin);
        if (!entry.empty() && canonical(entry) != self)
            kept += (kept.empty() ? "" : ":") + entry;
        begin = end + 1;
    }
    if (kept.empty())
        ::unsetenv("LD_PRELOAD");
    else
        ::setenv("LD_PRELOAD", kept.c_str(), 1);
}

// Runs at load, before main and before any thread of the program: the only
// safe moment to change the environment.
std::string takeSocketPath()
{
    const char *value = std::getenv(vrqt::protocol::kSocketVariable);
    std::string path = value ? value : "";
    ::unsetenv(vrqt::protocol::kSocketVariable);
    leavePreloadOfChildren();
    return path;
}

const std::string socketPath = takeSocketPath();
// Deliberately not a static object: a program that calls exit() without
// destroying its application object ends with the agent untouched, its thread
// blocked in a read, instead of joining threads inside exit handlers.
vrqt::agent::Agent *agent = nullptr;
bool started = false;

// GUI thread, from the application object's destructor.
void stopAgent()
{
    delete agent;
    agent = nullptr;
}

// GUI thread, while the application object is being built. Qt runs it for
// every application object; the agent serves the first one only.
void startAgent()
{
    if (started || socketPath.empty())
        return;
    started = true;
    agent = vrqt::agent::Agent::start(socketPath).release();
    if (agent)
        qAddPostRoutine(stopAgent);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startAgent)
