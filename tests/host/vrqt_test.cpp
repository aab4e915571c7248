// The vrqt program from the outside: its command line and how it fails.
#include <gtest/gtest.h>

#include <unistd.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QtGlobal>

#include "agentharness.h"
#include "vrqtrun.h"

using namespace std::chrono_literals;
using vrqt::testing::runVrqt;
using vrqt::testing::targetPath;

TEST(Vrqt, ExplainsItsCommandLine)
{
    struct Row {
        const char *name;
        QStringList arguments;
        int exitCode;
        const char *says; // in standard output for help, else in standard error
    } rows[] = {
        { "help", { QStringLiteral("--help") }, 0, "vrqt tree [--json]" },
        { "help of get", { QStringLiteral("get"), QStringLiteral("--help") }, 0, "vrqt get [--json] [--timeout SECONDS] [--settle] [--qt 5|6] [--session NAME] OBJECT MEMBER" },
        { "version", { QStringLiteral("--version") }, 0, "vrqt " },
        { "nothing", {}, 2, "no command given" },
        { "unknown command", { QStringLiteral("list") }, 2, "unknown command \"list\"" },
        { "no program", { QStringLiteral("tree") }, 2, "no program given" },
        { "bad timeout", { QStringLiteral("tree"), QStringLiteral("--timeout"), QStringLiteral("x"), QStringLiteral("--"), QStringLiteral("true") }, 2, "--timeout" },
        { "bad Qt version", { QStringLiteral("tree"), QStringLiteral("--qt=4"), QStringLiteral("--"), QStringLiteral("true") }, 2, "--qt wants 5 or 6" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const auto run = runVrqt(row.arguments, 30s);
        ASSERT_TRUE(run.finished);
        EXPECT_EQ(run.exitCode, row.exitCode);
        const std::string &text = row.exitCode == 0 ? run.out : run.err;
        EXPECT_NE(text.find(row.says), std::string::npos) << text;
    }
}

TEST(Vrqt, FailsClearlyWhenTheProgramCannotBeInspected)
{
    struct Row {
        const char *name;
        QStringList arguments;
        const char *says;
    } rows[] = {
        { "missing program", { QStringLiteral("--"), QStringLiteral("/nonexistent/program") }, "/nonexistent/program" },
        { "a program that does not link Qt", { QStringLiteral("--"), QStringLiteral("sleep"), QStringLiteral("60") }, "\"sleep\" does not link Qt" },
        { "a script", { QStringLiteral("--"), QStringLiteral("ldd") }, "is a script" },
        { "a program that ends at once", { QStringLiteral("--qt=" QT_MAJOR_TEXT), QStringLiteral("--"), QStringLiteral("true") }, "exited with status 0 before its agent connected" },
        { "a program that never loads Qt", { QStringLiteral("--qt=" QT_MAJOR_TEXT), QStringLiteral("--"), QStringLiteral("sleep"), QStringLiteral("60") }, "did not connect in time" },
        { "a Qt program without widgets", { QStringLiteral("--"), QString::fromStdString(targetPath("coreprogram")) }, "not a Qt Widgets one" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const auto run = runVrqt(QStringList{ QStringLiteral("tree"), QStringLiteral("--timeout"), QStringLiteral("2") } + row.arguments, 60s);
        ASSERT_TRUE(run.finished);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_TRUE(run.out.empty()) << run.out;
        EXPECT_NE(run.err.find(row.says), std::string::npos) << run.err;
    }
}

TEST(Vrqt, AModuleThatCannotLoadEndsTheRunAndThePrograms)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VRQT_MODULE"), QStringLiteral("/nonexistent/libvrqtproxy.so"));
    const auto run = runVrqt({ QStringLiteral("tree"), QStringLiteral("--"), QString::fromStdString(targetPath("hostwindow")) }, 60s, environment);
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 7) << "refused by the module";
    EXPECT_NE(run.err.find("module-unavailable"), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find("did not end"), std::string::npos) << "the program was closed cleanly: " << run.err;
}

TEST(Vrqt, AProgramOfTheOtherQtIsTurnedAwayAtOnce)
{
    const std::string program = targetPath("otherqtwindow");
    if (::access(program.c_str(), X_OK) != 0)
        GTEST_SKIP() << "the other Qt major version is not installed, so no program of it was built";
    // Chosen by its libraries, it needs the other version's agent, which a
    // tree of one version does not build.
    const auto chosen = runVrqt({ QStringLiteral("tree"), QStringLiteral("--"), QString::fromStdString(program) }, 60s);
    ASSERT_TRUE(chosen.finished);
    EXPECT_EQ(chosen.exitCode, 1);
    EXPECT_NE(chosen.err.find("this vrqt has no agent for Qt " OTHER_QT_MAJOR_TEXT), std::string::npos) << chosen.err;

    // Forced onto this tree's agent, the agent reports the mismatch itself,
    // long before the limit, naming both versions.
    const auto forced = runVrqt({ QStringLiteral("tree"), QStringLiteral("--qt"), QStringLiteral(QT_MAJOR_TEXT), QStringLiteral("--timeout"),
                                  QStringLiteral("60"), QStringLiteral("--"), QString::fromStdString(program) },
                                30s);
    ASSERT_TRUE(forced.finished) << "the mismatch must not wait for the time limit";
    EXPECT_EQ(forced.exitCode, 1);
    EXPECT_NE(forced.err.find("the program uses Qt " OTHER_QT_MAJOR_TEXT "."), std::string::npos) << forced.err;
    EXPECT_NE(forced.err.find("serves Qt " QT_MAJOR_TEXT " (" QT_VERSION_STR ")"), std::string::npos) << forced.err;
    EXPECT_TRUE(forced.out.empty()) << forced.out;
}

TEST(Vrqt, TellsEachKindOfFailureByItsExitStatusAndAsJson)
{
    const QString window = QString::fromStdString(targetPath("hostwindow"));
    QProcessEnvironment noModule = QProcessEnvironment::systemEnvironment();
    noModule.insert(QStringLiteral("VRQT_MODULE"), QStringLiteral("/nonexistent/libvrqtproxy.so"));
    struct Row {
        const char *name;
        QStringList arguments;
        QProcessEnvironment environment;
        int exitCode;
        const char *code;
    } rows[] = {
        { "bad command line", { QStringLiteral("get"), QStringLiteral("--json"), QStringLiteral("--deep") }, QProcessEnvironment::systemEnvironment(), 2, "usage" },
        { "no such object", { QStringLiteral("items"), QStringLiteral("--json"), QStringLiteral("nowhere"), QStringLiteral("--"), window },
          QProcessEnvironment::systemEnvironment(), 4, "no-such-object" },
        { "timed out", { QStringLiteral("tree"), QStringLiteral("--json"), QStringLiteral("--timeout"), QStringLiteral("1"), QStringLiteral("--"), window,
                         QStringLiteral("--show-after"), QStringLiteral("600000") },
          QProcessEnvironment::systemEnvironment(), 6, "timed-out" },
        { "refused by the module", { QStringLiteral("tree"), QStringLiteral("--json"), QStringLiteral("--"), window }, noModule, 7, "module-unavailable" },
        { "crashed", { QStringLiteral("call"), QStringLiteral("--json"), QStringLiteral("crashButton"), QStringLiteral("click"), QStringLiteral("--"), window,
                       QStringLiteral("--crash-button") },
          QProcessEnvironment::systemEnvironment(), 5, "crashed" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const auto run = runVrqt(row.arguments, 60s, row.environment);
        ASSERT_TRUE(run.finished);
        EXPECT_EQ(run.exitCode, row.exitCode) << run.out << run.err;
        // The last line of standard output is the failure as JSON.
        const std::string out = run.out.substr(run.out.rfind('\n', run.out.size() - 2) == std::string::npos ? 0 : run.out.rfind('\n', run.out.size() - 2) + 1);
        const QJsonObject failure = QJsonDocument::fromJson(QByteArray::fromStdString(out)).object();
        EXPECT_FALSE(failure.value(QStringLiteral("ok")).toBool(true)) << run.out;
        EXPECT_EQ(failure.value(QStringLiteral("error")).toObject().value(QStringLiteral("code")).toString().toStdString(), row.code);
        EXPECT_EQ(failure.value(QStringLiteral("error")).toObject().value(QStringLiteral("exit")).toInt(), row.exitCode);
    }
}

TEST(Vrqt, ACrashIsToldAsACrashWithItsSignalAndRequest)
{
    const QString window = QString::fromStdString(targetPath("hostwindow"));
    const auto once = runVrqt({ QStringLiteral("call"), QStringLiteral("crashButton"), QStringLiteral("click"), QStringLiteral("--"), window,
                                QStringLiteral("--crash-button") }, 60s);
    EXPECT_EQ(once.exitCode, 5);
    EXPECT_NE(once.err.find("the program crashed: killed by signal 6 (Aborted) during \"call\""), std::string::npos) << once.err;

    const QString name = QStringLiteral("crashing-%1").arg(::getpid());
    const auto start = runVrqt({ QStringLiteral("start"), QStringLiteral("--name"), name, QStringLiteral("--"), window, QStringLiteral("--crash-button") }, 60s);
    ASSERT_EQ(start.exitCode, 0) << start.err;
    const auto crash = runVrqt({ QStringLiteral("call"), QStringLiteral("--session"), name, QStringLiteral("crashButton"), QStringLiteral("click") }, 60s);
    EXPECT_EQ(crash.exitCode, 5);
    EXPECT_NE(crash.err.find("the program of session " + name.toStdString() + " crashed: signal 6 during call"), std::string::npos) << crash.err;
    runVrqt({ QStringLiteral("stop"), name }, 60s);
}
