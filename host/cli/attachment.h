// Reaching a Qt program that runs without the agent: the debugger loads the
// agent into it and asks it to listen for a session.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "host/protocol/deadline.h"

namespace vrqt::cli {

struct Attachable
{
    pid_t pid = 0;
    int qtMajor = 0;
    std::vector<std::string> program; // its command line
    std::string agent;                // the agent library for its Qt
};

// Checks that process pid can be attached to: it runs, it is this user's,
// the kernel lets us trace it, it has mapped a Qt core library we have an
// agent for, and a debugger is there. False with what is missing.
bool inspectForAttach(pid_t pid, Attachable *target, std::string *error);

// Loads target.agent into the process with the debugger in batch mode and
// starts it listening at sessionSocket; the debugger's output goes to a file
// in logDirectory. False with the reason.
bool loadAgent(const Attachable &target, const std::string &sessionSocket, const std::string &logDirectory,
               protocol::Deadline deadline, std::string *error);

} // namespace vrqt::cli
