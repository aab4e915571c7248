// Lines over a connected socket: delivery, the end of the peer, time limits,
// stops and a shutdown from another thread.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <thread>

#include "host/protocol/channel.h"

using namespace std::chrono_literals;
using vrqt::protocol::Channel;
using vrqt::protocol::Deadline;

namespace {

struct Pair
{
    Pair()
    {
        int descriptors[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, descriptors), 0);
        left = std::make_unique<Channel>(descriptors[0]);
        right = std::make_unique<Channel>(descriptors[1]);
    }
    std::unique_ptr<Channel> left, right;
};

} // namespace

TEST(Channel, CarriesLinesBothWays)
{
    Pair pair;
    ASSERT_EQ(pair.left->send("first\nsecond\n", Deadline::after(5s)), Channel::Status::Ok);
    ASSERT_EQ(pair.right->send("back\n", Deadline::after(5s)), Channel::Status::Ok);
    std::string line;
    ASSERT_EQ(pair.right->receive(&line, Deadline::after(5s)), Channel::Status::Ok);
    EXPECT_EQ(line, "first");
    ASSERT_EQ(pair.right->receive(&line, Deadline::after(5s)), Channel::Status::Ok);
    EXPECT_EQ(line, "second");
    ASSERT_EQ(pair.left->receive(&line, Deadline::after(5s)), Channel::Status::Ok);
    EXPECT_EQ(line, "back");

    // A line larger than the socket buffer.
    const std::string big(4 * 1024 * 1024, 'x');
    std::thread writer([&] { EXPECT_EQ(pair.left->send(big + "\n", Deadline::after(30s)), Channel::Status::Ok); });
    EXPECT_EQ(pair.right->receive(&line, Deadline::after(30s)), Channel::Status::Ok);
    writer.join();
    EXPECT_EQ(line.size(), big.size());
}

TEST(Channel, ReportsHowAWaitEnded)
{
    std::string line;
    {
        SCOPED_TRACE("nothing arrives");
        Pair pair;
        EXPECT_EQ(pair.right->receive(&line, Deadline::after(20ms)), Channel::Status::TimedOut);
    }
    {
        SCOPED_TRACE("the peer closes after a partial line");
        Pair pair;
        pair.left->send("unfinished", Deadline::after(5s));
        pair.left.reset();
        EXPECT_EQ(pair.right->receive(&line, Deadline::after(5s)), Channel::Status::Closed);
    }
    {
        SCOPED_TRACE("sending to a closed peer raises no SIGPIPE");
        Pair pair;
        pair.right.reset();
        EXPECT_EQ(pair.left->send("hello\n", Deadline::after(5s)), Channel::Status::Closed);
    }
    {
        SCOPED_TRACE("a stop descriptor becomes readable; the line waits for later");
        Pair pair;
        int stop[2];
        ASSERT_EQ(::pipe(stop), 0);
        ASSERT_EQ(::write(stop[1], "!", 1), 1);
        EXPECT_EQ(pair.right->receive(&line, Deadline::after(5s), { stop[0] }), Channel::Status::Stopped);
        pair.left->send("later\n", Deadline::after(5s));
        EXPECT_EQ(pair.right->receive(&line, Deadline::after(5s)), Channel::Status::Ok);
        EXPECT_EQ(line, "later");
        ::close(stop[0]);
        ::close(stop[1]);
    }
}

TEST(Channel, AShutdownFromAnotherThreadWakesAReader)
{
    Pair pair;
    Channel::Status status = Channel::Status::Ok;
    std::thread reader([&] {
        std::string line;
        status = pair.right->receive(&line, Deadline::never());
    });
    // The reader may or may not be blocked yet; it sees Closed either way.
    pair.right->shutdown();
    reader.join();
    EXPECT_EQ(status, Channel::Status::Closed);
}
