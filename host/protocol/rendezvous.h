// How the command-line program and the agent find each other: the program
// listens on a Unix socket in a directory only its user can enter, the agent
// connects, and each side checks that the other runs as the same user.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace vrqt::protocol {

struct PeerCredentials
{
    pid_t pid = 0;
    uid_t uid = 0;
    gid_t gid = 0;
};

// The credentials of the process at the other end of a connected Unix
// socket (for a connecting side: of the process that listened).
std::optional<PeerCredentials> peerCredentials(int descriptor);

// True when the peer runs as expectedUid; otherwise false with the reason.
bool isTrustedPeer(int descriptor, uid_t expectedUid, PeerCredentials *peer, std::string *reason);

// $XDG_RUNTIME_DIR, else $TMPDIR, else /tmp: the first that is set and a
// directory this user may write.
std::string temporaryRoot();

class PrivateListener
{
public:
    PrivateListener() = default;
    PrivateListener(const PrivateListener &) = delete;
    PrivateListener &operator=(const PrivateListener &) = delete;
    // Closes the socket and removes it with its directory.
    ~PrivateListener();

    // Makes a new directory of mode 0700 under temporaryRoot(), and listens
    // on a socket in it.
    bool open(std::string *error);
    // Listens at socketPath, in a directory the caller made private; the
    // destructor removes the socket only.
    bool listenAt(const std::string &socketPath, std::string *error);
    const std::string &socketPath() const { return path; }
    const std::string &directory() const { return folder; }
    // Non-blocking; poll it for POLLIN before accept().
    int descriptor() const { return listening; }

    // Accepts one waiting connection. A peer of another user is refused
    // (closed at once): the result is -1 with reason set. -1 with an empty
    // reason means that no connection was waiting.
    int accept(PeerCredentials *peer, std::string *reason);

private:
    std::string folder;
    std::string path;
    int listening = -1;
};

// Connects to a listener and checks that it runs as the same user as this
// process; the socket (close-on-exec) or -1 with the reason.
int connectToListener(const std::string &socketPath, std::string *reason);

} // namespace vrqt::protocol
