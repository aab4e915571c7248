// vrqt wait: until an object exists, or one of its members has a value.
#pragma once

#include "host/cli/options.h"

namespace vrqt::cli {

int runWait(const CommandOptions &options);

} // namespace vrqt::cli
