#include "host/cli/options.h"

#include <cmath>
#include <cstdlib>
#include <limits>

namespace vrqt::cli {

namespace {

constexpr double kLongestTimeoutSeconds = 24 * 3600;
constexpr std::size_t kAny = std::numeric_limits<std::size_t>::max();

struct CommandRow
{
    const char *name;
    std::size_t fewestOperands;
    std::size_t mostOperands;
    const char *operands; // as the synopsis shows them
};

constexpr CommandRow kCommands[] = {
    { "tree", 0, 0, "" },
    { "get", 2, 2, "OBJECT MEMBER" },
    { "set", 3, 3, "OBJECT MEMBER VALUE" },
    { "call", 2, kAny, "OBJECT METHOD [ARGUMENT...]" },
    { "describe", 1, 2, "OBJECT [MEMBER]" },
    { "items", 1, 1, "OBJECT" },
    { "item", 3, 4, "OBJECT KEY ACTION [VALUE]" },
};

const CommandRow *findCommand(const std::string &name)
{
    for (const CommandRow &row : kCommands) {
        if (name == row.name)
            return &row;
    }
    return nullptr;
}

std::string synopsis(const CommandRow &row)
{
    std::string line = std::string("vrqt ") + row.name + " [--json] [--timeout SECONDS] [--qt 5|6] ";
    if (*row.operands)
        line += std::string(row.operands) + " ";
    return line + "-- PROGRAM [ARGUMENTS...]";
}

// An option's value: what follows "--name=" or the next argument.
bool optionValue(const std::vector<std::string> &arguments, std::size_t *index, const std::string &name, std::string *value,
                 std::string *error)
{
    const std::string &argument = arguments[*index];
    if (argument != name) {
        *value = argument.substr(name.size() + 1);
        return true;
    }
    if (++*index == arguments.size()) {
        *error = name + " needs a value";
        return false;
    }
    *value = arguments[*index];
    return true;
}

bool isOption(const std::string &argument, const std::string &name)
{
    return argument == name || argument.rfind(name + "=", 0) == 0;
}

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

// Reads one option at arguments[*index]; false with a message.
bool readOption(const std::vector<std::string> &arguments, std::size_t *index, CommandOptions *options, std::string *error)
{
    const std::string &argument = arguments[*index];
    if (argument == "--json") {
        options->json = true;
        return true;
    }
    if (argument == "-h" || argument == "--help") {
        options->help = true;
        return true;
    }
    std::string value;
    if (isOption(argument, "--timeout")) {
        if (!optionValue(arguments, index, "--timeout", &value, error))
            return false;
        if (!parseSeconds(value, &options->timeout)) {
            *error = "--timeout wants a number of seconds above 0 and at most a day, not \"" + value + "\"";
            return false;
        }
        return true;
    }
    if (isOption(argument, "--qt")) {
        if (!optionValue(arguments, index, "--qt", &value, error))
            return false;
        if (value != "5" && value != "6") {
            *error = "--qt wants 5 or 6, not \"" + value + "\"";
            return false;
        }
        options->qtMajor = value[0] - '0';
        return true;
    }
    *error = "unknown option \"" + argument + "\"";
    return false;
}

} // namespace

bool isCommand(const std::string &command)
{
    return findCommand(command) != nullptr;
}

bool parseCommandLine(const std::string &command, const std::vector<std::string> &arguments, CommandOptions *options,
                      std::string *error)
{
    *options = CommandOptions{};
    options->command = command;
    const CommandRow *row = findCommand(command);
    if (!row) {
        *error = "unknown command \"" + command + "\"";
        return false;
    }
    std::size_t index = 0;
    bool separated = false;
    for (; index < arguments.size(); ++index) {
        const std::string &argument = arguments[index];
        if (argument == "--") {
            separated = true;
            ++index;
            break;
        }
        const bool option = options->operands.empty() && !argument.empty() && argument[0] == '-';
        if (option) {
            if (!readOption(arguments, &index, options, error))
                return false;
            if (options->help)
                return true;
            continue;
        }
        // tree's program may follow its options without "--".
        if (row->mostOperands == 0)
            break;
        options->operands.push_back(argument);
    }
    options->program.assign(arguments.begin() + std::ptrdiff_t(index), arguments.end());
    if (row->mostOperands > 0 && !separated) {
        *error = "\"--\" and the program must follow the operands: " + synopsis(*row);
        return false;
    }
    if (options->operands.size() < row->fewestOperands || options->operands.size() > row->mostOperands) {
        *error = "wrong number of operands: " + synopsis(*row);
        return false;
    }
    if (options->program.empty() || options->program.front().empty()) {
        *error = "no program given: " + synopsis(*row);
        return false;
    }
    return true;
}

std::string usage()
{
    std::string text = "usage:\n";
    for (const CommandRow &row : kCommands)
        text += "  " + synopsis(row) + "\n";
    return text + "\n"
           "Starts PROGRAM, an unmodified Qt 5 or Qt 6 Widgets program, with the vrQt\n"
           "agent preloaded, waits until its main widget is shown, does one thing, and\n"
           "closes the program again:\n"
           "\n"
           "  tree       print the widget tree as the vrQt module sees it\n"
           "  get        print the value of an object's property (MEMBER may be a path:\n"
           "             geometry.width)\n"
           "  set        write VALUE into an object's property\n"
           "  call       call a method of an object with the ARGUMENTs and print its result\n"
           "  describe   list what the object's type description offers, class by class\n"
           "  items      list the items of a list, table, tree, combo box, tab widget, menu\n"
           "             or menu bar with their keys, states and rectangles, or the values\n"
           "             of a spin box, date-time edit, calendar, check box, radio button,\n"
           "             line or text edit, tool button or scroll area\n"
           "  item       act on one item: select, deselect, scroll (lists); expand,\n"
           "             collapse, scroll, show (trees); scroll, setText VALUE (table\n"
           "             cells); show, hide, scroll (combo boxes); bringIntoView (tabs);\n"
           "             set VALUE, step N (an editor's value named by its key)\n"
           "\n"
           "OBJECT is an objectName, a path of them (dialog/okButton), a class with the\n"
           "index the tree shows (Calculator/Button[3]), or @ADDRESS as the tree prints it.\n"
           "\n"
           "KEY names an item as `vrqt items` prints it: its text where that is unique\n"
           "among its siblings, [INDEX] otherwise; a tree path or menu path joined by |\n"
           "(Animals|[1]|Cat); a table cell as ROW|COLUMN (a header section |COLUMN or\n"
           "ROW|). A '|', '\\' or leading '[' of a text is written with '\\' before it.\n"
           "\n"
           "VALUE and ARGUMENTs are read as a script would read them: true and false,\n"
           "numbers, \"quoted text\" or plain text.\n"
           "\n"
           "  --json              print the result as one JSON document\n"
           "  --timeout SECONDS   how long to wait for the program's main widget and for\n"
           "                      each answer (default 30)\n"
           "  --qt 5|6            the Qt major version of the agent to preload; by default\n"
           "                      the one whose core library the program's libraries name\n"
           "                      (a program that loads Qt later with dlopen, or one\n"
           "                      started through a script, needs it)\n"
           "\n"
           "The program's own output goes to standard error. VRQT_MODULE names the module\n"
           "to load (default: libvrqtproxy.so next to the agent, in lib/vrqt/qt5 or\n"
           "lib/vrqt/qt6 beside vrqt's bin folder).\n"
           "\n"
           "Exit status: 0 done; 1 failed; 2 bad command line; 3 the command was done but\n"
           "the program did not end cleanly after being asked to quit; 130 interrupted.\n";
}

} // namespace vrqt::cli
