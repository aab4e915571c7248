// Helpers for the tests of process-wide state: environment variables set for
// the length of a test, and child processes waited for with a time limit.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
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
