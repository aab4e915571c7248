// One end of a connected stream socket that carries lines.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "host/protocol/deadline.h"
#include "host/protocol/linebuffer.h"

namespace vrqt::protocol {

class Channel
{
public:
    enum class Status { Ok, Closed, TimedOut, Stopped, TooLong, Failed };

    // Takes ownership of a connected socket.
    explicit Channel(int descriptor);
    Channel(const Channel &) = delete;
    Channel &operator=(const Channel &) = delete;
    ~Channel();

    // Writes all of line; a peer that went away gives Closed, never SIGPIPE.
    Status send(const std::string &line, Deadline deadline);
    // Writes all of line however long that takes while the peer reads; gives
    // up (TimedOut) once it has read nothing for stallLimit.
    Status sendWhileRead(const std::string &line, std::chrono::milliseconds stallLimit);
    // Writes what the socket takes of line at once, never waiting; gives
    // how many bytes that was (0 on a closed or full socket).
    std::size_t sendWithoutWaiting(const std::string &line);
    // Waits for the next line. Any of stopDescriptors becoming readable ends
    // the wait with Stopped, and the line stays buffered for a later call.
    Status receive(std::string *line, Deadline deadline, const std::vector<int> &stopDescriptors = {});
    // The next line if the socket has brought it whole, never waiting;
    // TimedOut when it has not yet.
    Status receiveWithoutWaiting(std::string *line);
    // Any thread: ends the conversation, waking a thread blocked in send or
    // receive, which then sees Closed.
    void shutdown();

    int descriptor() const { return socket; }

private:
    // Moves what the socket holds into the buffer; TimedOut when it holds
    // nothing now.
    Status fill();
    template <typename NextDeadline>
    Status write(const std::string &line, NextDeadline nextDeadline);

    int socket;
    LineBuffer buffer;
    std::atomic<bool> shutDown{ false };
};

// Text for a status, for messages.
const char *describe(Channel::Status status);

} // namespace vrqt::protocol
