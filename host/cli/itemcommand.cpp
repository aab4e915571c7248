#include "host/cli/itemcommand.h"

#include <QJsonDocument>

#include <cstdio>
#include <iterator>

#include "host/cli/agentsession.h"
#include "host/cli/itemtext.h"
#include "host/cli/programrun.h"

namespace vrqt::cli {

QJsonObject itemRequestParams(const CommandOptions &options)
{
    const std::vector<std::string> &operands = options.operands;
    const char *const names[] = { "object", "key", "action", "value" };
    QJsonObject params;
    for (std::size_t index = 0; index < operands.size() && index < std::size(names); ++index)
        params.insert(QLatin1String(names[index]), QString::fromStdString(operands[index]));
    return params;
}

int runItems(const CommandOptions &options)
{
    return runProgram(options, [](AgentSession &session, const CommandOptions &options) {
        const CallResult answer = session.call(QString::fromStdString(options.command), itemRequestParams(options),
                                               protocol::Deadline::after(options.timeout));
        if (!answer.ok())
            return complain(answer);
        const QJsonObject result = answer.result.toObject();
        std::string out;
        if (options.json)
            out = QJsonDocument(result).toJson(QJsonDocument::Indented).toStdString();
        else
            out = options.command == "items" ? renderItemsText(result) : renderItemActionText(result);
        std::fwrite(out.data(), 1, out.size(), stdout);
        std::fflush(stdout);
        return int(kSuccess);
    });
}

} // namespace vrqt::cli
