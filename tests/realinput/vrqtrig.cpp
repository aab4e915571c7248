#include "vrqtrig.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace realinput {

namespace {

const QString kVrqt = QStringLiteral(VRQT_TEST_VRQT);

QJsonObject documentOf(const CommandResult &result)
{
    return result.status == 0 ? QJsonDocument::fromJson(result.out).object() : QJsonObject();
}

// The first object below value (itself included) whose member name is
// wanted and which has a rectangle.
QJsonObject findWithRect(const QJsonValue &value, const QString &name, const QString &wanted)
{
    if (value.isArray()) {
        for (const QJsonValue &element : value.toArray()) {
            const QJsonObject found = findWithRect(element, name, wanted);
            if (!found.isEmpty())
                return found;
        }
        return {};
    }
    if (!value.isObject())
        return {};
    const QJsonObject object = value.toObject();
    if (object.value(name).toString() == wanted && object.value(QLatin1String("rect")).isObject())
        return object;
    for (auto member = object.begin(); member != object.end(); ++member) {
        const QJsonObject found = findWithRect(member.value(), name, wanted);
        if (!found.isEmpty())
            return found;
    }
    return {};
}

// The first tree node that match accepts, and the pixel ratio of its native
// window.
QJsonObject findNode(const QJsonArray &nodes, const std::function<bool(const QJsonObject &)> &match, double ratio, double *ratioOut)
{
    for (const QJsonValue &value : nodes) {
        const QJsonObject node = value.toObject();
        const double own = node.value(QLatin1String("devicePixelRatio")).toDouble(ratio);
        if (match(node)) {
            *ratioOut = own;
            return node;
        }
        const QJsonObject found = findNode(node.value(QLatin1String("children")).toArray(), match, own, ratioOut);
        if (!found.isEmpty())
            return found;
    }
    return {};
}

QPoint pointIn(double x, double y, double width, double height, QPointF at, double ratio)
{
    return QPointF((x + width * at.x()) * ratio, (y + height * at.y()) * ratio).toPoint();
}

} // namespace

CommandResult runVrqt(const QStringList &arguments, int limitMs)
{
    CommandResult result;
    QProcess process;
    process.start(kVrqt, arguments);
    if (!process.waitForStarted(limitMs))
        return result;
    if (!process.waitForFinished(limitMs)) {
        process.kill();
        process.waitForFinished(5000);
        return result;
    }
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    result.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return result;
}

Session::Session(const QString &name, const QStringList &program) : sessionName(name)
{
    const CommandResult result = runVrqt(QStringList{ QStringLiteral("start"), QStringLiteral("--name"), name, QStringLiteral("--") } + program);
    isStarted = result.status == 0;
    if (!isStarted)
        error = QString::fromUtf8(result.err);
}

Session::~Session()
{
    if (isStarted)
        runVrqt({ QStringLiteral("stop"), sessionName });
}

QJsonObject Session::tree()
{
    return documentOf(runVrqt({ QStringLiteral("tree"), QStringLiteral("--json"), QStringLiteral("--session"), sessionName }));
}

QJsonObject Session::items(const QString &object)
{
    return documentOf(runVrqt({ QStringLiteral("items"), QStringLiteral("--json"), QStringLiteral("--session"), sessionName, object }));
}

bool Session::item(const QStringList &arguments)
{
    return runVrqt(QStringList{ QStringLiteral("item"), QStringLiteral("--session"), sessionName } + arguments).status == 0;
}

QPoint Session::widgetPoint(const QString &pathEnd, QPointF at)
{
    return widgetPoint(
        [&](const QJsonObject &node) {
            const QString path = node.value(QLatin1String("path")).toString();
            return path == pathEnd || path.endsWith(QLatin1Char('/') + pathEnd);
        },
        at, nullptr);
}

QPoint Session::widgetPoint(const std::function<bool(const QJsonObject &node)> &match, QPointF at, QString *path)
{
    double ratio = 1;
    const QJsonObject node = findNode(tree().value(QLatin1String("windows")).toArray(), match, 1, &ratio);
    if (node.isEmpty())
        return {};
    if (path)
        *path = node.value(QLatin1String("path")).toString();
    return pointIn(node.value(QLatin1String("screenX")).toDouble(), node.value(QLatin1String("screenY")).toDouble(),
                   node.value(QLatin1String("width")).toDouble(), node.value(QLatin1String("height")).toDouble(), at, ratio);
}

QPoint Session::itemPoint(const QString &object, const QString &key, QPointF at)
{
    const QJsonObject listing = items(object);
    QJsonObject item = findWithRect(listing.value(QLatin1String("items")), QStringLiteral("path"), key);
    if (item.isEmpty())
        item = findWithRect(listing.value(QLatin1String("items")), QStringLiteral("key"), key);
    const QJsonObject rect = item.value(QLatin1String("rect")).toObject();
    if (!rect.contains(QLatin1String("screenX")))
        return {};
    // Xvfb runs unscaled; a scaled screen would multiply by the window's
    // ratio, as tree gives it.
    return pointIn(rect.value(QLatin1String("screenX")).toDouble(), rect.value(QLatin1String("screenY")).toDouble(),
                   rect.value(QLatin1String("width")).toDouble(), rect.value(QLatin1String("height")).toDouble(), at, 1);
}

LineReader::LineReader(const QStringList &arguments)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return;
    std::vector<std::string> words{ kVrqt.toStdString() };
    for (const QString &argument : arguments)
        words.push_back(argument.toStdString());
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    pid_t pid = -1;
    if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0)
        child = pid;
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    if (child <= 0) {
        ::close(ends[0]);
        return;
    }
    reader = std::thread([this, descriptor = ends[0]] { read(descriptor); });
}

LineReader::~LineReader()
{
    interrupt();
}

void LineReader::read(int descriptor)
{
    std::string pending;
    char buffer[4096];
    for (;;) {
        const ssize_t got = ::read(descriptor, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        const Clock::time_point now = Clock::now();
        pending.append(buffer, std::size_t(got));
        std::size_t end;
        while ((end = pending.find('\n')) != std::string::npos) {
            {
                std::lock_guard<std::mutex> guard(lock);
                lines.push_back({ now, pending.substr(0, end) });
            }
            pending.erase(0, end + 1);
            ready.notify_all();
        }
    }
    ::close(descriptor);
    {
        std::lock_guard<std::mutex> guard(lock);
        ended = true;
    }
    ready.notify_all();
}

bool LineReader::next(Line *line, std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> guard(lock);
    ready.wait_for(guard, limit, [this] { return !lines.empty() || ended; });
    if (lines.empty())
        return false;
    *line = lines.front();
    lines.pop_front();
    return true;
}

int LineReader::interrupt()
{
    if (child <= 0)
        return -1;
    ::kill(child, SIGINT);
    int status = 0;
    bool gone = false;
    for (int attempt = 0; attempt < 100 && !gone; ++attempt) {
        gone = ::waitpid(child, &status, WNOHANG) == child;
        if (!gone)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (!gone) {
        ::kill(child, SIGKILL);
        ::waitpid(child, &status, 0);
    }
    child = -1;
    if (reader.joinable())
        reader.join();
    return gone && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace realinput
