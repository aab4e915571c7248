// vrqt as a user runs it, beside real input: a program started as a
// session, one-shot commands against it, and `vrqt record` running as a
// child whose lines are stamped with the moment they arrive.
#pragma once

#include <QJsonObject>
#include <QPoint>
#include <QString>
#include <QStringList>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include <sys/types.h>

namespace realinput {

using Clock = std::chrono::steady_clock;

struct CommandResult
{
    int status = -1; // the exit status; -1 when it did not end by itself
    QByteArray out;
    QByteArray err;
};

// Runs vrqt with arguments, waits at most limit.
CommandResult runVrqt(const QStringList &arguments, int limitMs = 60000);

// A program run as a vrqt session for the life of the object.
class Session
{
public:
    Session(const QString &name, const QStringList &program);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    bool started() const { return isStarted; }
    const QString &startError() const { return error; }
    const QString &name() const { return sessionName; }

    // The result of `vrqt tree --json`, or of `vrqt items --json OBJECT`;
    // empty when the command failed.
    QJsonObject tree();
    QJsonObject items(const QString &object);
    // `vrqt item OBJECT KEY ACTION [VALUE]`: true when done.
    bool item(const QStringList &arguments);

    // The screen point (native pixels) at the centre of the widget whose
    // path ends with pathEnd, or of the item of object whose path or key is
    // key; a null point when there is none. at moves the point within the
    // rectangle: (0.5, 0.5) is its centre.
    QPoint widgetPoint(const QString &pathEnd, QPointF at = { 0.5, 0.5 });
    // The same for the first widget of the tree whose node match accepts,
    // with its path in *path (for programs that name no widget).
    QPoint widgetPoint(const std::function<bool(const QJsonObject &node)> &match, QPointF at, QString *path);
    QPoint itemPoint(const QString &object, const QString &key, QPointF at = { 0.5, 0.5 });

private:
    QString sessionName;
    QString error;
    bool isStarted = false;
};

// One line of a child's output and when the test read it.
struct Line
{
    Clock::time_point arrived;
    std::string text;
};

// `vrqt ARGUMENTS` as a child whose standard output is read by a thread of
// its own, line by line, as it comes.
class LineReader
{
public:
    explicit LineReader(const QStringList &arguments);
    ~LineReader();
    LineReader(const LineReader &) = delete;
    LineReader &operator=(const LineReader &) = delete;

    bool running() const { return child > 0; }
    // The next line within limit; false when none came (or the child ended).
    bool next(Line *line, std::chrono::milliseconds limit);
    // SIGINT, as Ctrl-C; the child's exit status (-1 when it would not end).
    int interrupt();

private:
    void read(int descriptor);

    pid_t child = -1;
    std::thread reader;
    std::mutex lock;
    std::condition_variable ready;
    std::deque<Line> lines;
    bool ended = false;
};

} // namespace realinput
