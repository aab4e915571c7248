// vrqt shot: a picture of an object, the main window or the screen.
#pragma once

#include "host/cli/options.h"

namespace vrqt::cli {

int runShot(const CommandOptions &options);

} // namespace vrqt::cli
