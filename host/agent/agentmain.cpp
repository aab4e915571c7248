// libvrqthost.so: preloaded into a Qt program (LD_PRELOAD), it waits for the
// application object and then starts the agent. The program is not linked to
// it and knows nothing of it; Qt is the program's own.
#include <QCoreApplication>

#include <dlfcn.h>
#include <link.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "host/agent/agent.h"
#include "host/agent/qtmismatch.h"
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

// Read at load without changing the environment: in a wrapper (env, sh -c,
// timeout, strace) that only starts the real program, the program must
// inherit the variables and the preload unchanged.
std::string variable(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "";
}

const vrqt::agent::Endpoints endpoints{ variable(vrqt::protocol::kSocketVariable),
                                        variable(vrqt::protocol::kSessionSocketVariable) };

// Once an application object exists this process is the one to serve: the
// programs it starts must neither load the agent nor connect.
void leaveEnvironmentOfChildren()
{
    ::unsetenv(vrqt::protocol::kSocketVariable);
    ::unsetenv(vrqt::protocol::kSessionSocketVariable);
    leavePreloadOfChildren();
}

// Deliberately not a static object: a program that calls exit() without
// destroying its application object ends with the agent untouched, its thread
// blocked in a read, instead of joining threads inside exit handlers.
vrqt::agent::Agent *agent = nullptr;
std::atomic<bool> started{ false };

// How often the watch looks for a Qt core library mapped since.
constexpr std::chrono::milliseconds kWatchInterval{ 50 };

// Starts a thread that takes no signals: they stay with the threads the
// program expects them on. Detached: it ends with the process.
template <typename Function>
void startQuietThread(Function function)
{
    sigset_t all, previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    try {
        std::thread(function).detach();
    } catch (...) {
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

// Watch thread: until the agent starts, a Qt core library of the other major
// version, mapped at start or later (by dlopen), is reported to the client
// at once; the agent then stays out of the program.
void watchForForeignQt()
{
    unsigned long long seenAdditions = ~0ull;
    while (!started.load()) {
        unsigned long long additions = 0;
        dl_iterate_phdr([](dl_phdr_info *info, size_t, void *data) {
            *static_cast<unsigned long long *>(data) = info->dlpi_adds;
            return 1;
        }, &additions);
        vrqt::agent::ForeignQt foreign;
        if (additions != seenAdditions && vrqt::agent::findForeignQt(&foreign)) {
            started = true;
            vrqt::agent::refuseRequests(endpoints.owner, vrqt::agent::qtMismatchError(foreign));
            return;
        }
        seenAdditions = additions;
        std::this_thread::sleep_for(kWatchInterval);
    }
}

// Runs at load, after endpoints are read.
bool startWatch()
{
    if (!endpoints.owner.empty())
        startQuietThread(watchForForeignQt);
    return true;
}

const bool watching = startWatch();

// GUI thread, from the application object's destructor.
void stopAgent()
{
    delete agent;
    agent = nullptr;
}

// GUI thread: starts serving the application, once.
int startServing(const vrqt::agent::Endpoints &where)
{
    if (started.exchange(true))
        return 1;
    leaveEnvironmentOfChildren();
    agent = vrqt::agent::Agent::start(where).release();
    if (!agent)
        return -1;
    qAddPostRoutine(stopAgent);
    return 0;
}

// GUI thread, while the application object is being built. Qt runs it for
// every application object; the agent serves the first one only.
void startAgent()
{
    if (!endpoints.owner.empty() || !endpoints.session.empty())
        startServing(endpoints);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startAgent)

// Called in a running program into which a debugger loaded this library:
// the agent starts on the GUI thread and listens at sessionSocket. Runs on
// whatever thread the debugger stopped, so it only posts the start. 0 when
// posted, 1 when an agent serves the program already, -1 without an
// application object or a path.
extern "C" __attribute__((visibility("default"))) int vrqtAgentAttach(const char *sessionSocket)
{
    QCoreApplication *application = QCoreApplication::instance();
    if (!application || !sessionSocket || !*sessionSocket)
        return -1;
    if (started.load())
        return 1;
    const vrqt::agent::Endpoints where{ std::string(), std::string(sessionSocket) };
    QMetaObject::invokeMethod(application, [where] { startServing(where); }, Qt::QueuedConnection);
    return 0;
}
