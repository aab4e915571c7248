// The command lines of vrqt's commands: the inspecting commands (tree,
// get, set, call, describe, items, item), which work on a program they start
// or on a session, and the commands that keep sessions (start, attach, stop,
// sessions).
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace vrqt::cli {

struct CommandOptions
{
    std::string command; // the command's name
    bool json = false;
    bool help = false;
    bool objects = false; // tree: the objects that are not widgets as well
    bool settle = false;  // wait for the program to settle before the work
    bool gone = false;    // wait: until the object no longer exists
    bool outline = false; // shot: draw the rectangles of what can be named
    bool screen = false;  // shot: the whole screen
    std::string inputMode; // click and the like: "real", "synthesized", or empty for the choice by platform
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
    // The running session to work on (--session, else VRQT_SESSION when no
    // program is given); empty: start options.program for this command.
    std::string session;
    // start and attach: the new session's name (--name); empty: made up.
    std::string name;
};

// True for a usable session name: up to 64 letters, digits, '.', '_' and
// '-', not beginning with '.' or '-'.
bool isSessionName(const std::string &name);

// True for the names parseCommandLine reads.
bool isCommand(const std::string &command);

// Reads the arguments that follow the command's name: options first, then
// the command's operands and "--", then the program. A command without
// operands may leave out "--" before a program that is no option. Once an
// operand is read, everything up to "--" is an operand, so that a value may
// begin with '-'. sessionVariable is VRQT_SESSION's value (null when unset):
// an inspecting command given no program works on that session. False with
// a message for the user when they make no sense.
bool parseCommandLine(const std::string &command, const std::vector<std::string> &arguments, CommandOptions *options,
                      std::string *error, const char *sessionVariable = nullptr);

// The usage text of the whole program.
std::string usage();

} // namespace vrqt::cli
