// `vrqt get`, `set`, `call` and `describe`: one scripting request on an
// object of the program, its result printed.
#pragma once

#include <QJsonObject>

#include "host/cli/options.h"

namespace vrqt::cli {

// The request's name and params for options (a scripting command).
QJsonObject scriptRequestParams(const CommandOptions &options);

// Writes the result to standard output and every message to standard error.
int runScript(const CommandOptions &options);

} // namespace vrqt::cli
