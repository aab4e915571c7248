// vrqt click, dclick, rclick, type, key, drag and scroll: acting on an
// object or an item as a user would.
#pragma once

#include "host/cli/options.h"

namespace vrqt::cli {

// True for the names runInput serves.
bool isInputCommand(const std::string &command);

int runInput(const CommandOptions &options);

} // namespace vrqt::cli
