#include "host/cli/treecommand.h"

#include <QJsonDocument>

#include <cstdio>

#include "host/cli/agentsession.h"
#include "host/cli/programrun.h"
#include "host/cli/treetext.h"

namespace vrqt::cli {

int runTree(const CommandOptions &options)
{
    return runProgram(options, [](AgentSession &session, const CommandOptions &options) {
        const QJsonObject params{ { QStringLiteral("objects"), options.objects } };
        const CallResult tree = session.call(QStringLiteral("tree"), params, protocol::Deadline::after(options.timeout));
        if (!tree.ok())
            return complain(tree);
        const QJsonObject document = tree.result.toObject();
        const std::string text = options.json ? QJsonDocument(document).toJson(QJsonDocument::Indented).toStdString()
                                              : renderTreeText(document);
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
        return int(kSuccess);
    });
}

} // namespace vrqt::cli
