// vrqt: the reference host's command-line program.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/cli/itemcommand.h"
#include "host/cli/options.h"
#include "host/cli/programrun.h"
#include "host/cli/recordcommand.h"
#include "host/cli/scriptcommand.h"
#include "host/cli/sessioncommands.h"
#include "host/cli/inputcommand.h"
#include "host/cli/shotcommand.h"
#include "host/cli/treecommand.h"
#include "host/cli/waitcommand.h"

int main(int argc, char *argv[])
{
    using namespace vrqt::cli;
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const std::string command = arguments.empty() ? std::string() : arguments.front();
    if (command == "-h" || command == "--help" || command == "help") {
        std::fputs(usage().c_str(), stdout);
        return kSuccess;
    }
    if (command == "--version") {
        std::printf("vrqt %s\n", VRQT_VERSION);
        return kSuccess;
    }
    if (!isCommand(command)) {
        std::fprintf(stderr, "vrqt: %s\n%s", command.empty() ? "no command given" : ("unknown command \"" + command + "\"").c_str(),
                     usage().c_str());
        return kUsage;
    }
    CommandOptions options;
    std::string error;
    // Before the command line is read, so that its own faults come as JSON too.
    reportFailuresAsJson(std::find(arguments.begin(), arguments.end(), "--json") != arguments.end());
    if (!parseCommandLine(command, { arguments.begin() + 1, arguments.end() }, &options, &error, std::getenv("VRQT_SESSION")))
        return complain(error, kUsage, "usage");
    reportFailuresAsJson(options.json);
    if (options.help) {
        std::fputs(usage().c_str(), stdout);
        return kSuccess;
    }
    if (command == "start")
        return runStart(options);
    if (command == "attach")
        return runAttach(options);
    if (command == "stop")
        return runStop(options);
    if (command == "sessions")
        return runSessions(options);
    if (command == "tree")
        return runTree(options);
    if (command == "wait")
        return runWait(options);
    if (command == "shot")
        return runShot(options);
    if (isInputCommand(command))
        return runInput(options);
    if (command == "record")
        return runRecord(options);
    if (command == "items" || command == "item")
        return runItems(options);
    return runScript(options);
}
