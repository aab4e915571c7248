#include "host/agent/crashnote.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>

namespace vrqt::agent {

namespace {

constexpr int kSignals[] = { SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT };
constexpr std::size_t kNameLength = 64;

std::atomic<int> noteFile{ -1 };
struct sigaction previous[NSIG];
// The request being answered and the last one answered; read by the
// handler, so plain characters (a torn name is the worst case).
char current[kNameLength];
char last[kNameLength];

// Async-signal-safe pieces of the line.
void append(char *line, std::size_t *length, std::size_t capacity, const char *text)
{
    while (*text && *length + 1 < capacity)
        line[(*length)++] = *text++;
}

void appendNumber(char *line, std::size_t *length, std::size_t capacity, int number)
{
    char digits[12];
    int count = 0;
    do
        digits[count++] = char('0' + number % 10);
    while ((number /= 10) && count < 11);
    while (count && *length + 1 < capacity)
        line[(*length)++] = digits[--count];
}

void onFatalSignal(int signal, siginfo_t *, void *)
{
    const int file = noteFile.load();
    if (file >= 0) {
        char line[256];
        std::size_t length = 0;
        append(line, &length, sizeof line, "signal ");
        appendNumber(line, &length, sizeof line, signal);
        append(line, &length, sizeof line, *current ? " during " : *last ? " after " : " before any request");
        append(line, &length, sizeof line, *current ? current : last);
        append(line, &length, sizeof line, "\n");
        ssize_t ignored = ::write(file, line, length);
        (void)ignored;
    }
    // The handler that was there before takes it from here; for a fault the
    // instruction faults again, anything else is sent again.
    ::sigaction(signal, &previous[signal], nullptr);
    ::raise(signal);
}

void copyName(char *into, const char *name)
{
    std::size_t length = name ? std::min(std::strlen(name), kNameLength - 1) : 0;
    into[0] = '\0';
    std::memcpy(into, name ? name : "", length);
    into[length] = '\0';
}

} // namespace

void NoteCrashesIn(const std::string &path)
{
    int expected = -1;
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0 || !noteFile.compare_exchange_strong(expected, file)) {
        if (file >= 0)
            ::close(file);
        return;
    }
    for (const int signal : kSignals) {
        struct sigaction action{};
        action.sa_sigaction = onFatalSignal;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK;
        sigemptyset(&action.sa_mask);
        ::sigaction(signal, &action, &previous[signal]);
    }
}

void NoteRequest(const char *name)
{
    if (name) {
        copyName(current, name);
    } else {
        std::memcpy(last, current, kNameLength);
        current[0] = '\0';
    }
}

} // namespace vrqt::agent
