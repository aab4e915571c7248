// Where the agent library lies and how it gets into the program.
#pragma once

#include <string>

namespace vrqt::cli {

// libvrqthost.so next to this program: in ../lib (the build and install
// layout) or in the same folder. Empty with a message when it is missing.
std::string findAgentLibrary(std::string *error);

// The LD_PRELOAD value that loads the agent ahead of whatever was preloaded
// already (existing may be null).
std::string preloadWithAgent(const std::string &agentPath, const char *existing);

} // namespace vrqt::cli
