// A request's answer, as a handler gives it to the serving thread.
#pragma once

#include <QJsonObject>
#include <QJsonValue>

#include <functional>
#include <string>

#include "host/protocol/message.h"

namespace vrqt::protocol {
class Channel;
}

namespace vrqt::agent {

struct Reply
{
    static Reply success(const QJsonValue &result) { Reply reply; reply.result = result; return reply; }
    static Reply failure(const char *code, const QString &message, const QJsonObject &details = {})
    {
        Reply reply;
        reply.ok = false;
        reply.error = { QLatin1String(code), message, details };
        return reply;
    }

    bool ok = true;
    QJsonValue result;
    protocol::Error error;
    // Serving thread: runs once the reply has been sent (quit uses it, so
    // that the answer leaves before the application starts to close).
    std::function<void()> afterSending;
    // Serving thread: once the reply has been sent, the connection is this
    // function's (record streams actions on it); the conversation ends when
    // it returns.
    std::function<void(protocol::Channel &channel)> takeOver;
};

// The line that answers the request of id with reply.
inline std::string Encode(const QJsonValue &id, const Reply &reply)
{
    return reply.ok ? protocol::encodeResult(id, reply.result) : protocol::encodeError(id, reply.error);
}

} // namespace vrqt::agent
