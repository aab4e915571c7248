#include "host/cli/programrun.h"

#include <signal.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "host/cli/agentlibrary.h"
#include "host/cli/agentsession.h"
#include "host/cli/childprocess.h"
#include "host/cli/interrupts.h"
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

class ProgramRun
{
public:
    explicit ProgramRun(const CommandOptions &options) : options(options), session(program, interrupts.descriptor()) {}

    int run(const CommandWork &work)
    {
        const int result = inspect(work);
        return finish(result);
    }

private:
    // Everything up to the command's result; the exit code so far.
    int inspect(const CommandWork &work)
    {
        std::string error;
        const int qtMajor = chooseQtMajor(options.program.front(), options.qtMajor, &error);
        if (!qtMajor)
            return fail(error);
        const std::string agent = findAgentLibrary(qtMajor, &error);
        if (agent.empty() || !listener.open(&error))
            return fail(error);
        const std::vector<std::string> environment = environmentWith({
            std::string("LD_PRELOAD=") + preloadWithAgent(agent, std::getenv("LD_PRELOAD")),
            std::string(protocol::kSocketVariable) + "=" + listener.socketPath(),
        });
        if (!program.start(options.program, environment, &error))
            return fail(error);

        const protocol::Deadline deadline = protocol::Deadline::after(options.timeout);
        if (!session.connect(listener, deadline, &error))
            return fail(error);
        if (int result = greet(deadline))
            return result;
        if (int result = awaitMainWidget(deadline))
            return result;
        return work(session, options);
    }

    int greet(protocol::Deadline deadline)
    {
        const CallResult hello = session.call(QStringLiteral("hello"), {}, deadline);
        if (hello.kind == CallResult::Kind::Refused && hello.error.code == QLatin1String(protocol::error::kQtMismatch))
            return fail(hello.error.message.toStdString());
        if (!hello.ok())
            return fail(hello.message);
        const QJsonObject facts = hello.result.toObject();
        if (facts.value(QLatin1String("protocol")).toInt() != protocol::kVersion)
            return fail("the agent speaks protocol " + std::to_string(facts.value(QLatin1String("protocol")).toInt())
                        + ", vrqt speaks " + std::to_string(protocol::kVersion));
        if (!facts.value(QLatin1String("widgets")).toBool())
            return fail("the program is a Qt program but not a Qt Widgets one (it made no QApplication)");
        return kSuccess;
    }

    int awaitMainWidget(protocol::Deadline deadline)
    {
        for (;;) {
            const CallResult status = session.call(QStringLiteral("status"), {}, deadline);
            // A GUI thread still busy starting the program answers "busy": ask again.
            if (!status.ok() && status.error.code != QLatin1String(protocol::error::kBusy))
                return fail(status.message);
            if (status.ok() && status.result.toObject().value(QLatin1String("mainWidgetShown")).toBool())
                return kSuccess;
            if (deadline.passed())
                return fail("the program showed no main widget within " + std::to_string(options.timeout.count() / 1000.0) + " s");
            if (program.waitUntil(deadline.capped(kStatusInterval), { interrupts.descriptor() }))
                return fail("the program " + program.status().describe() + " before it showed its main widget");
            if (interrupts.arrived())
                return fail("interrupted");
        }
    }

    // Asks the program to quit (when it can still be asked), gives it time,
    // then ends it by force. The final exit code.
    int finish(int result)
    {
        if (program.pid() <= 0)
            return result;
        bool asked = false;
        if (session.connected() && !program.finished()) {
            const CallResult quit = session.call(QStringLiteral("quit"), {}, protocol::Deadline::after(kQuitRequestLimit));
            asked = quit.ok();
            if (!asked && result == kSuccess)
                complain(quit.message);
        }
        // A program that was not asked to quit gets no time to do so.
        const protocol::Deadline grace = protocol::Deadline::after(asked ? kQuitGrace : milliseconds(0));
        if (program.finished() || program.waitUntil(grace, { interrupts.descriptor() })) {
            if (program.status().clean() || result != kSuccess)
                return interrupted(result);
            complain("the program " + program.status().describe() + " after it was asked to quit");
            return interrupted(kUncleanEnd);
        }
        if (result == kSuccess)
            complain("the program did not end within " + std::to_string(kQuitGrace.count() / 1000) + " s after it was asked to quit; ending it");
        program.signal(SIGTERM);
        if (!program.waitUntil(protocol::Deadline::after(kTerminateGrace))) {
            program.signal(SIGKILL);
            program.waitUntil(protocol::Deadline::never());
        }
        return interrupted(result == kSuccess ? kUncleanEnd : result);
    }

    int interrupted(int result) const { return interrupts.arrived() ? kInterrupted : result; }

    int fail(const std::string &message) { return complain(message); }

    const CommandOptions &options;
    Interrupts interrupts;
    protocol::PrivateListener listener;
    ChildProcess program;
    AgentSession session;
};

} // namespace

int runProgram(const CommandOptions &options, const CommandWork &work)
{
    ProgramRun run(options);
    return run.run(work);
}

int complain(const std::string &message)
{
    std::fprintf(stderr, "vrqt: %s\n", message.c_str());
    return kFailure;
}

} // namespace vrqt::cli
