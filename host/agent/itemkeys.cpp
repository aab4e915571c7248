#include "host/agent/itemkeys.h"

#include <QRegularExpression>

namespace vrqt::agent {

namespace {

QString escaped(const QString &text)
{
    QString result;
    for (int at = 0; at < text.size(); ++at) {
        const QChar c = text.at(at);
        if (c == QLatin1Char('|') || c == QLatin1Char('\\') || (at == 0 && c == QLatin1Char('[')))
            result += QLatin1Char('\\');
        result += c;
    }
    return result;
}

QString unescaped(const QString &step)
{
    QString result;
    for (int at = 0; at < step.size(); ++at) {
        if (step.at(at) == QLatin1Char('\\') && at + 1 < step.size())
            ++at;
        result += step.at(at);
    }
    return result;
}

} // namespace

QString KeyOf(const QStringList &siblings, int index)
{
    const QString &text = siblings.at(index);
    if (text.isEmpty() || siblings.count(text) > 1)
        return QStringLiteral("[%1]").arg(index);
    return escaped(text);
}

QStringList SplitKeyPath(const QString &path)
{
    QStringList steps;
    QString step;
    for (int at = 0; at < path.size(); ++at) {
        const QChar c = path.at(at);
        if (c == QLatin1Char('\\') && at + 1 < path.size()) {
            step += c;
            step += path.at(++at);
        } else if (c == QLatin1Char('|')) {
            steps.append(step);
            step.clear();
        } else {
            step += c;
        }
    }
    steps.append(step);
    return steps;
}

std::optional<int> FindStep(const QString &step, const QStringList &siblings, QString *reason)
{
    static const QRegularExpression indexForm(QStringLiteral("^\\[(\\d+)\\]$"));
    const QRegularExpressionMatch match = indexForm.match(step);
    if (match.hasMatch()) {
        bool ok = false;
        const int index = match.captured(1).toInt(&ok);
        if (ok && index < siblings.size())
            return index;
        *reason = QStringLiteral("there is no item [%1]: %2 items are here").arg(match.captured(1)).arg(siblings.size());
        return std::nullopt;
    }
    const QString text = unescaped(step);
    const int first = siblings.indexOf(text);
    if (first < 0) {
        *reason = QStringLiteral("no item is called \"%1\"").arg(text);
        return std::nullopt;
    }
    if (siblings.indexOf(text, first + 1) >= 0) {
        *reason = QStringLiteral("%1 items are called \"%2\": name one by its index, [%3] or [%4]")
                      .arg(siblings.count(text)).arg(text).arg(first).arg(siblings.indexOf(text, first + 1));
        return std::nullopt;
    }
    return first;
}

} // namespace vrqt::agent
