#include "agentharness.h"

#include <poll.h>

#include "host/cli/agentlibrary.h"
#include "host/protocol/protocol.h"

namespace vrqt::testing {

namespace {

constexpr std::chrono::milliseconds kConnectLimit{ 30000 };
constexpr std::chrono::milliseconds kCallLimit{ 30000 };

} // namespace

std::vector<std::string> programEnvironment()
{
    // Full stacks for allocations, so that the suppression finds Qt's plugin
    // in them: the fast unwinder stops at Qt's frames.
    return { "LSAN_OPTIONS=suppressions=" VRQT_TEST_LSAN_SUPPRESSIONS, "ASAN_OPTIONS=fast_unwind_on_malloc=0" };
}

std::string agentLibraryPath()
{
    return VRQT_TEST_AGENT;
}

std::string targetPath(const char *name)
{
    return std::string(VRQT_TEST_TARGETS) + "/" + name;
}

bool AgentHarness::start(const std::vector<std::string> &command, const std::vector<std::string> &extra, std::string *error)
{
    if (!listener.open(error))
        return false;
    std::vector<std::string> changes{ "LD_PRELOAD=" + cli::preloadWithAgent(agentLibraryPath(), nullptr),
                                      std::string(protocol::kSocketVariable) + "=" + listener.socketPath() };
    const std::vector<std::string> sanitizer = programEnvironment();
    changes.insert(changes.end(), sanitizer.begin(), sanitizer.end());
    changes.insert(changes.end(), extra.begin(), extra.end());
    if (!child.start(command, cli::environmentWith(changes), error))
        return false;
    const protocol::Deadline deadline = protocol::Deadline::after(kConnectLimit);
    while (!deadline.passed() && !child.finished()) {
        pollfd entry{ listener.descriptor(), POLLIN, 0 };
        if (::poll(&entry, 1, deadline.capped(std::chrono::milliseconds(100)).pollTimeout()) <= 0)
            continue;
        protocol::PeerCredentials peer;
        const int connection = listener.accept(&peer, error);
        if (connection >= 0) {
            channel = std::make_unique<protocol::Channel>(connection);
            return true;
        }
    }
    *error = "the agent did not connect";
    return false;
}

bool AgentHarness::sendLine(const std::string &line)
{
    return channel && channel->send(line, protocol::Deadline::after(kCallLimit)) == protocol::Channel::Status::Ok;
}

std::optional<std::string> AgentHarness::nextLine(std::chrono::milliseconds limit)
{
    std::string line;
    status = channel ? channel->receive(&line, protocol::Deadline::after(limit)) : protocol::Channel::Status::Failed;
    if (status != protocol::Channel::Status::Ok)
        return std::nullopt;
    return line;
}

std::optional<protocol::Response> AgentHarness::call(const QJsonValue &id, const QString &name, const QJsonObject &params)
{
    if (!sendLine(protocol::encodeRequest(id, name, params)))
        return std::nullopt;
    const std::optional<std::string> line = nextLine(kCallLimit);
    protocol::Response response;
    QString reason;
    // An answer to another request (a late one, say) is no answer to this.
    if (!line || !protocol::parseResponse(*line, &response, &reason) || response.id != id)
        return std::nullopt;
    return response;
}

} // namespace vrqt::testing
