// The commands that keep sessions: a program started or attached to once,
// then used by any number of commands, until `vrqt stop`.
#pragma once

#include "host/cli/options.h"

namespace vrqt::cli {

int runStart(const CommandOptions &options);
int runAttach(const CommandOptions &options);
int runStop(const CommandOptions &options);
int runSessions(const CommandOptions &options);

} // namespace vrqt::cli
