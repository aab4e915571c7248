#include "host/protocol/rendezvous.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace vrqt::protocol {

namespace {

std::string systemError(const char *what)
{
    return std::string(what) + ": " + std::strerror(errno);
}

bool fillAddress(const std::string &socketPath, sockaddr_un *address)
{
    *address = sockaddr_un{};
    address->sun_family = AF_UNIX;
    if (socketPath.empty() || socketPath.size() >= sizeof address->sun_path)
        return false;
    std::memcpy(address->sun_path, socketPath.c_str(), socketPath.size() + 1);
    return true;
}

} // namespace

std::string temporaryRoot()
{
    for (const char *name : { "XDG_RUNTIME_DIR", "TMPDIR" }) {
        const char *value = std::getenv(name);
        struct stat info{};
        if (value && *value && ::stat(value, &info) == 0 && S_ISDIR(info.st_mode) && ::access(value, W_OK | X_OK) == 0)
            return value;
    }
    return "/tmp";
}

std::optional<PeerCredentials> peerCredentials(int descriptor)
{
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0 || length != sizeof credentials)
        return std::nullopt;
    return PeerCredentials{ credentials.pid, credentials.uid, credentials.gid };
}

bool isTrustedPeer(int descriptor, uid_t expectedUid, PeerCredentials *peer, std::string *reason)
{
    const std::optional<PeerCredentials> credentials = peerCredentials(descriptor);
    if (!credentials) {
        *reason = systemError("cannot read the peer's credentials");
        return false;
    }
    *peer = *credentials;
    if (credentials->uid != expectedUid) {
        *reason = "refused a connection from process " + std::to_string(credentials->pid) + " of user "
                + std::to_string(credentials->uid) + " (expected user " + std::to_string(expectedUid) + ")";
        return false;
    }
    return true;
}

PrivateListener::~PrivateListener()
{
    if (listening >= 0)
        ::close(listening);
    if (!path.empty())
        ::unlink(path.c_str());
    if (!folder.empty())
        ::rmdir(folder.c_str());
}

bool PrivateListener::open(std::string *error)
{
    std::string pattern = temporaryRoot() + "/vrqt-XXXXXX";
    // mkdtemp makes the directory with mode 0700: nobody else can reach the socket.
    if (!::mkdtemp(pattern.data())) {
        *error = systemError(("cannot make a private directory from " + pattern).c_str());
        return false;
    }
    folder = pattern;
    return listenAt(folder + "/agent.sock", error);
}

bool PrivateListener::listenAt(const std::string &socketPath, std::string *error)
{
    sockaddr_un address;
    if (!fillAddress(socketPath, &address)) {
        *error = "the socket path " + socketPath + " is too long for a Unix socket";
        return false;
    }
    listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listening < 0) {
        *error = systemError("cannot make a socket");
        return false;
    }
    if (::bind(listening, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        *error = systemError(("cannot bind " + socketPath).c_str());
        return false;
    }
    path = socketPath;
    ::chmod(path.c_str(), 0600);
    if (::listen(listening, 16) != 0) {
        *error = systemError("cannot listen");
        return false;
    }
    return true;
}

int PrivateListener::accept(PeerCredentials *peer, std::string *reason)
{
    reason->clear();
    const int connection = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) {
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR && errno != ECONNABORTED)
            *reason = systemError("cannot accept a connection");
        return -1;
    }
    if (!isTrustedPeer(connection, ::getuid(), peer, reason)) {
        ::close(connection);
        return -1;
    }
    return connection;
}

int connectToListener(const std::string &socketPath, std::string *reason)
{
    sockaddr_un address;
    if (!fillAddress(socketPath, &address)) {
        *reason = "not a usable socket path: " + socketPath;
        return -1;
    }
    const int connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connection < 0) {
        *reason = systemError("cannot make a socket");
        return -1;
    }
    int result;
    do
        result = ::connect(connection, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    while (result != 0 && errno == EINTR);
    if (result != 0) {
        *reason = systemError(("cannot connect to " + socketPath).c_str());
        ::close(connection);
        return -1;
    }
    PeerCredentials peer;
    if (!isTrustedPeer(connection, ::getuid(), &peer, reason)) {
        ::close(connection);
        return -1;
    }
    return connection;
}

} // namespace vrqt::protocol
