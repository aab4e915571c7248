// Starts a program with the agent preloaded, as vrqt does, and lets a test
// speak the protocol line by line, malformed lines included.
#pragma once

#include <QJsonObject>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/cli/childprocess.h"
#include "host/protocol/channel.h"
#include "host/protocol/message.h"
#include "host/protocol/rendezvous.h"

namespace vrqt::testing {

class AgentHarness
{
public:
    // Starts command with the agent and waits for it to connect. extra holds
    // further "NAME=value" entries for the program's environment.
    bool start(const std::vector<std::string> &command, const std::vector<std::string> &extra, std::string *error);

    bool sendLine(const std::string &line);
    std::optional<std::string> nextLine(std::chrono::milliseconds limit);
    // Sends a request and returns its response: none when the next line
    // answers another id (a late answer to an earlier request, say).
    std::optional<protocol::Response> call(const QJsonValue &id, const QString &name, const QJsonObject &params = {});
    // What the last failed nextLine saw.
    protocol::Channel::Status lastStatus() const { return status; }

    cli::ChildProcess &program() { return child; }

private:
    protocol::PrivateListener listener;
    cli::ChildProcess child;
    std::unique_ptr<protocol::Channel> channel;
    protocol::Channel::Status status = protocol::Channel::Status::Ok;
};

// For the programs a test starts: sanitizer settings that keep Qt's own
// leak out of their exit status ("NAME=value" entries).
std::vector<std::string> programEnvironment();

// Paths of the build's pieces, handed in by CMake.
std::string agentLibraryPath();
std::string targetPath(const char *name);

} // namespace vrqt::testing
