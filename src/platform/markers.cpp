// Object names and markers held by the kernel.
//
// A marker is a datagram socket bound in the abstract Unix namespace to
// "vrqt.<uid>.<kind>.<name>". The kernel releases the name when the last
// descriptor of the socket closes, which includes the death of the process,
// so a marker can never outlive its holder. Asking whether a marker is held
// is a connect() to it, which changes nothing for the holder.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/markers.h"
#include "platform/system.h"

namespace platform {
namespace {

const std::string_view kSessionPrefixes[] = { "Local\\", "Global\\" };

uint64_t fnv1a(std::string_view text, uint64_t basis)
{
    uint64_t hash = basis;
    for (unsigned char byte : text) {
        hash ^= byte;
        hash *= 0x100000001b3ull;
    }
    return hash;
}

// The abstract address of a marker; returns the length to pass to bind or
// connect (the leading NUL makes the name abstract; no trailing NUL).
socklen_t markerAddress(const char *kind, std::string_view name, sockaddr_un &address)
{
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    const std::string prefix = "vrqt." + userScope() + "." + kind + ".";
    const std::string text = boundedName(prefix, name, sizeof address.sun_path - 1);
    std::memcpy(address.sun_path + 1, text.data(), text.size());
    return socklen_t(offsetof(sockaddr_un, sun_path) + 1 + text.size());
}

// The socket that asks whether markers are held: one unbound datagram
// socket for the process, made on first use (tried again while none could
// be made) and kept, deliberately, for its life. Each connect() answers for
// itself, so threads may ask at once; which peer the socket is left
// connected to does not matter, as nothing is ever sent. -1 when no socket
// can be made.
int probeSocket()
{
    static std::atomic<int> probe{ -1 };
    int current = probe.load(std::memory_order_acquire);
    if (current >= 0)
        return current;
    const int made = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (made < 0 || probe.compare_exchange_strong(current, made))
        return made;
    close(made); // another thread made one meanwhile
    return current;
}

} // namespace

bool objectKey(const char *name, bool required, std::string &key)
{
    key.clear();
    if (!name) {
        if (required)
            SetLastError(ERROR_INVALID_PARAMETER);
        return !required;
    }
    std::string_view text(name);
    for (std::string_view prefix : kSessionPrefixes) {
        if (text.substr(0, prefix.size()) == prefix) {
            text.remove_prefix(prefix.size());
            break;
        }
    }
    if (text.find('\\') != std::string_view::npos) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return false;
    }
    key.assign(text);
    return true;
}

std::string boundedName(const std::string &prefix, std::string_view name, size_t limit)
{
    if (prefix.size() + name.size() <= limit)
        return prefix + std::string(name);
    char digest[40];
    std::snprintf(digest, sizeof digest, "#%016llx%016llx",
                  static_cast<unsigned long long>(fnv1a(name, 0xcbf29ce484222325ull)),
                  static_cast<unsigned long long>(fnv1a(name, 0x84222325cbf29ce4ull)));
    return prefix.substr(0, limit - std::strlen(digest)) + digest;
}

const std::string &userScope()
{
    static const std::string scope = std::to_string(getuid());
    return scope;
}

int holdMarker(const char *kind, std::string_view name, MarkerState &state)
{
    sockaddr_un address;
    const socklen_t length = markerAddress(kind, name, address);
    const int marker = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (marker < 0) {
        state = MarkerState::Failed;
        return -1;
    }
    if (bind(marker, reinterpret_cast<const sockaddr *>(&address), length) != 0) {
        state = errno == EADDRINUSE ? MarkerState::HeldElsewhere : MarkerState::Failed;
        close(marker);
        return -1;
    }
    state = MarkerState::Held;
    return marker;
}

bool markerHeld(const char *kind, std::string_view name)
{
    sockaddr_un address;
    const socklen_t length = markerAddress(kind, name, address);
    const int probe = probeSocket();
    return probe >= 0 && connect(probe, reinterpret_cast<const sockaddr *>(&address), length) == 0;
}

} // namespace platform
