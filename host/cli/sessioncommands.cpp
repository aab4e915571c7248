#include "host/cli/sessioncommands.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>

#include "host/cli/attachment.h"
#include "host/cli/programrun.h"
#include "host/cli/quoting.h"
#include "host/cli/sessionstore.h"

namespace vrqt::cli {

namespace {

using std::chrono::milliseconds;

// After "quit", then after SIGTERM, how long a session's program gets to end.
constexpr milliseconds kTerminateGrace{ 3000 };
constexpr milliseconds kQuitRequestLimit{ 2000 };
// How long start waits, at most, for the new program to settle.
constexpr milliseconds kStartSettle{ 3000 };

std::string baseName(const std::string &path)
{
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// A word as the terminal may get it: plain, or quoted with what would
// break the line or the terminal escaped.
std::string shown(const std::string &word)
{
    for (const char c : word) {
        if (c <= ' ' || c == '"' || c == '\\' || c == 0x7f)
            return quoted(QJsonValue(QString::fromStdString(word)));
    }
    return word.empty() ? "\"\"" : word;
}

std::string now()
{
    return QDateTime::currentDateTime().toString(Qt::ISODate).toStdString();
}

QJsonObject describeSession(const SessionStore &store, const SessionInfo &info)
{
    QJsonArray program;
    for (const std::string &word : info.program)
        program.append(QString::fromStdString(word));
    return { { QStringLiteral("name"), QString::fromStdString(info.name) },
             { QStringLiteral("pid"), int(info.pid) },
             { QStringLiteral("qt"), info.qtMajor },
             { QStringLiteral("program"), program },
             { QStringLiteral("started"), QString::fromStdString(info.started) },
             { QStringLiteral("attached"), info.attached },
             { QStringLiteral("output"), info.attached ? QJsonValue() : QString::fromStdString(store.outputPath(info.name)) } };
}

// What start and attach print: the name, or the session as JSON.
int announce(const CommandOptions &options, const SessionStore &store, const SessionInfo &info)
{
    const std::string text = options.json ? QJsonDocument(describeSession(store, info)).toJson(QJsonDocument::Compact).toStdString()
                                          : info.name;
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
    return kSuccess;
}

// Waits until a process that is not necessarily our child has ended.
bool awaitEnd(pid_t pid, protocol::Deadline deadline)
{
    const int notice = int(::syscall(SYS_pidfd_open, pid, 0));
    while (processRuns(pid) && !deadline.passed()) {
        pollfd watched{ notice, POLLIN, 0 };
        if (notice < 0 || ::poll(&watched, 1, deadline.capped(milliseconds(100)).pollTimeout()) < 0)
            ::usleep(20000);
    }
    if (notice >= 0)
        ::close(notice);
    return !processRuns(pid);
}

} // namespace

int runStart(const CommandOptions &options)
{
    SessionStore store;
    std::string error;
    if (!store.open(&error))
        return complain(error);
    SessionInfo info;
    info.name = store.create(options.name, baseName(options.program.front()), &error);
    if (info.name.empty())
        return complain(error);

    StartedProgram run(options);
    protocol::PrivateListener owner;
    if (!owner.listenAt(store.ownerSocketPath(info.name), &error)) {
        store.remove(info.name);
        return complain(error);
    }
    int result = run.launch(owner, { store.outputPath(info.name), true }, store.socketPath(info.name));
    if (result == kSuccess) {
        // Known by name from here on: a start that is interrupted or killed
        // leaves a session that `vrqt stop` ends.
        info.pid = run.program().pid();
        info.qtMajor = run.qtMajor();
        info.program = options.program;
        info.started = now();
        if (!store.save(info, &error))
            result = complain(error);
    }
    if (result == kSuccess)
        result = run.awaitReady(owner);
    if (result != kSuccess || run.interrupted()) {
        result = run.finish(result == kSuccess ? int(kInterrupted) : result);
        store.remove(info.name);
        return result;
    }
    // A session is handed over settled, so that its first command sees what
    // the program shows once started.
    settle(run.session(), kStartSettle);
    run.program().release();
    return announce(options, store, info);
}

int runAttach(const CommandOptions &options)
{
    const std::string &pidText = options.operands.front();
    char *end = nullptr;
    const long pid = std::strtol(pidText.c_str(), &end, 10);
    if (pidText.empty() || *end || pid <= 0 || pid > 0x7fffffff)
        return complain("attach wants a process id, not " + shown(pidText));
    std::string error;
    Attachable target;
    if (!inspectForAttach(pid_t(pid), &target, &error))
        return complain(error);

    SessionStore store;
    if (!store.open(&error))
        return complain(error);
    SessionInfo info;
    info.name = store.create(options.name, baseName(target.program.empty() ? std::string("program") : target.program.front()), &error);
    if (info.name.empty())
        return complain(error);
    info.pid = pid_t(pid);
    info.qtMajor = target.qtMajor;
    info.program = target.program;
    info.started = now();
    info.attached = true;
    const protocol::Deadline deadline = protocol::Deadline::after(options.timeout);
    if (!store.save(info, &error) || !loadAgent(target, store.socketPath(info.name), store.directory(info.name), deadline, &error)) {
        store.remove(info.name);
        return complain(error);
    }
    Interrupts interrupts;
    AgentSession session(interrupts.descriptor());
    // The agent starts once the program's GUI thread takes the posted start.
    while (!session.connectTo(store.socketPath(info.name), &error)) {
        if (deadline.passed() || interrupts.arrived() || !processRuns(info.pid)) {
            store.remove(info.name);
            return complain("the agent loaded into process " + pidText + " did not start serving (" + error
                            + "); is its GUI thread running an event loop?");
        }
        ::usleep(20000);
    }
    if (int result = greet(session, deadline)) {
        store.remove(info.name);
        return result;
    }
    return announce(options, store, info);
}

int runStop(const CommandOptions &options)
{
    SessionStore store;
    SessionInfo info;
    std::string error;
    if (!store.open(&error) || !store.load(options.session, &info, &error))
        return complain(error);
    if (processRuns(info.pid)) {
        Interrupts interrupts;
        AgentSession session(interrupts.descriptor());
        bool asked = false;
        if (session.connectTo(store.socketPath(options.session), &error))
            asked = session.call(QStringLiteral("quit"), {}, protocol::Deadline::after(kQuitRequestLimit)).ok();
        if (!asked || !awaitEnd(info.pid, protocol::Deadline::after(options.timeout))) {
            complain("the program of session " + options.session + " did not end " + (asked ? "after it was asked to quit" : "when asked")
                     + "; ending it");
            ::kill(info.pid, SIGTERM);
            if (!awaitEnd(info.pid, protocol::Deadline::after(kTerminateGrace))) {
                ::kill(info.pid, SIGKILL);
                awaitEnd(info.pid, protocol::Deadline::after(kTerminateGrace));
            }
        }
    }
    store.remove(options.session);
    return kSuccess;
}

int runSessions(const CommandOptions &options)
{
    SessionStore store;
    std::string error;
    if (!store.open(&error))
        return complain(error);
    const std::vector<SessionInfo> sessions = store.live();
    std::string text;
    if (options.json) {
        QJsonArray list;
        for (const SessionInfo &info : sessions)
            list.append(describeSession(store, info));
        text = QJsonDocument(QJsonObject{ { QStringLiteral("sessions"), list } }).toJson(QJsonDocument::Indented).toStdString();
    } else {
        for (const SessionInfo &info : sessions) {
            std::string program;
            for (const std::string &word : info.program)
                program += (program.empty() ? "" : " ") + shown(word);
            text += info.name + "\tpid " + std::to_string(info.pid) + "\tQt " + std::to_string(info.qtMajor) + "\t" + info.started
                  + (info.attached ? "\tattached\t" : "\t") + program + "\n";
        }
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    return kSuccess;
}

} // namespace vrqt::cli
