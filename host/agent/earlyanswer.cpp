#include "host/agent/earlyanswer.h"

#include <thread>

#include "host/protocol/channel.h"

namespace vrqt::agent {

void EarlyAnswer::offer(std::string text)
{
    int open = Open;
    if (!state.compare_exchange_strong(open, Sending, std::memory_order_acq_rel))
        return;
    line = std::move(text);
    sent = channel.sendWithoutWaiting(line);
    state.store(Sent, std::memory_order_release);
}

bool EarlyAnswer::taken(std::string *rest)
{
    int open = Open;
    if (state.compare_exchange_strong(open, Serving, std::memory_order_acq_rel))
        return false;
    // A send that does not wait is under way: it ends in a moment.
    while (state.load(std::memory_order_acquire) != Sent)
        std::this_thread::yield();
    *rest = line.substr(sent);
    return true;
}

} // namespace vrqt::agent
