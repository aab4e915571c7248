#include "host/cli/options.h"

#include <cmath>
#include <cstdlib>

namespace vrqt::cli {

namespace {

constexpr double kLongestTimeoutSeconds = 24 * 3600;

bool parseSeconds(const std::string &text, std::chrono::milliseconds *value)
{
    if (text.empty())
        return false;
    char *end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    if (*end != '\0' || !std::isfinite(seconds) || seconds <= 0 || seconds > kLongestTimeoutSeconds)
        return false;
    *value = std::chrono::milliseconds(static_cast<long long>(std::ceil(seconds * 1000)));
    return true;
}

} // namespace

bool parseTreeOptions(const std::vector<std::string> &arguments, TreeOptions *options, std::string *error)
{
    *options = TreeOptions{};
    std::size_t index = 0;
    for (; index < arguments.size(); ++index) {
        const std::string &argument = arguments[index];
        if (argument == "--") {
            ++index;
            break;
        }
        if (argument.empty() || argument[0] != '-')
            break;
        if (argument == "--json") {
            options->json = true;
        } else if (argument == "-h" || argument == "--help") {
            options->help = true;
            return true;
        } else if (argument == "--timeout" || argument.rfind("--timeout=", 0) == 0) {
            std::string value;
            if (argument == "--timeout") {
                if (++index == arguments.size()) {
                    *error = "--timeout needs a number of seconds";
                    return false;
                }
                value = arguments[index];
            } else {
                value = argument.substr(sizeof "--timeout=" - 1);
            }
            if (!parseSeconds(value, &options->timeout)) {
                *error = "--timeout wants a number of seconds above 0 and at most a day, not \"" + value + "\"";
                return false;
            }
        } else {
            *error = "unknown option \"" + argument + "\"";
            return false;
        }
    }
    options->command.assign(arguments.begin() + std::ptrdiff_t(index), arguments.end());
    if (options->command.empty() || options->command.front().empty()) {
        *error = "no program given: vrqt tree [--json] [--timeout SECONDS] -- PROGRAM [ARGUMENTS]";
        return false;
    }
    return true;
}

std::string usage()
{
    return "usage: vrqt tree [--json] [--timeout SECONDS] -- PROGRAM [ARGUMENTS...]\n"
           "\n"
           "Starts PROGRAM, an unmodified Qt 5 Widgets program, with the vrQt agent\n"
           "preloaded, waits until its main widget is shown, prints its widget tree as\n"
           "the vrQt module sees it, and closes the program again.\n"
           "\n"
           "  --json              print the tree as one JSON document\n"
           "  --timeout SECONDS   how long to wait for the program's main widget and for\n"
           "                      each answer (default 30)\n"
           "\n"
           "The program's own output goes to standard error. VRQT_MODULE names the module\n"
           "to load (default: libvrqtproxy.so next to the agent).\n"
           "\n"
           "Exit status: 0 done; 1 failed; 2 bad command line; 3 the tree was printed but\n"
           "the program did not end cleanly after being asked to quit; 130 interrupted.\n";
}

} // namespace vrqt::cli
