#include "host/cli/attachment.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "host/cli/agentlibrary.h"
#include "host/cli/childprocess.h"
#include "host/cli/sessionstore.h"

namespace vrqt::cli {

namespace {

std::string readFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// The Qt major version of the core library the process has mapped, or 0.
int mappedQtMajor(pid_t pid)
{
    const std::string maps = readFile("/proc/" + std::to_string(pid) + "/maps");
    for (const int major : { 5, 6 }) {
        if (maps.find("/libQt" + std::to_string(major) + "Core") != std::string::npos)
            return major;
    }
    return 0;
}

// The value the debugger printed for its history entry number, as in
// "$2 = -1"; false when it printed none.
bool printedValue(const std::string &output, int number, std::string *value)
{
    const std::string mark = "$" + std::to_string(number) + " = ";
    const std::size_t at = output.find(mark);
    if (at == std::string::npos)
        return false;
    const std::size_t end = output.find('\n', at);
    *value = output.substr(at + mark.size(), end == std::string::npos ? std::string::npos : end - at - mark.size());
    return true;
}

std::vector<std::string> commandLine(pid_t pid)
{
    std::vector<std::string> words;
    std::istringstream text(readFile("/proc/" + std::to_string(pid) + "/cmdline"));
    for (std::string word; std::getline(text, word, '\0');)
        words.push_back(word);
    return words;
}

// Whether the kernel lets this process trace a process of its own user
// that is not its child; otherwise the reason and what to do.
bool mayTrace(std::string *error)
{
    std::ifstream setting("/proc/sys/kernel/yama/ptrace_scope");
    int scope = 0;
    if (!(setting >> scope) || scope == 0)
        return true; // no Yama, or classic permissions: the same user suffices
    if (scope <= 2 && ::geteuid() == 0)
        return true;
    *error = "attaching needs permission to trace the process, and kernel.yama.ptrace_scope is " + std::to_string(scope)
           + (scope == 1 ? " (only a parent may trace its children): allow it with `sudo sysctl kernel.yama.ptrace_scope=0`,"
                           " run vrqt as root, or start the program with `vrqt start`"
                         : scope == 2 ? " (only root may trace): run vrqt as root, or start the program with `vrqt start`"
                                      : " (nobody may trace): start the program with `vrqt start`");
    return false;
}

std::string findInPath(const std::string &name)
{
    const char *path = std::getenv("PATH");
    std::istringstream folders(path ? path : "/usr/bin:/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        const std::string candidate = (folder.empty() ? "." : folder) + "/" + name;
        if (::access(candidate.c_str(), X_OK) == 0)
            return candidate;
    }
    return {};
}

// A C string literal for the debugger's expression.
std::string literal(const std::string &text)
{
    std::string result = "\"";
    for (const char c : text)
        result += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    return result + "\"";
}

} // namespace

bool inspectForAttach(pid_t pid, Attachable *target, std::string *error)
{
    const std::string process = "/proc/" + std::to_string(pid);
    struct stat info{};
    if (!processRuns(pid) || ::stat(process.c_str(), &info) != 0) {
        *error = "no process " + std::to_string(pid) + " runs";
        return false;
    }
    if (info.st_uid != ::getuid() && ::geteuid() != 0) {
        *error = "process " + std::to_string(pid) + " belongs to another user; only a program of one's own can be attached to";
        return false;
    }
    if (!mayTrace(error))
        return false;
    target->pid = pid;
    target->program = commandLine(pid);
    target->qtMajor = mappedQtMajor(pid);
    if (!target->qtMajor) {
        *error = "process " + std::to_string(pid) + " has no Qt core library loaded; it is not a Qt program (yet)";
        return false;
    }
    target->agent = findAgentLibrary(target->qtMajor, error);
    if (target->agent.empty())
        return false;
    if (findInPath("gdb").empty()) {
        *error = "attaching needs the debugger gdb (Debian's package gdb), which is not in PATH";
        return false;
    }
    return true;
}

bool loadAgent(const Attachable &target, const std::string &sessionSocket, const std::string &logDirectory,
               protocol::Deadline deadline, std::string *error)
{
    const std::string log = logDirectory + "/attach.log";
    // RTLD_NOW is 2. The debugger stops the program only for these calls.
    // It copies each text into the program's heap; they are freed again, so
    // that attaching leaves nothing behind.
    const std::vector<std::string> command{
        "gdb", "-nx", "-batch", "-p", std::to_string(target.pid),
        "-ex", "set $agent = (char *) " + literal(target.agent),
        "-ex", "set $socket = (char *) " + literal(sessionSocket),
        "-ex", "call (void *) dlopen($agent, 2)",
        "-ex", "call (int) vrqtAgentAttach($socket)",
        "-ex", "call (void) free($agent)",
        "-ex", "call (void) free($socket)",
    };
    ChildProcess debugger;
    if (!debugger.start(command, environmentWith({ "LC_ALL=C" }), error, { log, false }))
        return false;
    if (!debugger.waitUntil(deadline)) {
        debugger.signal(SIGKILL);
        debugger.waitUntil(protocol::Deadline::never());
        *error = "the debugger did not finish loading the agent in time";
        return false;
    }
    const std::string output = readFile(log);
    // The second call's value: 0 started, 1 served already, -1 no application.
    std::string answer, loadedAt;
    if (!printedValue(output, 2, &answer) || answer.empty()) {
        const bool loaded = printedValue(output, 1, &loadedAt) && loadedAt.find("0x") != std::string::npos;
        *error = std::string(loaded ? "the agent was loaded but could not be started" : "the debugger could not load the agent")
               + " in process " + std::to_string(target.pid) + "; the debugger said:\n" + output.substr(0, 2000);
        return false;
    }
    const int started = std::atoi(answer.c_str());
    if (started == 1) {
        *error = "an agent serves process " + std::to_string(target.pid) + " already (started by vrqt, or attached before)";
        return false;
    }
    if (started != 0) {
        *error = "process " + std::to_string(target.pid) + " has no Qt application object; nothing to serve";
        return false;
    }
    return true;
}

} // namespace vrqt::cli
