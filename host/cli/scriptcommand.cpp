#include "host/cli/scriptcommand.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>

#include "host/cli/agentsession.h"
#include "host/cli/programrun.h"
#include "host/cli/quoting.h"
#include "host/cli/resulttext.h"

namespace vrqt::cli {

namespace {

QString text(const std::string &value)
{
    return QString::fromStdString(value);
}

} // namespace

QJsonObject scriptRequestParams(const CommandOptions &options)
{
    const std::vector<std::string> &operands = options.operands;
    QJsonObject params{ { QStringLiteral("object"), text(operands.at(0)) } };
    if (options.command == "call") {
        params.insert(QStringLiteral("method"), text(operands.at(1)));
        QJsonArray arguments;
        for (std::size_t index = 2; index < operands.size(); ++index)
            arguments.append(text(operands[index]));
        params.insert(QStringLiteral("arguments"), arguments);
        return params;
    }
    if (operands.size() > 1)
        params.insert(QStringLiteral("member"), text(operands[1]));
    if (options.command == "set")
        params.insert(QStringLiteral("value"), text(operands.at(2)));
    return params;
}

int runScript(const CommandOptions &options)
{
    return runProgram(options, [](AgentSession &session, const CommandOptions &options) {
        const QString request = text(options.command);
        const CallResult answer = session.call(request, scriptRequestParams(options), protocol::Deadline::after(options.timeout));
        // The message may quote the program's texts and the user's own.
        if (!answer.ok())
            return complain(answer);
        // The call opened a modal dialog or menu and runs on inside it.
        if (answer.result.toObject().value(QStringLiteral("modal")).toBool()) {
            std::fprintf(stderr, "vrqt: %s\n", answer.result.toObject().value(QStringLiteral("message")).toString().toUtf8().constData());
            return int(kSuccess);
        }
        std::string out;
        if (options.json)
            out = QJsonDocument(answer.result.toObject()).toJson(QJsonDocument::Indented).toStdString();
        else if (options.command == "describe")
            out = renderDescriptionText(answer.result.toObject());
        else if (options.command != "set")
            out = renderValueText(answer.result.toObject());
        std::fwrite(out.data(), 1, out.size(), stdout);
        std::fflush(stdout);
        return int(kSuccess);
    });
}

} // namespace vrqt::cli
