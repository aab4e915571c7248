// The program under inspection, started as a child process.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "host/protocol/deadline.h"

namespace vrqt::cli {

struct ExitStatus
{
    bool signalled = false;
    int code = 0; // the exit code, or the signal's number
    bool clean() const { return !signalled && code == 0; }
    std::string describe() const;
};

class ChildProcess
{
public:
    ChildProcess() = default;
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;
    // A child still running is killed and reaped: none is left behind.
    ~ChildProcess();

    struct Launch
    {
        // Where the program's output goes; empty: its standard output goes
        // to our standard error, so that our output stays ours.
        std::string outputPath;
        // A detached program outlives us, in a session of its own; any other
        // gets SIGTERM when we end, however we end.
        bool detached = false;
    };

    // Starts command (searched in PATH) with exactly the given environment
    // ("NAME=value" entries); its standard input is /dev/null. False with
    // the reason when the program could not be run.
    bool start(const std::vector<std::string> &command, const std::vector<std::string> &environment, std::string *error,
               const Launch &launch);
    bool start(const std::vector<std::string> &command, const std::vector<std::string> &environment, std::string *error)
    {
        return start(command, environment, error, Launch{});
    }

    pid_t pid() const { return child; }
    // Becomes readable when the child ends; -1 where the system has no
    // process descriptors (then exit is noticed by polling).
    int exitDescriptor() const { return exitNotice; }
    // Reaps the child if it has ended; true once it has.
    bool finished();
    const ExitStatus &status() const { return exitStatus; }
    // Waits until the child ends, the deadline passes or a stop descriptor
    // becomes readable; true when it ended.
    bool waitUntil(protocol::Deadline deadline, const std::vector<int> &stopDescriptors = {});
    void signal(int number);
    // Lets the child go on without us: it is neither waited for nor killed.
    void release();

private:
    pid_t child = -1;
    int exitNotice = -1;
    bool ended = false;
    ExitStatus exitStatus;
};

// This process's environment with the given entries set ("NAME=value").
std::vector<std::string> environmentWith(const std::vector<std::string> &changes);

} // namespace vrqt::cli
