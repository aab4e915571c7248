// Lets the thread that worked out a request's answer send it at once,
// sparing the serving thread's wake-up on the way back: that thread sends
// what the socket takes without waiting, and the serving thread the rest.
// Whichever thread comes first owns the answer: after a time-out or a modal
// loop the serving thread answers, and work that ends later sends nothing.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>

namespace vrqt::protocol {
class Channel;
}

namespace vrqt::agent {

class EarlyAnswer
{
public:
    // channel outlives every call of offer that can send, since the serving
    // thread waits in taken() for one under way.
    explicit EarlyAnswer(protocol::Channel &channel) : channel(channel) {}

    // The work's thread: sends line unless the serving thread has taken the
    // answer over. True when all of it went out.
    bool offer(std::string line);
    // Serving thread, once the work is over or given up: false when the
    // answer is its own to give; true when the work's thread gave it, with
    // *rest what is still to be sent.
    bool taken(std::string *rest);

private:
    enum State { Open, Sending, Sent, Serving };

    protocol::Channel &channel;
    std::atomic<int> state{ Open };
    std::string line; // written before Sent, read after
    std::size_t sent = 0;
};

} // namespace vrqt::agent
