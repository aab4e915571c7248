#include "host/cli/interrupts.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace vrqt::cli {

namespace {

sigset_t watchedSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

} // namespace

Interrupts::Interrupts()
{
    const sigset_t set = watchedSignals();
    if (sigprocmask(SIG_BLOCK, &set, nullptr) == 0)
        signalDescriptor = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

Interrupts::~Interrupts()
{
    // The signals stay blocked: vrqt is ending, and a pending Ctrl-C must not
    // cut its cleanup short.
    if (signalDescriptor >= 0)
        ::close(signalDescriptor);
}

bool Interrupts::arrived() const
{
    if (signalDescriptor < 0)
        return false;
    pollfd entry{ signalDescriptor, POLLIN, 0 };
    return ::poll(&entry, 1, 0) > 0;
}

} // namespace vrqt::cli
