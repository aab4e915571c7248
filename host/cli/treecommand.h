// `vrqt tree`: start the program with the agent, wait for its main widget,
// print the tree, close the program.
#pragma once

#include "host/cli/options.h"

namespace vrqt::cli {

enum ExitCode {
    kSuccess = 0,
    kFailure = 1,
    kUsage = 2,
    kUncleanEnd = 3, // the tree was printed; the program did not end cleanly
    kInterrupted = 130,
};

// Writes the tree to standard output and every message to standard error.
int runTree(const TreeOptions &options);

} // namespace vrqt::cli
