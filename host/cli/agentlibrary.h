// Where the agent library of each Qt major version lies and how it gets into
// the program.
#pragma once

#include <string>
#include <vector>

namespace vrqt::cli {

// The Qt major versions an agent may be built for.
constexpr int kOldestQtMajor = 5;
constexpr int kNewestQtMajor = 6;

// libvrqthost.so of Qt major version qtMajor: lib/vrqt/qt<major>/ beside
// this program's bin/ folder, in the build tree as in an installation.
// Empty with a message when it is missing.
std::string findAgentLibrary(int qtMajor, std::string *error);

// The Qt major version of the program's agent: forcedMajor when it is not 0,
// else the one whose core library the program's libraries name. A program
// that links no Qt may be a wrapper (env, timeout, strace, xvfb-run, sh -c
// 'exec ...'): the first later word of the command that names a program
// linking Qt decides then. 0 with a message for the user when there is none
// to choose.
int chooseQtMajor(const std::vector<std::string> &command, int forcedMajor, std::string *error);

// The LD_PRELOAD value that loads the agent ahead of whatever was preloaded
// already (existing may be null).
std::string preloadWithAgent(const std::string &agentPath, const char *existing);

} // namespace vrqt::cli
