#include "host/cli/childprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

extern char **environ;

namespace vrqt::cli {

namespace {

// Without a process descriptor, how often a wait looks whether the child ended.
constexpr std::chrono::milliseconds kPollSlice{ 50 };

std::vector<char *> pointers(const std::vector<std::string> &strings)
{
    std::vector<char *> result;
    for (const std::string &value : strings)
        result.push_back(const_cast<char *>(value.c_str()));
    result.push_back(nullptr);
    return result;
}

// In the child between fork and exec: async-signal-safe calls only.
[[noreturn]] void becomeProgram(char *const *argv, char *const *envp, int errorPipe, const char *outputPath, bool detached,
                                pid_t parent)
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int nothing = ::open("/dev/null", O_RDONLY);
    if (nothing >= 0) {
        ::dup2(nothing, STDIN_FILENO);
        ::close(nothing);
    }
    if (outputPath) {
        const int output = ::open(outputPath, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        if (output >= 0) {
            ::dup2(output, STDOUT_FILENO);
            ::dup2(output, STDERR_FILENO);
        }
    } else {
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
    }
    if (detached) {
        // Out of the terminal's session: its hang-up and Ctrl-C are not the program's.
        ::setsid();
    } else {
        // Ends with us, however we end: no program is left behind unowned.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent)
            ::_exit(127);
    }
    ::execvpe(argv[0], argv, envp);
    const int error = errno;
    ssize_t ignored = ::write(errorPipe, &error, sizeof error);
    (void)ignored;
    ::_exit(127);
}

} // namespace

std::string ExitStatus::describe() const
{
    if (signalled)
        return std::string("killed by signal ") + std::to_string(code) + " (" + ::strsignal(code) + ")";
    return "exited with status " + std::to_string(code);
}

std::vector<std::string> environmentWith(const std::vector<std::string> &changes)
{
    std::vector<std::string> result;
    auto nameOf = [](const std::string &entry) { return entry.substr(0, entry.find('=')); };
    for (char **entry = environ; entry && *entry; ++entry) {
        const std::string existing = *entry;
        bool replaced = false;
        for (const std::string &change : changes)
            replaced = replaced || nameOf(change) == nameOf(existing);
        if (!replaced)
            result.push_back(existing);
    }
    result.insert(result.end(), changes.begin(), changes.end());
    return result;
}

ChildProcess::~ChildProcess()
{
    if (child > 0 && !finished()) {
        ::kill(child, SIGKILL);
        waitUntil(protocol::Deadline::never());
    }
    if (exitNotice >= 0)
        ::close(exitNotice);
}

bool ChildProcess::start(const std::vector<std::string> &command, const std::vector<std::string> &environment, std::string *error,
                         const Launch &launch)
{
    const char *outputPath = launch.outputPath.empty() ? nullptr : launch.outputPath.c_str();
    const pid_t parent = ::getpid();
    std::vector<char *> argv = pointers(command);
    std::vector<char *> envp = pointers(environment);
    int errorPipe[2];
    if (::pipe2(errorPipe, O_CLOEXEC) != 0) {
        *error = std::string("cannot make a pipe: ") + std::strerror(errno);
        return false;
    }
    child = ::fork();
    if (child < 0) {
        *error = std::string("cannot fork: ") + std::strerror(errno);
        ::close(errorPipe[0]);
        ::close(errorPipe[1]);
        return false;
    }
    if (child == 0)
        becomeProgram(argv.data(), envp.data(), errorPipe[1], outputPath, launch.detached, parent);
    ::close(errorPipe[1]);
    // The pipe closes unread when exec succeeds; otherwise it carries errno.
    int childError = 0;
    ssize_t count;
    do
        count = ::read(errorPipe[0], &childError, sizeof childError);
    while (count < 0 && errno == EINTR);
    ::close(errorPipe[0]);
    if (count == sizeof childError) {
        waitUntil(protocol::Deadline::never());
        *error = "cannot run " + command.front() + ": " + std::strerror(childError);
        return false;
    }
    exitNotice = int(::syscall(SYS_pidfd_open, child, 0));
    return true;
}

bool ChildProcess::finished()
{
    if (ended || child <= 0)
        return ended;
    int status = 0;
    pid_t result;
    do
        result = ::waitpid(child, &status, WNOHANG);
    while (result < 0 && errno == EINTR);
    if (result == 0)
        return false;
    ended = true;
    if (result == child && WIFSIGNALED(status))
        exitStatus = { true, WTERMSIG(status) };
    else if (result == child)
        exitStatus = { false, WEXITSTATUS(status) };
    return true;
}

bool ChildProcess::waitUntil(protocol::Deadline deadline, const std::vector<int> &stopDescriptors)
{
    std::vector<pollfd> watched;
    for (int descriptor : stopDescriptors)
        watched.push_back({ descriptor, POLLIN, 0 });
    if (exitNotice >= 0)
        watched.push_back({ exitNotice, POLLIN, 0 });
    while (!finished()) {
        const protocol::Deadline slice = exitNotice >= 0 ? deadline : deadline.capped(kPollSlice);
        if (deadline.passed())
            return false;
        for (pollfd &entry : watched)
            entry.revents = 0;
        const int ready = ::poll(watched.data(), watched.size(), slice.pollTimeout());
        if (ready < 0 && errno != EINTR)
            return finished();
        for (std::size_t index = 0; index < stopDescriptors.size(); ++index) {
            if (watched[index].revents)
                return finished();
        }
    }
    return true;
}

void ChildProcess::release()
{
    child = -1;
    if (exitNotice >= 0)
        ::close(exitNotice);
    exitNotice = -1;
}

void ChildProcess::signal(int number)
{
    if (child > 0 && !finished())
        ::kill(child, number);
}

} // namespace vrqt::cli
