#include "host/cli/shotcommand.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>

#include "host/cli/programrun.h"
#include "host/cli/quoting.h"

namespace vrqt::cli {

int runShot(const CommandOptions &options)
{
    const std::string &file = options.operands.back();
    if (file.size() < 5 || file.compare(file.size() - 4, 4, ".png") != 0)
        return complain("shot writes a PNG file: give a name ending in .png, not " + quoted(QJsonValue(QString::fromStdString(file))), kUsage, "usage");
    if (options.screen && options.operands.size() > 1)
        return complain("shot --screen takes the file only, no object", kUsage, "usage");
    return runProgram(options, [](AgentSession &session, const CommandOptions &options) {
        // The agent writes the file: it needs the path as we mean it.
        QJsonObject params{ { QStringLiteral("path"), QDir::current().absoluteFilePath(QString::fromStdString(options.operands.back())) },
                            { QStringLiteral("screen"), options.screen },
                            { QStringLiteral("outline"), options.outline } };
        if (options.operands.size() > 1)
            params.insert(QStringLiteral("object"), QString::fromStdString(options.operands.front()));
        const CallResult shot = session.call(QStringLiteral("shot"), params, protocol::Deadline::after(options.timeout));
        if (!shot.ok())
            return complain(shot);
        const QJsonObject result = shot.result.toObject();
        if (options.json) {
            std::printf("%s\n", QJsonDocument(result).toJson(QJsonDocument::Indented).constData());
        } else {
            for (const QJsonValue &value : result.value(QStringLiteral("rectangles")).toArray()) {
                const QJsonObject rect = value.toObject();
                // An item of a widget inside the pictured one says whose it is.
                const QJsonValue owner = rect.value(QStringLiteral("object"));
                std::printf("%d,%d %dx%d %s%s%s\n", rect.value(QStringLiteral("x")).toInt(), rect.value(QStringLiteral("y")).toInt(),
                            rect.value(QStringLiteral("width")).toInt(), rect.value(QStringLiteral("height")).toInt(),
                            quoted(rect.value(QStringLiteral("name"))).c_str(), owner.isString() ? " of " : "",
                            owner.isString() ? owner.toString().toUtf8().constData() : "");
            }
        }
        std::fflush(stdout);
        return int(kSuccess);
    });
}

} // namespace vrqt::cli
