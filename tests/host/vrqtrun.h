// Runs the vrqt program as a user would and collects what it says.
#pragma once

#include <QProcessEnvironment>
#include <QStringList>

#include <chrono>
#include <string>

namespace vrqt::testing {

struct VrqtRun
{
    bool finished = false; // within the limit
    int exitCode = -1;
    std::string out;
    std::string err;
};

// wrapper, when given, is a program and its arguments that run vrqt (xvfb-run).
VrqtRun runVrqt(const QStringList &arguments, std::chrono::milliseconds limit,
                const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
                const QStringList &wrapper = {});

} // namespace vrqt::testing
