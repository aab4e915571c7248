#include "host/cli/inputcommand.h"

#include <QJsonDocument>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "host/cli/programrun.h"

namespace vrqt::cli {

namespace {

// How long the program gets, at most, to take the input before the
// command returns.
constexpr std::chrono::milliseconds kLongestSettle{ 3000 };

QString text(const std::string &value)
{
    return QString::fromStdString(value);
}

// The request's params from the command's operands; false with a message.
bool paramsOf(const CommandOptions &options, QJsonObject *params, std::string *error)
{
    const std::vector<std::string> &words = options.operands;
    const std::string &command = options.command;
    *params = { { QStringLiteral("action"), text(command) }, { QStringLiteral("object"), text(words[0]) } };
    if (command == "click" || command == "dclick" || command == "rclick") {
        if (words.size() > 1)
            params->insert(QStringLiteral("item"), text(words[1]));
    } else if (command == "type") {
        params->insert(QStringLiteral("text"), text(words[1]));
    } else if (command == "key") {
        params->insert(QStringLiteral("sequence"), text(words[1]));
    } else if (command == "scroll") {
        char *end = nullptr;
        const long steps = std::strtol(words[1].c_str(), &end, 10);
        if (*end || steps == 0 || std::labs(steps) > 1000) {
            *error = "scroll wants a number of wheel notches (negative: towards the user), not \"" + words[1] + "\"";
            return false;
        }
        params->insert(QStringLiteral("steps"), int(steps));
    } else { // drag
        const auto to = std::find(words.begin(), words.end(), "to");
        std::vector<std::string> from(words.begin(), to), onto(to == words.end() ? to : to + 1, words.end());
        if (to == words.end() && words.size() == 2)
            from = { words[0] }, onto = { words[1] };
        else if (to == words.end() && words.size() == 4)
            from = { words[0], words[1] }, onto = { words[2], words[3] };
        if (from.empty() || from.size() > 2 || onto.empty() || onto.size() > 2) {
            *error = "drag wants OBJECT [ITEM] to OBJECT [ITEM]";
            return false;
        }
        if (from.size() > 1)
            params->insert(QStringLiteral("item"), text(from[1]));
        QJsonObject target{ { QStringLiteral("object"), text(onto[0]) } };
        if (onto.size() > 1)
            target.insert(QStringLiteral("item"), text(onto[1]));
        params->insert(QStringLiteral("to"), target);
    }
    if (!options.inputMode.empty())
        params->insert(QStringLiteral("mode"), text(options.inputMode));
    return true;
}

} // namespace

bool isInputCommand(const std::string &command)
{
    for (const char *name : { "click", "dclick", "rclick", "type", "key", "drag", "scroll" }) {
        if (command == name)
            return true;
    }
    return false;
}

int runInput(const CommandOptions &options)
{
    QJsonObject params;
    std::string error;
    if (!paramsOf(options, &params, &error))
        return complain(error, kUsage, "usage");
    return runProgram(options, [params](AgentSession &session, const CommandOptions &options) {
        const CallResult done = session.call(QStringLiteral("input"), params, protocol::Deadline::after(options.timeout));
        if (!done.ok())
            return complain(done);
        // Returns once the program has taken the input: its events settled.
        settle(session, std::min(options.timeout, kLongestSettle));
        if (options.json)
            std::printf("%s\n", QJsonDocument(done.result.toObject()).toJson(QJsonDocument::Compact).constData());
        std::fflush(stdout);
        return int(kSuccess);
    });
}

} // namespace vrqt::cli
