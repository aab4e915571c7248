// The command line of `vrqt tree`.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace vrqt::cli {

struct TreeOptions
{
    bool json = false;
    bool help = false;
    // Bounds the wait for the agent and for the shown main widget, and each
    // request after it.
    std::chrono::milliseconds timeout{ 30000 };
    // The program and its arguments.
    std::vector<std::string> command;
};

// Reads the arguments that follow "tree": options, then "--" (or the first
// argument that is not an option), then the program. False with a message
// for the user when they make no sense.
bool parseTreeOptions(const std::vector<std::string> &arguments, TreeOptions *options, std::string *error);

// The usage text of the whole program.
std::string usage();

} // namespace vrqt::cli
