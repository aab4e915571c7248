#include "host/agent/earlyanswer.h"

#include <thread>

#include "host/protocol/channel.h"

namespace vrqt::agent {

bool EarlyAnswer::offer(std::string text)
{
    int open = Open;
    if (!state.compare_exchange_strong(open, Sending, std::memory_order_acq_rel))
        return false;
    line = std::move(text);
    sent = channel.sendWithoutWaiting(line);
    const bool whole = sent == line.size();
    state.store(Sent, std::memory_order_release);
    return whole;
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
