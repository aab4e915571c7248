#include "host/cli/recordcommand.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>

#include "host/cli/programrun.h"
#include "host/cli/quoting.h"

namespace vrqt::cli {

namespace {

// text as one word: bare when a shell and a reader take it as it is.
std::string word(const QString &text)
{
    for (const QChar c : text) {
        if (c.isSpace() || c.category() == QChar::Other_Control || c == QLatin1Char('"') || c == QLatin1Char('\'')
            || c == QLatin1Char('\\') || c == QLatin1Char('|') || c == QLatin1Char('$') || c == QLatin1Char('`'))
            return quoted(text);
    }
    return text.isEmpty() ? quoted(text) : text.toStdString();
}

std::string valueText(const QJsonValue &value)
{
    if (value.isString())
        return word(value.toString());
    if (value.isBool())
        return value.toBool() ? "true" : "false";
    if (value.isDouble())
        return QJsonDocument(QJsonArray{ value }).toJson(QJsonDocument::Compact).mid(1).chopped(1).toStdString();
    return "null";
}

} // namespace

std::string renderActionText(const QJsonObject &action)
{
    const QString time = action.value(QLatin1String("time")).toString();
    std::string line = word(time.mid(time.indexOf(QLatin1Char('T')) + 1)) + " " + word(action.value(QLatin1String("object")).toString())
                     + " " + word(action.value(QLatin1String("event")).toString());
    // The key stands for the value where there is one.
    const char *const named[] = { "key", "state", "column", "orientation", "view" };
    if (!action.contains(QLatin1String("key")) && !action.contains(QLatin1String("state"))
        && !action.value(QLatin1String("value")).isNull())
        line += " value=" + valueText(action.value(QLatin1String("value")));
    for (const char *name : named) {
        if (action.contains(QLatin1String(name)))
            line += std::string(" ") + name + "=" + valueText(action.value(QLatin1String(name)));
    }
    if (action.value(QLatin1String("doubleClick")).toBool())
        line += " double-click";
    return line;
}

int runRecord(const CommandOptions &options)
{
    return runProgram(options, [](AgentSession &session, const CommandOptions &options) {
        const CallResult started = session.call(QStringLiteral("record"), {}, protocol::Deadline::after(options.timeout));
        if (!started.ok())
            return complain(started.message);
        for (;;) {
            std::string line;
            // Stopped is Ctrl-C; Closed, the program's end: both end the recording.
            if (session.receive(&line, protocol::Deadline::never()) != protocol::Channel::Status::Ok)
                return int(kSuccess);
            const QJsonObject message = QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
            if (message.contains(QLatin1String("dropped"))) {
                std::fprintf(stderr, "vrqt: %lld actions were dropped: vrqt read too slowly\n",
                             qint64(message.value(QLatin1String("dropped")).toDouble()));
                continue;
            }
            const QJsonObject action = message.value(QLatin1String("action")).toObject();
            if (action.isEmpty())
                continue;
            const std::string text = options.json ? QJsonDocument(action).toJson(QJsonDocument::Compact).toStdString()
                                                  : renderActionText(action);
            std::printf("%s\n", text.c_str());
            std::fflush(stdout);
        }
    });
}

} // namespace vrqt::cli
