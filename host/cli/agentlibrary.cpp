#include "host/cli/agentlibrary.h"

#include <link.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <vector>

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

std::string findAgentLibrary(std::string *error)
{
    const std::string folder = ownFolder();
    const std::vector<std::string> candidates{ folder + "/../lib/libvrqthost.so", folder + "/libvrqthost.so" };
    for (const std::string &candidate : candidates) {
        char resolved[PATH_MAX];
        if (::access(candidate.c_str(), R_OK) == 0 && ::realpath(candidate.c_str(), resolved))
            return resolved;
    }
    *error = "the agent libvrqthost.so is neither in " + folder + "/../lib nor in " + folder;
    return {};
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
