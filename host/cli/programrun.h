// One run of a vrqt command: start the program with the agent, wait for its
// main widget, let the command do its part, close the program.
#pragma once

#include <functional>

#include "host/cli/options.h"
#include "host/protocol/deadline.h"

namespace vrqt::cli {

class AgentSession;

enum ExitCode {
    kSuccess = 0,
    kFailure = 1,
    kUsage = 2,
    kUncleanEnd = 3, // the command was done; the program did not end cleanly
    kInterrupted = 130,
};

// What a command does once the program's main widget is shown: its requests
// on session, each bounded by options.timeout. Returns an exit code; writes
// its result to standard output and every message to standard error.
using CommandWork = std::function<int(AgentSession &session, const CommandOptions &options)>;

// Runs options.program and work; the final exit code.
int runProgram(const CommandOptions &options, const CommandWork &work);

// Writes "vrqt: message" to standard error; returns kFailure.
int complain(const std::string &message);

} // namespace vrqt::cli
