// One client's conversation with the agent.
//
// Its requests are read where they cost least. While the GUI thread is free
// it reads them itself, from its event loop, and answers there and then
// those it can: a request then wakes one thread, as a "hello" does. The
// conversation's serving thread stands by for the rest. It reads while the
// GUI thread is held up, so that "hello" and "busy" still come; answers for
// work that outruns its limit or runs on inside a modal loop; runs the
// requests that wait (input, wait, settle, quit) and those with something to
// do after their answer; and sends what the socket did not take at once.
// Either way the requests are answered one after another, in order.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "host/protocol/channel.h"

class QSocketNotifier;

namespace vrqt::agent {

class GuiExecutor;
class RequestHandlers;

class Conversation
{
public:
    // Takes ownership of a connected socket. handlers and executor outlive
    // the conversation.
    Conversation(int descriptor, RequestHandlers &handlers, GuiExecutor &executor);
    // GUI thread, or any thread once finished.
    ~Conversation();
    Conversation(const Conversation &) = delete;
    Conversation &operator=(const Conversation &) = delete;

    // Serving thread: takes part in the conversation until it ends. The GUI
    // thread joins in through its event loop once it runs.
    void serve();
    // Any thread: ends the conversation, waking whoever waits in it.
    void shutdown();
    // Whether the serving thread is done and the GUI thread has let go.
    bool finished() const { return over.load(); }

private:
    struct Running;
    struct Step;
    enum class Reader { Gui, Serving };

    // Serving thread.
    Step next();
    Step answer(const std::string &line);
    // Waits until the wake descriptor or, when watched, the socket has
    // something, at most timeout milliseconds (-1: no limit). True when the
    // socket has something.
    bool waitFor(bool socket, int timeout);

    // GUI thread.
    void reclaim();
    void readRequests();
    void probe(const std::shared_ptr<Running> &work);
    void retire();
    // With lock held: gives the turn to read, and step, to the serving thread.
    void hand(Step step);
    void wakeServingThread();

    protocol::Channel channel;
    RequestHandlers &handlers;
    GuiExecutor &executor;
    int wake = -1; // an eventfd: a step was handed over, or the end came
    std::atomic<bool> ending{ false };
    std::atomic<bool> over{ false };

    // Guards what follows, and reading from channel.
    std::mutex lock;
    Reader reader = Reader::Serving; // until the GUI thread takes its turn
    std::unique_ptr<Step> handed;
    std::shared_ptr<Running> running; // a request the GUI thread is answering
    std::uint64_t linesTaken = 0;     // by the GUI thread
    bool servingIdle = false;         // the serving thread waits for a step
    bool servingAsleep = false;       // ... with no time limit
    bool reclaimPosted = false;
    bool retirePending = false; // the serving thread is done; retire once running ends

    QSocketNotifier *notifier = nullptr; // GUI thread
};

} // namespace vrqt::agent
