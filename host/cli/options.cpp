#include "host/cli/options.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace vrqt::cli {

namespace {

constexpr double kLongestTimeoutSeconds = 24 * 3600;
constexpr std::size_t kAny = std::numeric_limits<std::size_t>::max();

// What a command runs on: a program it starts (or a session), a program it
// starts and leaves running, or neither.
enum class Target { ProgramOrSession, Program, None };

struct CommandRow
{
    const char *name;
    std::size_t fewestOperands;
    std::size_t mostOperands;
    const char *operands; // as the synopsis shows them
    Target target;
    const char *options;  // as the synopsis shows them
};

constexpr const char *kInspectOptions = "[--json] [--timeout SECONDS] [--settle] [--qt 5|6] [--session NAME]";
constexpr const char *kInputOptions = "[--json] [--real|--synthesized] [--timeout SECONDS] [--settle] [--qt 5|6] [--session NAME]";

constexpr CommandRow kCommands[] = {
    { "tree", 0, 0, "", Target::ProgramOrSession, "[--json] [--objects] [--timeout SECONDS] [--settle] [--qt 5|6] [--session NAME]" },
    { "get", 2, 2, "OBJECT MEMBER", Target::ProgramOrSession, kInspectOptions },
    { "set", 3, 3, "OBJECT MEMBER VALUE", Target::ProgramOrSession, kInspectOptions },
    { "call", 2, kAny, "OBJECT METHOD [ARGUMENT...]", Target::ProgramOrSession, kInspectOptions },
    { "describe", 1, 2, "OBJECT [MEMBER]", Target::ProgramOrSession, kInspectOptions },
    { "items", 1, 1, "OBJECT", Target::ProgramOrSession, kInspectOptions },
    { "item", 3, 4, "OBJECT KEY ACTION [VALUE]", Target::ProgramOrSession, kInspectOptions },
    { "wait", 1, 4, "OBJECT [MEMBER [OPERATOR VALUE]]", Target::ProgramOrSession,
      "[--json] [--gone] [--timeout SECONDS] [--settle] [--qt 5|6] [--session NAME]" },
    { "click", 1, 2, "OBJECT [ITEM]", Target::ProgramOrSession, kInputOptions },
    { "dclick", 1, 2, "OBJECT [ITEM]", Target::ProgramOrSession, kInputOptions },
    { "rclick", 1, 2, "OBJECT [ITEM]", Target::ProgramOrSession, kInputOptions },
    { "type", 2, 2, "OBJECT TEXT", Target::ProgramOrSession, kInputOptions },
    { "key", 2, 2, "OBJECT SEQUENCE", Target::ProgramOrSession, kInputOptions },
    { "drag", 2, 5, "OBJECT [ITEM] to OBJECT [ITEM]", Target::ProgramOrSession, kInputOptions },
    { "scroll", 2, 2, "OBJECT STEPS", Target::ProgramOrSession, kInputOptions },
    { "shot", 1, 2, "[OBJECT] FILE.png", Target::ProgramOrSession,
      "[--json] [--outline] [--screen] [--timeout SECONDS] [--settle] [--qt 5|6] [--session NAME]" },
    { "record", 0, 0, "", Target::ProgramOrSession, kInspectOptions },
    { "start", 0, 0, "", Target::Program, "[--json] [--timeout SECONDS] [--qt 5|6] [--name NAME]" },
    { "attach", 1, 1, "PID", Target::None, "[--json] [--timeout SECONDS] [--name NAME]" },
    { "stop", 0, 1, "[NAME]", Target::None, "[--timeout SECONDS] [--session NAME]" },
    { "sessions", 0, 0, "", Target::None, "[--json]" },
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
    std::string line = std::string("vrqt ") + row.name + " " + row.options;
    if (*row.operands)
        line += std::string(" ") + row.operands;
    if (row.target == Target::ProgramOrSession)
        line += " [-- PROGRAM [ARGUMENTS...]]";
    else if (row.target == Target::Program)
        line += " -- PROGRAM [ARGUMENTS...]";
    return line;
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
    if (argument == "--settle") {
        options->settle = true;
        return true;
    }
    if (argument == "--real" || argument == "--synthesized") {
        options->inputMode = argument.substr(2);
        return true;
    }
    if (argument == "--outline" || argument == "--screen") {
        (argument == "--outline" ? options->outline : options->screen) = true;
        return true;
    }
    if (argument == "--objects" || argument == "--gone") {
        (argument == "--objects" ? options->objects : options->gone) = true;
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
    for (auto [name, target] : { std::pair{ "--session", &options->session }, std::pair{ "--name", &options->name } }) {
        if (!isOption(argument, name))
            continue;
        if (!optionValue(arguments, index, name, target, error))
            return false;
        if (!isSessionName(*target)) {
            *error = std::string(name) + " wants a session name of letters, digits, '.', '_' and '-', not \"" + *target + "\"";
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

bool isSessionName(const std::string &name)
{
    if (name.empty() || name.size() > 64 || name[0] == '.' || name[0] == '-')
        return false;
    for (const char c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '_' && c != '-')
            return false;
    }
    return true;
}

bool parseCommandLine(const std::string &command, const std::vector<std::string> &arguments, CommandOptions *options,
                      std::string *error, const char *sessionVariable)
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
        // The program of a command without operands may follow its options
        // without "--".
        if (row->mostOperands == 0 && row->target != Target::None)
            break;
        options->operands.push_back(argument);
    }
    options->program.assign(arguments.begin() + std::ptrdiff_t(index), arguments.end());
    if (options->operands.size() > row->mostOperands) {
        // An option given after the operands reads as one of them.
        for (std::size_t at = 0; at < options->operands.size(); ++at) {
            const std::string &operand = options->operands[at];
            std::size_t probe = at;
            CommandOptions ignored;
            std::string unknown;
            if (operand.rfind("--", 0) == 0 && readOption(options->operands, &probe, &ignored, &unknown)) {
                *error = "options go before the operands, and \"" + operand + "\" came after them: " + synopsis(*row);
                return false;
            }
        }
    }
    if (!separated && row->target == Target::ProgramOrSession && options->operands.size() > row->mostOperands) {
        *error = "\"--\" and the program must follow the operands: " + synopsis(*row);
        return false;
    }
    if (options->operands.size() < row->fewestOperands || options->operands.size() > row->mostOperands) {
        *error = "wrong number of operands: " + synopsis(*row);
        return false;
    }
    const std::string optionsShown = row->options;
    if ((!options->session.empty() && optionsShown.find("--session") == std::string::npos)
        || (options->objects && optionsShown.find("--objects") == std::string::npos)
        || (options->gone && optionsShown.find("--gone") == std::string::npos)
        || (options->settle && optionsShown.find("--settle") == std::string::npos)
        || ((options->outline || options->screen) && optionsShown.find("--outline") == std::string::npos)
        || (!options->inputMode.empty() && optionsShown.find("--real") == std::string::npos)
        || (!options->name.empty() && optionsShown.find("--name") == std::string::npos)) {
        *error = "that option does not go with " + command + ": " + synopsis(*row);
        return false;
    }
    if (row->target == Target::None) {
        if (!options->program.empty() || separated) {
            *error = command + " takes no program: " + synopsis(*row);
            return false;
        }
        if (command == "stop" && !options->operands.empty()) {
            if (!options->session.empty() || !isSessionName(options->operands.front())) {
                *error = "stop wants one session name: " + synopsis(*row);
                return false;
            }
            options->session = options->operands.front();
            options->operands.clear();
        }
        if (command == "stop" && options->session.empty() && sessionVariable && isSessionName(sessionVariable))
            options->session = sessionVariable;
        if (command == "stop" && options->session.empty()) {
            *error = "stop needs the session's name (or VRQT_SESSION): " + synopsis(*row);
            return false;
        }
        return true;
    }
    if (row->target == Target::ProgramOrSession && options->program.empty() && !separated) {
        if (options->session.empty() && sessionVariable && *sessionVariable) {
            if (!isSessionName(sessionVariable)) {
                *error = std::string("VRQT_SESSION is no session name: \"") + sessionVariable + "\"";
                return false;
            }
            options->session = sessionVariable;
        }
        if (!options->session.empty())
            return true;
    }
    if (!options->session.empty()) {
        *error = "give either --session or a program, not both: " + synopsis(*row);
        return false;
    }
    if (row->mostOperands > 0 && !separated) {
        *error = "\"--\" and the program must follow the operands: " + synopsis(*row);
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
           "closes the program again; or, given a session, does that thing in a program\n"
           "that keeps running between commands:\n"
           "\n"
           "  start      start PROGRAM as a named session, print the name and leave it\n"
           "             running; its output goes to output.log in the session's folder\n"
           "  attach     load the agent into PID, a Qt program of this user's started\n"
           "             without it, through the debugger gdb, as a named session (needs\n"
           "             permission to trace it: kernel.yama.ptrace_scope 0, or root)\n"
           "  stop       ask the session's program to quit, end it if it does not, and\n"
           "             forget the session\n"
           "  sessions   list the sessions whose program runs\n"
           "\n"
           "  tree       print the widget tree as the vrQt module sees it, each widget\n"
           "             with its exact path; --objects adds the objects that are not\n"
           "             widgets (actions, models, timers) and menus not yet shown\n"
           "  get        print the value of an object's property (MEMBER may be a path:\n"
           "             geometry.width)\n"
           "  set        write VALUE into an object's property\n"
           "  call       call a method of an object with the ARGUMENTs and print its result\n"
           "  describe   list what the object's type description offers, class by class\n"
           "  items      list the items of a list, table, tree, combo box, tab widget, menu\n"
           "             or menu bar with their keys, states and rectangles, or the values\n"
           "             of a spin box, date-time edit, calendar, check box, radio button,\n"
           "             line or text edit, tool button or scroll area\n"
           "  wait       wait until OBJECT exists, or its MEMBER reads true, or compares\n"
           "             with VALUE by OPERATOR (== != < <= > >= ~ for contains), and print\n"
           "             the value; on time-out fail with the last value seen. Checked on\n"
           "             the program's GUI thread as its events arrive. With --gone, wait\n"
           "             until OBJECT no longer exists (a dialog closed and deleted)\n"
           "  click, dclick, rclick  click OBJECT, or its ITEM (named as `vrqt item`\n"
           "             names it, menu paths through the bar included), at the centre\n"
           "             of its rectangle once it is brought into view\n"
           "  type, key  give OBJECT the focus and type TEXT, or press a key SEQUENCE\n"
           "             in Qt's syntax (Ctrl+S, Alt+F4, Down)\n"
           "  drag       press on OBJECT [ITEM], move to the other, release\n"
           "  scroll     turn the wheel STEPS notches over OBJECT (negative: down)\n"
           "             The target must be visible, enabled and not covered. Under an\n"
           "             X server the input is real (XTest); offscreen it is Qt's events\n"
           "             sent to the widget under the point; --real or --synthesized\n"
           "             forces one. The command returns once the program took it.\n"
           "  shot       save a PNG picture of OBJECT (default: the main window; --screen\n"
           "             the whole screen) and print the rectangles of what can be named\n"
           "             in it: its items (rows, cells, tree items, entries, tabs) with\n"
           "             their keys, else its widgets with their paths; --outline draws\n"
           "             and labels them on the picture\n"
           "  item       act on one item: select, deselect, scroll (lists); expand,\n"
           "             collapse, scroll, show (trees); scroll, setText VALUE (table\n"
           "             cells); show, hide, scroll (combo boxes); bringIntoView (tabs);\n"
           "             set VALUE, step N (an editor's value named by its key)\n"
           "  record     print a line for each action of the user as it happens (the time,\n"
           "             the object's exact path, the event, the item's KEY and the new\n"
           "             value), until the program ends or Ctrl-C\n"
           "\n"
           "OBJECT names one object:\n"
           "  /galleryWindow/buttonsPage/okButton  the exact path the tree prints: from a\n"
           "                               window down, each step a direct child\n"
           "  okButton                     a lone name (or class): that object, anywhere\n"
           "  dialog/okButton              okButton a child of dialog; dialog//okButton:\n"
           "                               anywhere below it\n"
           "  Calculator/Button[3]         the third Button among its siblings (index=)\n"
           "  QPushButton[text=OK]         with a property's value; several [..] may\n"
           "                               follow, values may be quoted: [text=\"a/b\"],\n"
           "                               enumerations go by name: [focusPolicy=NoFocus]\n"
           "  *[windowTitle=Settings]      any class; QLineEdit#2: the second match\n"
           "  @0x55d0c0a1b2c0              the address the tree prints\n"
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
           "  --settle            first wait (within --timeout, at most 5 s) until the\n"
           "                      program has had no event for 100 ms; start always does\n"
           "  --session NAME      work on the running session NAME instead of starting a\n"
           "                      program (VRQT_SESSION names one when no program is given)\n"
           "  --name NAME         the new session's name (letters, digits, . _ -); by\n"
           "                      default the program's name and a number\n"
           "  --qt 5|6            the Qt major version of the agent to preload; by default\n"
           "                      the one whose core library the program's libraries name\n"
           "                      (a program that loads Qt later with dlopen, or one\n"
           "                      started through a script, needs it)\n"
           "\n"
           "The program's own output goes to standard error. VRQT_MODULE names the module\n"
           "to load (default: libvrqtproxy.so next to the agent, in lib/vrqt/qt5 or\n"
           "lib/vrqt/qt6 beside vrqt's bin folder).\n"
           "\n"
           "A session lasts until `vrqt stop` or until its program ends: the program of\n"
           "a session belongs to no vrqt process, so a `vrqt start` that is killed leaves\n"
           "it reachable by name. A program started for one command ends with that\n"
           "command, and with vrqt however vrqt ends.\n"
           "\n"
           "Exit status: 0 done; 1 failed otherwise; 2 bad command line (or a malformed\n"
           "reference); 3 the command was done but the program did not end cleanly after\n"
           "being asked to quit; 4 no such object, member or item; 5 the program crashed\n"
           "(the message names the signal and the request); 6 timed out; 7 refused by the\n"
           "module; 130 interrupted. With --json a failure is also one JSON line on\n"
           "standard output: {\"ok\": false, \"error\": {\"code\", \"message\", \"exit\"}}.\n";
}

} // namespace vrqt::cli
