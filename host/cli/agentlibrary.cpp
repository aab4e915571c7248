#include "host/cli/agentlibrary.h"

#include "host/cli/elfdependencies.h"

#include <link.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <sstream>

namespace vrqt::cli {

namespace {

std::string ownFolder()
{
    char buffer[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof buffer);
    if (length <= 0)
        return ".";
    const std::string path(buffer, std::size_t(length));
    return path.substr(0, path.rfind('/'));
}

#ifdef VRQT_SANITIZED
// A sanitized agent needs the AddressSanitizer runtime first in the program's
// library list; vrqt, built the same way, has loaded it already.
std::string sanitizerRuntime()
{
    std::string found;
    dl_iterate_phdr([](dl_phdr_info *info, size_t, void *data) {
        const char *name = info->dlpi_name;
        if (name && std::strstr(name, "/libasan.so")) {
            *static_cast<std::string *>(data) = name;
            return 1;
        }
        return 0;
    }, &found);
    return found;
}
#endif

} // namespace

std::string findAgentLibrary(int qtMajor, std::string *error)
{
    const std::string folder = ownFolder() + "/../lib/vrqt/qt" + std::to_string(qtMajor);
    const std::string candidate = folder + "/libvrqthost.so";
    char resolved[PATH_MAX];
    if (::access(candidate.c_str(), R_OK) == 0 && ::realpath(candidate.c_str(), resolved))
        return resolved;
    *error = "this vrqt has no agent for Qt " + std::to_string(qtMajor) + ": " + candidate
             + " is missing (a build tree configured with -DVRQT_QT_MAJOR=" + std::to_string(qtMajor)
             + " makes it; install both trees into one prefix to serve both versions)";
    return {};
}

int chooseQtMajor(const std::vector<std::string> &command, int forcedMajor, std::string *error)
{
    if (forcedMajor)
        return forcedMajor;
    const std::string &program = command.front();
    QtUse use;
    std::string reason;
    const bool readable = findQtUse(program, LoaderEnvironment::current(), &use, &reason);
    if (!readable || use.major == 0) {
        // A wrapper: the words after it, and those of a shell's command text.
        for (std::size_t index = 1; index < command.size(); ++index) {
            std::istringstream words(command[index]);
            for (std::string word; words >> word;) {
                QtUse wrapped;
                std::string ignored;
                if (word.find('=') == std::string::npos && findQtUse(word, LoaderEnvironment::current(), &wrapped, &ignored)
                    && wrapped.major >= kOldestQtMajor && wrapped.major <= kNewestQtMajor)
                    return wrapped.major;
            }
        }
    }
    if (!readable) {
        *error = reason + "; say which Qt it uses with --qt 5 or --qt 6";
        return 0;
    }
    if (use.major == 0) {
        *error = "\"" + program + "\" does not link Qt: no libQt5Core.so.5 or libQt6Core.so.6 among its libraries."
                 " A program that loads Qt later (with dlopen) needs --qt 5 or --qt 6";
        return 0;
    }
    if (use.major < kOldestQtMajor || use.major > kNewestQtMajor) {
        *error = "\"" + program + "\" uses Qt " + std::to_string(use.major) + " (" + use.coreLibrary
                 + "); vrqt serves Qt 5 and Qt 6";
        return 0;
    }
    return use.major;
}

std::string preloadWithAgent(const std::string &agentPath, const char *existing)
{
    std::string value = agentPath;
#ifdef VRQT_SANITIZED
    const std::string runtime = sanitizerRuntime();
    if (!runtime.empty())
        value = runtime + ":" + value;
#endif
    if (existing && *existing)
        value += std::string(":") + existing;
    return value;
}

} // namespace vrqt::cli
