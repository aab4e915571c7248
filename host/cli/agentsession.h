// vrqt's side of the conversation with the agent in the program.
#pragma once

#include <QJsonObject>
#include <QJsonValue>

#include <memory>
#include <string>

#include "host/protocol/channel.h"
#include "host/protocol/message.h"
#include "host/protocol/rendezvous.h"

namespace vrqt::cli {

class ChildProcess;

struct CallResult
{
    enum class Kind { Ok, Refused, Failed };
    Kind kind = Kind::Failed;
    QJsonValue result;      // Ok
    protocol::Error error;  // Refused: the agent's error
    std::string message;    // Refused and Failed: for the user
    // Failed: how the conversation ended (Closed when the program went away).
    protocol::Channel::Status transport = protocol::Channel::Status::Ok;
    bool ok() const { return kind == Kind::Ok; }
};

class AgentSession
{
public:
    // interruptDescriptor ends any wait when it becomes readable.
    explicit AgentSession(int interruptDescriptor) : interrupt(interruptDescriptor) {}

    // Waits until the agent of program, started by us, connects; connections
    // of other users are refused on the way. False with a message for the user.
    bool connect(protocol::PrivateListener &listener, ChildProcess &program, protocol::Deadline deadline, std::string *error);
    // Connects to the agent of a running session that listens at socketPath.
    bool connectTo(const std::string &socketPath, std::string *error);
    bool connected() const { return channel != nullptr; }

    // Sends one request and waits for the response with the same id.
    CallResult call(const QString &name, const QJsonObject &params, protocol::Deadline deadline);
    // The agent's next line after a request that streams (record).
    protocol::Channel::Status receive(std::string *line, protocol::Deadline deadline);

    // The last request sent, and whether its answer came: what a crash
    // report names.
    const QString &lastRequest() const { return last; }
    bool lastAnswered() const { return answered; }

private:
    int interrupt;
    std::unique_ptr<protocol::Channel> channel;
    int nextId = 1;
    QString last;
    bool answered = true;
};

} // namespace vrqt::cli
