#include "vrqtrun.h"

#include <QProcess>

#include "agentharness.h"

namespace vrqt::testing {

VrqtRun runVrqt(const QStringList &arguments, std::chrono::milliseconds limit, const QProcessEnvironment &environment,
                const QStringList &wrapper)
{
    VrqtRun run;
    QProcess process;
    QProcessEnvironment withSettings = environment;
    for (const std::string &entry : programEnvironment()) {
        const std::size_t equals = entry.find('=');
        withSettings.insert(QString::fromStdString(entry.substr(0, equals)), QString::fromStdString(entry.substr(equals + 1)));
    }
    process.setProcessEnvironment(withSettings);
    const QStringList command = wrapper + QStringList{ QStringLiteral(VRQT_TEST_VRQT) } + arguments;
    process.start(command.first(), command.mid(1));
    if (!process.waitForStarted(int(limit.count())))
        return run;
    run.finished = process.waitForFinished(int(limit.count()));
    if (!run.finished) {
        process.kill();
        process.waitForFinished(-1);
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput().toStdString();
    run.err = process.readAllStandardError().toStdString();
    return run;
}

} // namespace vrqt::testing
