// The program a command works on: started with the agent for this command
// and closed after it, started to stay as a named session, or a session's
// program reached by name.
#pragma once

#include <functional>
#include <string>

#include "host/cli/agentsession.h"
#include "host/cli/childprocess.h"
#include "host/cli/interrupts.h"
#include "host/cli/options.h"
#include "host/protocol/deadline.h"
#include "host/protocol/rendezvous.h"

namespace vrqt::cli {

// The exit status of vrqt: one for each kind of failure, so that a script
// can tell them apart.
enum ExitCode {
    kSuccess = 0,
    kFailure = 1,      // anything not named below
    kUsage = 2,        // a bad command line, or a malformed reference or value
    kUncleanEnd = 3,   // the command was done; the program did not end cleanly
    kNoSuchObject = 4, // no object, member or item answers to the name
    kCrashed = 5,      // the program died of a signal it did not get from vrqt
    kTimedOut = 6,     // a time limit ran out
    kRefused = 7,      // the module refused or failed the work
    kInterrupted = 130,
};

// What a command does once the program's main widget is shown: its requests
// on session, each bounded by options.timeout. Returns an exit code; writes
// its result to standard output and every message to standard error.
using CommandWork = std::function<int(AgentSession &session, const CommandOptions &options)>;

// Runs work on options.session's program, or on options.program started
// for it and closed after it; the final exit code.
int runProgram(const CommandOptions &options, const CommandWork &work);

// Failures go to standard error as "vrqt: message", or with json as one
// JSON document on standard output: {"ok": false, "error": {"code",
// "message", "exit"}}.
void reportFailuresAsJson(bool json);

// Reports a failure; returns exitCode.
int complain(const std::string &message, int exitCode = kFailure, const char *code = "failed");
// Reports a request that failed, with the exit code of its kind.
int complain(const CallResult &result);

// Waits until the program has had no event for a moment (settle request),
// within limit; a program that does not settle in time is no failure.
void settle(AgentSession &session, std::chrono::milliseconds limit);

// Checks the agent's greeting: the protocol it speaks, and that the program
// is a Qt Widgets one. kSuccess, or a failure reported.
int greet(AgentSession &session, protocol::Deadline deadline, pid_t *pid = nullptr);

// A program started with the agent preloaded.
class StartedProgram
{
public:
    explicit StartedProgram(const CommandOptions &options);

    // Starts options.program; its agent will connect to listener, and
    // listen at sessionSocket too when that is given. kSuccess, or a failure
    // reported. options.timeout counts from here.
    int launch(protocol::PrivateListener &listener, const ChildProcess::Launch &launch, const std::string &sessionSocket);
    // Returns once the agent has connected and the program's main widget is
    // shown: kSuccess, or a failure reported.
    int awaitReady(protocol::PrivateListener &listener);

    // Asks the program to quit (when it can still be asked), gives it time,
    // then ends it by force. The final exit code, given the command's.
    int finish(int result);

    AgentSession &session() { return conversation; }
    ChildProcess &program() { return child; }
    int qtMajor() const { return major; }
    bool interrupted() const { return interrupts.arrived(); }

private:
    int awaitMainWidget();

    const CommandOptions &options;
    Interrupts interrupts;
    ChildProcess child;
    AgentSession conversation;
    int major = 0;
    protocol::Deadline deadline = protocol::Deadline::never();
};

} // namespace vrqt::cli
