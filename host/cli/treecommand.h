// `vrqt tree`: print the widget tree as the module sees it.
#pragma once

#include "host/cli/options.h"

namespace vrqt::cli {

// Writes the tree to standard output and every message to standard error.
int runTree(const CommandOptions &options);

} // namespace vrqt::cli
