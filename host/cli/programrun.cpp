#include "host/cli/programrun.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include <QJsonDocument>

#include "host/cli/agentlibrary.h"
#include "host/cli/quoting.h"
#include "host/cli/sessionstore.h"
#include "host/protocol/protocol.h"

namespace vrqt::cli {

namespace {

using std::chrono::milliseconds;

// Between two "status" requests while the program starts.
constexpr milliseconds kStatusInterval{ 100 };
// How long the program gets to end after "quit", then after SIGTERM.
constexpr milliseconds kQuitGrace{ 10000 };
constexpr milliseconds kTerminateGrace{ 3000 };
// For the "quit" request of a run that failed on the way.
constexpr milliseconds kQuitRequestLimit{ 2000 };
// How long a program that left a request unanswered gets to end by itself.
constexpr milliseconds kDyingGrace{ 1000 };
// How long a program may take to settle when asked to, at most.
constexpr milliseconds kLongestSettle{ 5000 };

bool failuresAsJson = false;

// The exit code for an error code of the agent's.
int exitCodeOf(const QString &code)
{
    namespace error = protocol::error;
    for (const char *name : { error::kNoSuchObject, error::kAmbiguousObject, error::kNoSuchMember, error::kNoSuchItem }) {
        if (code == QLatin1String(name))
            return kNoSuchObject;
    }
    for (const char *name : { error::kInvokeFailed, error::kModuleUnavailable, error::kNoHelper, error::kNoWidgets, error::kQtMismatch }) {
        if (code == QLatin1String(name))
            return kRefused;
    }
    if (code == QLatin1String(error::kBusy) || code == QLatin1String(error::kTimedOut))
        return kTimedOut;
    if (code == QLatin1String(error::kInvalidParams))
        return kUsage;
    return kFailure;
}

std::string signalText(int number)
{
    return std::to_string(number) + " (" + ::strsignal(number) + ")";
}

// What the session's program left in its crash note, if it left one.
std::string crashNote(const std::string &path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

int runOnSession(const CommandOptions &options, const CommandWork &work)
{
    SessionStore store;
    SessionInfo info;
    std::string error;
    if (!store.open(&error) || !store.load(options.session, &info, &error))
        return complain(error);
    if (!processRuns(info.pid)) {
        store.remove(options.session);
        return complain("the program of session " + options.session + " has ended");
    }
    Interrupts interrupts;
    AgentSession session(interrupts.descriptor());
    if (!session.connectTo(store.socketPath(options.session), &error))
        return complain("the session " + options.session + " does not answer (" + error + ")");
    if (int result = greet(session, protocol::Deadline::after(options.timeout)))
        return result;
    if (options.settle)
        settle(session, options.timeout);
    const int result = work(session, options);
    if (result != kSuccess && !processRuns(info.pid)) {
        // "signal 11 during call": the agent's note, written as it died.
        const std::string note = crashNote(store.crashPath(options.session));
        if (!note.empty())
            return complain("the program of session " + options.session + " crashed: " + note, kCrashed, "crashed");
    }
    return interrupts.arrived() ? int(kInterrupted) : result;
}

} // namespace

void reportFailuresAsJson(bool json)
{
    failuresAsJson = json;
}

int complain(const std::string &message, int exitCode, const char *code)
{
    if (failuresAsJson) {
        const QJsonObject error{ { QStringLiteral("code"), QLatin1String(code) },
                                 { QStringLiteral("message"), QString::fromStdString(message) },
                                 { QStringLiteral("exit"), exitCode } };
        std::printf("%s\n", QJsonDocument(QJsonObject{ { QStringLiteral("ok"), false }, { QStringLiteral("error"), error } })
                                .toJson(QJsonDocument::Compact).constData());
        std::fflush(stdout);
    } else {
        // Messages quote the program's texts: nothing raw reaches the terminal.
        std::fprintf(stderr, "vrqt: %s\n", escaped(QString::fromStdString(message)).c_str());
    }
    return exitCode;
}

int complain(const CallResult &result)
{
    if (result.kind == CallResult::Kind::Refused)
        return complain(result.message, exitCodeOf(result.error.code), result.error.code.toUtf8().constData());
    if (result.transport == protocol::Channel::Status::TimedOut)
        return complain(result.message, kTimedOut, protocol::error::kTimedOut);
    return complain(result.message);
}

void settle(AgentSession &session, std::chrono::milliseconds limit)
{
    limit = std::min(limit, kLongestSettle);
    session.call(QStringLiteral("settle"), QJsonObject{ { QStringLiteral("timeout"), double(limit.count()) } },
                 protocol::Deadline::after(limit + milliseconds(1000)));
}

int greet(AgentSession &session, protocol::Deadline deadline, pid_t *pid)
{
    const CallResult hello = session.call(QStringLiteral("hello"), {}, deadline);
    if (hello.kind == CallResult::Kind::Refused && hello.error.code == QLatin1String(protocol::error::kQtMismatch))
        return complain(hello.error.message.toStdString());
    if (!hello.ok())
        return complain(hello.message);
    const QJsonObject facts = hello.result.toObject();
    if (facts.value(QLatin1String("protocol")).toInt() != protocol::kVersion)
        return complain("the agent speaks protocol " + std::to_string(facts.value(QLatin1String("protocol")).toInt())
                        + ", vrqt speaks " + std::to_string(protocol::kVersion));
    if (!facts.value(QLatin1String("widgets")).toBool())
        return complain("the program is a Qt program but not a Qt Widgets one (it made no QApplication)");
    if (pid)
        *pid = pid_t(facts.value(QLatin1String("pid")).toInt());
    return kSuccess;
}

StartedProgram::StartedProgram(const CommandOptions &options) : options(options), conversation(interrupts.descriptor()) {}

int StartedProgram::launch(protocol::PrivateListener &listener, const ChildProcess::Launch &launch, const std::string &sessionSocket)
{
    std::string error;
    major = chooseQtMajor(options.program, options.qtMajor, &error);
    if (!major)
        return complain(error);
    const std::string agent = findAgentLibrary(major, &error);
    if (agent.empty())
        return complain(error);
    std::vector<std::string> variables{
        std::string("LD_PRELOAD=") + preloadWithAgent(agent, std::getenv("LD_PRELOAD")),
        std::string(protocol::kSocketVariable) + "=" + listener.socketPath(),
    };
    if (!sessionSocket.empty())
        variables.push_back(std::string(protocol::kSessionSocketVariable) + "=" + sessionSocket);
    deadline = protocol::Deadline::after(options.timeout);
    if (!child.start(options.program, environmentWith(variables), &error, launch))
        return complain(error);
    return kSuccess;
}

int StartedProgram::awaitReady(protocol::PrivateListener &listener)
{
    std::string error;
    if (!conversation.connect(listener, child, deadline, &error))
        return complain(error);
    if (int result = greet(conversation, deadline))
        return result;
    return awaitMainWidget();
}

int StartedProgram::awaitMainWidget()
{
    for (;;) {
        const CallResult status = conversation.call(QStringLiteral("status"), {}, deadline);
        // A GUI thread still busy starting the program answers "busy": ask again.
        if (!status.ok() && status.error.code != QLatin1String(protocol::error::kBusy))
            return complain(status);
        if (status.ok() && status.result.toObject().value(QLatin1String("mainWidgetShown")).toBool())
            return kSuccess;
        if (deadline.passed())
            return complain("the program showed no main widget within " + QString::number(options.timeout.count() / 1000.0).toStdString() + " s",
                            kTimedOut, protocol::error::kTimedOut);
        if (child.waitUntil(deadline.capped(kStatusInterval), { interrupts.descriptor() }))
            return complain("the program " + child.status().describe() + " before it showed its main widget");
        if (interrupts.arrived())
            return complain("interrupted");
    }
}

int StartedProgram::finish(int result)
{
    auto interrupted = [this](int result) { return interrupts.arrived() ? int(kInterrupted) : result; };
    if (child.pid() <= 0)
        return interrupted(result);
    // Ended by a signal that was not ours: a crash, whatever the last answer.
    auto crashed = [this] {
        const std::string when = conversation.lastRequest().isEmpty() ? std::string(" before any request")
                               : (conversation.lastAnswered() ? " after the answer to \"" : " during \"")
                                     + conversation.lastRequest().toStdString() + "\"";
        return complain("the program crashed: killed by signal " + signalText(child.status().code) + when, kCrashed, "crashed");
    };
    // A request left without an answer may be a program that is dying: give
    // it a moment to be reaped, so that its end is told as it was.
    if (!conversation.lastAnswered())
        child.waitUntil(protocol::Deadline::after(kDyingGrace));
    if (child.finished() && child.status().signalled)
        return crashed();
    bool asked = false;
    if (conversation.connected() && !child.finished()) {
        const CallResult quit = conversation.call(QStringLiteral("quit"), {}, protocol::Deadline::after(kQuitRequestLimit));
        asked = quit.ok();
        if (!asked && result == kSuccess)
            complain(quit.message);
    }
    // A program that was not asked to quit gets no time to do so.
    const protocol::Deadline grace = protocol::Deadline::after(asked ? kQuitGrace : milliseconds(0));
    if (child.finished() || child.waitUntil(grace, { interrupts.descriptor() })) {
        if (child.status().signalled)
            return crashed();
        if (child.status().clean() || result != kSuccess)
            return interrupted(result);
        complain("the program " + child.status().describe() + " after it was asked to quit");
        return interrupted(kUncleanEnd);
    }
    if (result == kSuccess)
        complain("the program did not end within " + std::to_string(kQuitGrace.count() / 1000) + " s after it was asked to quit; ending it");
    child.signal(SIGTERM);
    if (!child.waitUntil(protocol::Deadline::after(kTerminateGrace))) {
        child.signal(SIGKILL);
        child.waitUntil(protocol::Deadline::never());
    }
    return interrupted(result == kSuccess ? kUncleanEnd : result);
}

int runProgram(const CommandOptions &options, const CommandWork &work)
{
    if (!options.session.empty())
        return runOnSession(options, work);
    StartedProgram run(options);
    protocol::PrivateListener listener;
    std::string error;
    if (!listener.open(&error))
        return complain(error);
    int result = run.launch(listener, {}, {});
    if (result == kSuccess)
        result = run.awaitReady(listener);
    if (result == kSuccess && options.settle)
        settle(run.session(), options.timeout);
    if (result == kSuccess)
        result = work(run.session(), options);
    return run.finish(result);
}

} // namespace vrqt::cli
