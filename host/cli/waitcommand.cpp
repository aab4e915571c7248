#include "host/cli/waitcommand.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>

#include "host/cli/programrun.h"

namespace vrqt::cli {

namespace {

// How much longer than the agent vrqt waits for the agent's answer.
constexpr std::chrono::milliseconds kAnswerMargin{ 2000 };

std::string compact(const QJsonValue &value)
{
    if (value.isString())
        return value.toString().toStdString();
    return QJsonDocument(QJsonArray{ value }).toJson(QJsonDocument::Compact).mid(1).chopped(1).toStdString();
}

} // namespace

int runWait(const CommandOptions &options)
{
    if (options.operands.size() == 3)
        return complain("wait wants OBJECT, OBJECT MEMBER, or OBJECT MEMBER OPERATOR VALUE", kUsage, "usage");
    if (options.gone && options.operands.size() != 1)
        return complain("wait --gone wants the OBJECT alone", kUsage, "usage");
    return runProgram(options, [](AgentSession &session, const CommandOptions &options) {
        const std::vector<std::string> &words = options.operands;
        QJsonObject params{ { QStringLiteral("object"), QString::fromStdString(words[0]) },
                            { QStringLiteral("timeout"), double(options.timeout.count()) } };
        if (options.gone)
            params.insert(QStringLiteral("gone"), true);
        if (words.size() > 1)
            params.insert(QStringLiteral("member"), QString::fromStdString(words[1]));
        if (words.size() > 3) {
            params.insert(QStringLiteral("operator"), QString::fromStdString(words[2]));
            params.insert(QStringLiteral("value"), QString::fromStdString(words[3]));
        }
        const CallResult waited = session.call(QStringLiteral("wait"), params, protocol::Deadline::after(options.timeout + kAnswerMargin));
        if (!waited.ok())
            return complain(waited);
        const QJsonObject result = waited.result.toObject();
        if (options.json)
            std::printf("%s\n", QJsonDocument(result).toJson(QJsonDocument::Compact).constData());
        else if (words.size() > 1)
            std::printf("%s\n", compact(result.value(QStringLiteral("value"))).c_str());
        std::fflush(stdout);
        return int(kSuccess);
    });
}

} // namespace vrqt::cli
