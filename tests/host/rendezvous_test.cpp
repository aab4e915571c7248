// The private socket: where it lives, who may connect, and what is left.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <poll.h>

#include "host/protocol/rendezvous.h"

using namespace vrqt::protocol;

namespace {

bool waitReadable(int descriptor, int milliseconds)
{
    pollfd entry{ descriptor, POLLIN, 0 };
    return ::poll(&entry, 1, milliseconds) == 1;
}

// An unprivileged user that exists on Debian systems.
constexpr uid_t kNobody = 65534;

} // namespace

TEST(Rendezvous, SameUserConnectsInADirectoryOnlyItsUserCanEnter)
{
    std::string directory, path;
    {
        PrivateListener listener;
        std::string error;
        ASSERT_TRUE(listener.open(&error)) << error;
        directory = listener.directory();
        path = listener.socketPath();
        struct stat info{};
        ASSERT_EQ(::stat(directory.c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0700u);
        EXPECT_EQ(info.st_uid, ::getuid());

        const int client = connectToListener(path, &error);
        ASSERT_GE(client, 0) << error;
        ASSERT_TRUE(waitReadable(listener.descriptor(), 5000));
        PeerCredentials peer;
        const int server = listener.accept(&peer, &error);
        ASSERT_GE(server, 0) << error;
        EXPECT_EQ(peer.pid, ::getpid());
        ::close(server);
        ::close(client);
    }
    EXPECT_NE(::access(path.c_str(), F_OK), 0) << "the socket is removed";
    EXPECT_NE(::access(directory.c_str(), F_OK), 0) << "the directory is removed";
}

TEST(Rendezvous, APeerOfAnotherUserIsRefused)
{
    int descriptors[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, descriptors), 0);
    PeerCredentials peer;
    std::string reason;
    EXPECT_TRUE(isTrustedPeer(descriptors[0], ::getuid(), &peer, &reason)) << reason;
    EXPECT_FALSE(isTrustedPeer(descriptors[0], ::getuid() + 1, &peer, &reason));
    EXPECT_NE(reason.find("refused"), std::string::npos) << reason;
    ::close(descriptors[0]);
    ::close(descriptors[1]);
}

TEST(Rendezvous, TheListenerRefusesAConnectionFromAnotherUser)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to connect as another user";
    PrivateListener listener;
    std::string error;
    ASSERT_TRUE(listener.open(&error)) << error;
    // Open the way that the private directory normally bars, to reach the
    // credential check behind it.
    ASSERT_EQ(::chmod(listener.directory().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(listener.socketPath().c_str(), 0777), 0);

    const pid_t intruder = ::fork();
    ASSERT_GE(intruder, 0);
    if (intruder == 0) {
        if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
            ::_exit(2);
        // The intruder also refuses the listener, which runs as root.
        const int connection = connectToListener(listener.socketPath(), &error);
        ::_exit(connection < 0 && error.find("refused") != std::string::npos ? 0 : 1);
    }
    ASSERT_TRUE(waitReadable(listener.descriptor(), 10000));
    PeerCredentials peer;
    const int accepted = listener.accept(&peer, &error);
    EXPECT_LT(accepted, 0);
    EXPECT_EQ(peer.uid, kNobody);
    EXPECT_NE(error.find("refused"), std::string::npos) << error;
    int status = 0;
    ASSERT_EQ(::waitpid(intruder, &status, 0), intruder);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the intruder accepted a listener of another user";
}

TEST(Rendezvous, ConnectingWhereNobodyListensFails)
{
    std::string error;
    EXPECT_LT(connectToListener("/nonexistent/vrqt/agent.sock", &error), 0);
    EXPECT_FALSE(error.empty());
    EXPECT_LT(connectToListener(std::string(200, 'x'), &error), 0);
}
