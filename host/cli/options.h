// The command lines of vrqt's commands: `vrqt tree`, and the scripting
// commands `vrqt get`, `set`, `call` and `describe`.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace vrqt::cli {

struct CommandOptions
{
    std::string command; // "tree", "get", "set", "call" or "describe"
    bool json = false;
    bool help = false;
    // Bounds the wait for the agent and for the shown main widget, and each
    // request after it.
    std::chrono::milliseconds timeout{ 30000 };
    // The Qt major version whose agent goes into the program; 0: the one the
    // program's libraries name.
    int qtMajor = 0;
    // What the command acts on: the object, the member, values.
    std::vector<std::string> operands;
    // The program and its arguments.
    std::vector<std::string> program;
};

// True for the names parseCommandLine reads.
bool isCommand(const std::string &command);

// Reads the arguments that follow the command's name: options first, then
// the command's operands and "--", then the program. tree has no operands,
// and its "--" may be left out before a program that is no option. Once an
// operand is read, everything up to "--" is an operand, so that a value may
// begin with '-'. False with a message for the user when they make no sense.
bool parseCommandLine(const std::string &command, const std::vector<std::string> &arguments, CommandOptions *options,
                      std::string *error);

// The usage text of the whole program.
std::string usage();

} // namespace vrqt::cli
