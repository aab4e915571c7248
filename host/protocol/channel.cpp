#include "host/protocol/channel.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace vrqt::protocol {

Channel::Channel(int descriptor) : socket(descriptor) {}

Channel::~Channel()
{
    if (socket >= 0)
        ::close(socket);
}

void Channel::shutdown()
{
    shutDown = true;
    // shutdown(2), not close(2): the descriptor number stays ours until the
    // destructor, so a blocked poll cannot end up watching a reused number.
    ::shutdown(socket, SHUT_RDWR);
}

Channel::Status Channel::send(const std::string &line, Deadline deadline)
{
    return write(line, [deadline] { return deadline; });
}

Channel::Status Channel::sendWhileRead(const std::string &line, std::chrono::milliseconds stallLimit)
{
    return write(line, [stallLimit] { return Deadline::after(stallLimit); });
}

std::size_t Channel::sendWithoutWaiting(const std::string &line)
{
    std::size_t written = 0;
    while (written < line.size() && !shutDown) {
        const ssize_t count = ::send(socket, line.data() + written, line.size() - written, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count > 0)
            written += std::size_t(count);
        else if (count < 0 && errno == EINTR)
            continue;
        else
            break;
    }
    return written;
}

template <typename NextDeadline>
Channel::Status Channel::write(const std::string &line, NextDeadline nextDeadline)
{
    Deadline deadline = nextDeadline();
    std::size_t written = 0;
    while (written < line.size()) {
        if (shutDown)
            return Status::Closed;
        const ssize_t count = ::send(socket, line.data() + written, line.size() - written, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) {
            written += std::size_t(count);
            if (count > 0)
                deadline = nextDeadline();
            continue;
        }
        if (errno == EINTR)
            continue;
        if (errno == EPIPE || errno == ECONNRESET)
            return Status::Closed;
        if (errno != EAGAIN && errno != EWOULDBLOCK)
            return Status::Failed;
        pollfd entry{ socket, POLLOUT, 0 };
        const int ready = ::poll(&entry, 1, deadline.pollTimeout());
        if (ready == 0)
            return Status::TimedOut;
        if (ready < 0 && errno != EINTR)
            return Status::Failed;
    }
    return Status::Ok;
}

Channel::Status Channel::receive(std::string *line, Deadline deadline, const std::vector<int> &stopDescriptors)
{
    std::vector<pollfd> watched;
    watched.push_back({ socket, POLLIN, 0 });
    for (int descriptor : stopDescriptors)
        watched.push_back({ descriptor, POLLIN, 0 });
    for (;;) {
        const Status taken = receiveWithoutWaiting(line);
        if (taken != Status::TimedOut)
            return taken;
        for (pollfd &entry : watched)
            entry.revents = 0;
        const int ready = ::poll(watched.data(), watched.size(), deadline.pollTimeout());
        if (ready < 0) {
            if (errno == EINTR)
                continue;
            return Status::Failed;
        }
        if (ready == 0)
            return Status::TimedOut;
        for (std::size_t index = 1; index < watched.size(); ++index) {
            if (watched[index].revents)
                return Status::Stopped;
        }
    }
}

Channel::Status Channel::receiveWithoutWaiting(std::string *line)
{
    for (;;) {
        if (std::optional<std::string> next = buffer.takeLine()) {
            *line = std::move(*next);
            return Status::Ok;
        }
        if (buffer.overflowed())
            return Status::TooLong;
        if (shutDown)
            return Status::Closed;
        const Status filled = fill();
        if (filled != Status::Ok)
            return filled;
    }
}

Channel::Status Channel::fill()
{
    for (;;) {
        char chunk[16384];
        const ssize_t count = ::recv(socket, chunk, sizeof chunk, MSG_DONTWAIT);
        if (count > 0) {
            buffer.append(chunk, std::size_t(count));
            return Status::Ok;
        }
        if (count == 0)
            return Status::Closed; // an unterminated last line is dropped: it was never sent whole
        if (errno == EINTR)
            continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK)
            return Status::TimedOut;
        return errno == ECONNRESET ? Status::Closed : Status::Failed;
    }
}

const char *describe(Channel::Status status)
{
    switch (status) {
    case Channel::Status::Ok: return "ok";
    case Channel::Status::Closed: return "the other side closed the connection";
    case Channel::Status::TimedOut: return "timed out";
    case Channel::Status::Stopped: return "interrupted";
    case Channel::Status::TooLong: return "a line was longer than the protocol allows";
    case Channel::Status::Failed: return "the connection failed";
    }
    return "unknown";
}

} // namespace vrqt::protocol
