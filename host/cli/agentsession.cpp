#include "host/cli/agentsession.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <vector>

#include "host/cli/childprocess.h"

namespace vrqt::cli {

namespace {

// Without a process descriptor, how often the wait for the agent looks
// whether the program ended.
constexpr std::chrono::milliseconds kPollSlice{ 50 };

} // namespace

bool AgentSession::connect(protocol::PrivateListener &listener, ChildProcess &program, protocol::Deadline deadline,
                           std::string *error)
{
    for (;;) {
        if (program.finished()) {
            *error = "the program " + program.status().describe() + " before its agent connected";
            return false;
        }
        if (deadline.passed()) {
            *error = "the program's agent did not connect in time; is it a Qt Widgets program, and does"
                     " it start through a wrapper that drops LD_PRELOAD?";
            return false;
        }
        std::vector<pollfd> watched{ { listener.descriptor(), POLLIN, 0 }, { interrupt, POLLIN, 0 } };
        if (program.exitDescriptor() >= 0)
            watched.push_back({ program.exitDescriptor(), POLLIN, 0 });
        const protocol::Deadline slice = program.exitDescriptor() >= 0 ? deadline : deadline.capped(kPollSlice);
        if (::poll(watched.data(), watched.size(), slice.pollTimeout()) < 0 && errno != EINTR) {
            *error = "waiting for the agent failed";
            return false;
        }
        if (watched[1].revents) {
            *error = "interrupted";
            return false;
        }
        if (!watched[0].revents)
            continue;
        protocol::PeerCredentials peer;
        std::string refusal;
        const int connection = listener.accept(&peer, &refusal);
        if (connection >= 0) {
            channel = std::make_unique<protocol::Channel>(connection);
            return true;
        }
        if (!refusal.empty())
            std::fprintf(stderr, "vrqt: %s\n", refusal.c_str());
    }
}

bool AgentSession::connectTo(const std::string &socketPath, std::string *error)
{
    const int connection = protocol::connectToListener(socketPath, error);
    if (connection < 0)
        return false;
    channel = std::make_unique<protocol::Channel>(connection);
    return true;
}

CallResult AgentSession::call(const QString &name, const QJsonObject &params, protocol::Deadline deadline)
{
    CallResult outcome;
    if (!channel) {
        outcome.message = "not connected to the agent";
        return outcome;
    }
    const QJsonValue id = nextId++;
    last = name;
    answered = false;
    // The agent gives up a little before we do, so that its answer says why.
    QJsonObject sent = params;
    const int left = deadline.pollTimeout();
    if (left > 0 && !sent.contains(QLatin1String("timeout")))
        sent.insert(QStringLiteral("timeout"), std::max(1, left - left / 10));
    protocol::Channel::Status status = channel->send(protocol::encodeRequest(id, name, sent), deadline);
    while (status == protocol::Channel::Status::Ok) {
        std::string line;
        status = channel->receive(&line, deadline, { interrupt });
        if (status != protocol::Channel::Status::Ok)
            break;
        protocol::Response response;
        QString reason;
        // Lines for other ids are answers to requests given up on earlier.
        if (!protocol::parseResponse(line, &response, &reason) || response.id != id)
            continue;
        answered = true;
        if (response.ok) {
            outcome.kind = CallResult::Kind::Ok;
            outcome.result = response.result;
        } else {
            outcome.kind = CallResult::Kind::Refused;
            outcome.error = response.error;
            outcome.message = "the agent refused \"" + name.toStdString() + "\": " + response.error.code.toStdString()
                            + (response.error.message.isEmpty() ? "" : ": " + response.error.message.toStdString());
        }
        return outcome;
    }
    outcome.transport = status;
    outcome.message = "no answer to \"" + name.toStdString() + "\": " + protocol::describe(status);
    return outcome;
}

protocol::Channel::Status AgentSession::receive(std::string *line, protocol::Deadline deadline)
{
    return channel ? channel->receive(line, deadline, { interrupt }) : protocol::Channel::Status::Closed;
}

} // namespace vrqt::cli
