// Helpers for the tests of process-wide state: environment variables set for
// the length of a test, child processes waited for with a time limit or
// talked to through pipes.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <thread>

// Sets (or with nullptr removes) a variable and restores it afterwards.
class ScopedVariable {
public:
    ScopedVariable(const char *name, const char *value) : m_name(name)
    {
        if (const char *old = std::getenv(name))
            m_old = old;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedVariable()
    {
        if (m_old)
            setenv(m_name.c_str(), m_old->c_str(), 1);
        else
            unsetenv(m_name.c_str());
    }
    ScopedVariable(const ScopedVariable &) = delete;
    ScopedVariable &operator=(const ScopedVariable &) = delete;

private:
    std::string m_name;
    std::optional<std::string> m_old;
};

// The child's wait status, or -1 when it has not ended within the limit (it
// is then killed).
inline int waitForChild(pid_t child, std::chrono::seconds limit = std::chrono::seconds(20))
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return status;
}

// A temporary folder that is removed with its contents afterwards.
class ScopedFolder {
public:
    ScopedFolder()
    {
        char pattern[] = "/tmp/vrqt-test-XXXXXX";
        m_path = mkdtemp(pattern);
    }
    ~ScopedFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    const std::string &path() const { return m_path; }

private:
    std::string m_path;
};

// A forked process that runs body and talks to the test through two pipes.
// Fork it before the test makes anything, so that whatever the child finds it
// finds through the system, not through memory copied from the parent.
class ChildProcess {
public:
    explicit ChildProcess(const std::function<void(ChildProcess &)> &body)
    {
        int toChild[2], toParent[2];
        if (pipe(toChild) != 0 || pipe(toParent) != 0)
            std::abort();
        m_pid = fork();
        if (m_pid == 0) {
            m_in = toChild[0];
            m_out = toParent[1];
            body(*this);
            _exit(0);
        }
        m_in = toParent[0];
        m_out = toChild[1];
        close(toChild[0]);
        close(toParent[1]);
    }
    ~ChildProcess()
    {
        if (m_pid > 0 && !m_reaped)
            kill();
        close(m_in);
        close(m_out);
    }

    void send(char byte) { (void)!write(m_out, &byte, 1); }
    char receive()
    {
        char byte = 0;
        return read(m_in, &byte, 1) == 1 ? byte : '\0';
    }
    void kill()
    {
        ::kill(m_pid, SIGKILL);
        reap();
    }
    int reap()
    {
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_reaped = true;
        return status;
    }

private:
    pid_t m_pid = -1;
    int m_in = -1;
    int m_out = -1;
    bool m_reaped = false;
};
