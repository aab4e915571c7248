// Sessions: a program started or attached to once, used by many vrqt
// commands, and ended by `vrqt stop`; and programs that never outlive an
// owner that is gone.
#include <gtest/gtest.h>

#include <QProcess>
#include <QStandardPaths>
#include <QThread>

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "agentharness.h"
#include "host/cli/sessionstore.h"
#include "host/protocol/rendezvous.h"
#include "vrqtrun.h"

using namespace std::chrono_literals;
using vrqt::cli::processRuns;
using vrqt::testing::runVrqt;
using vrqt::testing::targetPath;

namespace {

QString uniqueName(const char *stem)
{
    return QStringLiteral("%1-%2").arg(QLatin1String(stem)).arg(::getpid());
}

QString hostWindow()
{
    return QString::fromStdString(targetPath("hostwindow"));
}

std::string sessionFile(const QString &name)
{
    return vrqt::protocol::temporaryRoot() + "/vrqt-sessions-" + std::to_string(::getuid()) + "/" + name.toStdString()
         + "/session.json";
}

// A process that ended is gone, or a zombie nobody has reaped yet.
bool ended(pid_t pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string ignored, state;
    return !processRuns(pid) || !(stat >> ignored >> ignored >> state) || state == "Z";
}

bool awaitEnded(pid_t pid, std::chrono::milliseconds limit)
{
    for (auto waited = 0ms; waited < limit; waited += 50ms) {
        if (ended(pid))
            return true;
        QThread::msleep(50);
    }
    return ended(pid);
}

QProcess *startVrqt(const QStringList &arguments)
{
    auto *process = new QProcess;
    process->setProcessEnvironment(QProcessEnvironment::systemEnvironment());
    process->start(QStringLiteral(VRQT_TEST_VRQT), arguments);
    process->waitForStarted();
    return process;
}

std::string output(QProcess *process)
{
    process->waitForFinished(60000);
    return process->readAllStandardOutput().toStdString() + process->readAllStandardError().toStdString();
}

// The pid the session's record names, once it is written.
pid_t sessionPid(const QString &name, std::chrono::milliseconds limit)
{
    for (auto waited = 0ms; waited < limit; waited += 50ms) {
        std::ifstream file(sessionFile(name));
        std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        const std::size_t at = text.find("\"pid\": ");
        if (at != std::string::npos && std::atoi(text.c_str() + at + 7) > 0)
            return std::atoi(text.c_str() + at + 7);
        QThread::msleep(50);
    }
    return 0;
}

} // namespace

TEST(Sessions, OneProgramServesManyCommandsUntilStopped)
{
    const QString name = uniqueName("many");
    const auto start = runVrqt({ QStringLiteral("start"), QStringLiteral("--name"), name, QStringLiteral("--"), hostWindow() }, 60s);
    ASSERT_TRUE(start.finished);
    ASSERT_EQ(start.exitCode, 0) << start.err;
    EXPECT_EQ(start.out, name.toStdString() + "\n");
    const pid_t pid = sessionPid(name, 1s);
    ASSERT_GT(pid, 0);

    const auto listed = runVrqt({ QStringLiteral("sessions") }, 30s);
    EXPECT_NE(listed.out.find(name.toStdString() + "\tpid " + std::to_string(pid)), std::string::npos) << listed.out;

    // A value set by one command is what the next one reads.
    const auto set = runVrqt({ QStringLiteral("set"), QStringLiteral("--session"), name, QStringLiteral("caption"), QStringLiteral("text"), QStringLiteral("Changed") }, 30s);
    ASSERT_EQ(set.exitCode, 0) << set.err;
    // Two clients at once: each gets its answer.
    QProcessEnvironment withSession = QProcessEnvironment::systemEnvironment();
    withSession.insert(QStringLiteral("VRQT_SESSION"), name);
    std::unique_ptr<QProcess> first(startVrqt({ QStringLiteral("get"), QStringLiteral("--session"), name, QStringLiteral("caption"), QStringLiteral("text") }));
    std::unique_ptr<QProcess> second(startVrqt({ QStringLiteral("get"), QStringLiteral("--session"), name, QStringLiteral("firstButton"), QStringLiteral("text") }));
    const auto third = runVrqt({ QStringLiteral("get"), QStringLiteral("caption"), QStringLiteral("text") }, 30s, withSession);
    EXPECT_EQ(output(first.get()), "Changed\n");
    EXPECT_EQ(output(second.get()), "First\n");
    EXPECT_EQ(third.out, "Changed\n") << third.err;
    EXPECT_TRUE(processRuns(pid)) << "commands on a session leave its program running";

    const auto stop = runVrqt({ QStringLiteral("stop"), name }, 60s);
    EXPECT_EQ(stop.exitCode, 0) << stop.err;
    EXPECT_TRUE(awaitEnded(pid, 10s));
    EXPECT_EQ(runVrqt({ QStringLiteral("sessions") }, 30s).out.find(name.toStdString()), std::string::npos);
    const auto gone = runVrqt({ QStringLiteral("tree"), QStringLiteral("--session"), name }, 30s);
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_NE(gone.err.find("no session named " + name.toStdString()), std::string::npos) << gone.err;
}

TEST(Sessions, OutliveAStarterKilledOnTheWay)
{
    const QString name = uniqueName("orphan");
    std::unique_ptr<QProcess> starter(startVrqt({ QStringLiteral("start"), QStringLiteral("--name"), name, QStringLiteral("--"), hostWindow(), QStringLiteral("--show-after"), QStringLiteral("1500") }));
    const pid_t pid = sessionPid(name, 30s);
    ASSERT_GT(pid, 0);
    ::kill(pid_t(starter->processId()), SIGKILL);
    starter->waitForFinished();

    // Reachable by name, though nobody waited for it to be ready.
    const auto get = runVrqt({ QStringLiteral("get"), QStringLiteral("--session"), name, QStringLiteral("firstButton"), QStringLiteral("text") }, 30s);
    EXPECT_EQ(get.out, "First\n") << get.err;
    const auto stop = runVrqt({ QStringLiteral("stop"), name }, 60s);
    EXPECT_EQ(stop.exitCode, 0) << stop.err;
    EXPECT_TRUE(awaitEnded(pid, 10s));
}

TEST(Sessions, AProgramOfOneCommandEndsWithItsOwner)
{
    // The window never shows in time: vrqt is still waiting when it dies.
    std::unique_ptr<QProcess> owner(startVrqt({ QStringLiteral("tree"), QStringLiteral("--"), hostWindow(), QStringLiteral("--show-after"), QStringLiteral("600000") }));
    const pid_t ownerPid = pid_t(owner->processId());
    pid_t program = 0;
    for (int attempt = 0; attempt < 200 && !program; ++attempt) {
        std::ifstream children("/proc/" + std::to_string(ownerPid) + "/task/" + std::to_string(ownerPid) + "/children");
        children >> program;
        QThread::msleep(50);
    }
    ASSERT_GT(program, 0);
    ::kill(ownerPid, SIGKILL);
    owner->waitForFinished();
    EXPECT_TRUE(awaitEnded(program, 10s)) << "the program lingers without its owner";
}

TEST(Sessions, AttachReachesAProgramStartedWithoutTheAgent)
{
    QProcess program;
    program.setProcessEnvironment(QProcessEnvironment::systemEnvironment());
    program.start(hostWindow(), QStringList());
    ASSERT_TRUE(program.waitForStarted());
    const QString pid = QString::number(program.processId());
    const QString name = uniqueName("attached");
    // Until the program has made its application object there is nothing
    // to serve: attach says so, and works once it exists.
    vrqt::testing::VrqtRun attach;
    for (int attempt = 0; attempt < 50; ++attempt) {
        attach = runVrqt({ QStringLiteral("attach"), QStringLiteral("--name"), name, pid }, 60s);
        if (attach.exitCode == 0 || attach.err.find("no Qt") == std::string::npos)
            break;
        QThread::msleep(100);
    }
    ASSERT_EQ(attach.exitCode, 0) << attach.err;
    EXPECT_EQ(attach.out, name.toStdString() + "\n");
    const auto get = runVrqt({ QStringLiteral("get"), QStringLiteral("--session"), name, QStringLiteral("caption"), QStringLiteral("text") }, 30s);
    EXPECT_EQ(get.out, "Caption\n") << get.err;
    const auto again = runVrqt({ QStringLiteral("attach"), pid }, 60s);
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_NE(again.err.find("serves process " + pid.toStdString() + " already"), std::string::npos) << again.err;
    EXPECT_EQ(runVrqt({ QStringLiteral("stop"), name }, 60s).exitCode, 0);
    EXPECT_TRUE(program.waitForFinished(10000));
}

TEST(Wrappers, AProgramStartedThroughAWrapperGetsTheAgent)
{
    const QString window = hostWindow();
    struct Row {
        const char *name;
        QStringList command;
    } rows[] = {
        { "env", { QStringLiteral("env"), QStringLiteral("WRAPPED=1"), window } },
        { "sh -c exec", { QStringLiteral("sh"), QStringLiteral("-c"), QStringLiteral("exec %1").arg(window) } },
        { "timeout", { QStringLiteral("timeout"), QStringLiteral("120"), window } },
        { "xvfb-run", { QStringLiteral("xvfb-run"), QStringLiteral("-a"), window } },
        { "strace", { QStringLiteral("strace"), QStringLiteral("-f"), QStringLiteral("-o"), QStringLiteral("/dev/null"), window } },
    };
#if defined(__SANITIZE_ADDRESS__) && QT_VERSION_MAJOR >= 6
    // As below; and Qt 6's libraries bring libgpg-error (through
    // libsystemd) into coreutils programs, whose constructor runs before
    // the sanitizer's runtime is set up: the runtime sets itself up inside
    // that constructor's bindtextdomain() and asks dlerror() for a message,
    // which takes glibc's message catalogue lock that bindtextdomain()
    // holds. The program's textdomain() then waits for ever. The agent
    // built without the sanitizer passes both wrappers.
    const QStringList unsuitable{ QStringLiteral("xvfb-run"), QStringLiteral("strace"), QStringLiteral("env"), QStringLiteral("timeout") };
#elif defined(__SANITIZE_ADDRESS__)
    // The sanitizer's runtime, preloaded with the agent, goes into every
    // program of the chain: Xvfb then ends with its leak report, and the
    // leak checker cannot run under strace's ptrace.
    const QStringList unsuitable{ QStringLiteral("xvfb-run"), QStringLiteral("strace") };
#else
    const QStringList unsuitable;
#endif
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        if (unsuitable.contains(row.command.first()))
            continue;
        if (QStandardPaths::findExecutable(row.command.first()).isEmpty()) {
            std::printf("skipped: %s is not installed\n", row.name);
            continue;
        }
        // The Qt version is found behind the wrapper, and the wrapper passes
        // the agent on untouched.
        const auto run = runVrqt(QStringList{ QStringLiteral("get"), QStringLiteral("caption"), QStringLiteral("text"), QStringLiteral("--") } + row.command, 120s);
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(run.out, "Caption\n");
    }
}
