// The libraries a program would load, read from its ELF files without
// running it, and the Qt major version among them.
#pragma once

#include <string>
#include <vector>

namespace vrqt::cli {

// Where the dynamic loader would look for the libraries a program needs.
struct LoaderEnvironment
{
    std::string libraryPath; // LD_LIBRARY_PATH as given; may be empty
    std::string programPath = "/bin:/usr/bin"; // PATH, for a program named without '/'
    std::string cacheFile = "/etc/ld.so.cache";
    // The loader's trusted folders, searched last: Debian's x86-64 loader
    // names these four (`ld.so --help`); /lib64 holds only the loader itself.
    std::vector<std::string> defaultFolders{ "/lib/x86_64-linux-gnu", "/usr/lib/x86_64-linux-gnu", "/lib", "/usr/lib" };

    // LD_LIBRARY_PATH and PATH of this process, which a child inherits.
    static LoaderEnvironment current();
};

struct ResolvedLibrary
{
    std::string name; // as the program or a library names it (DT_NEEDED)
    std::string path; // where the loader finds it; empty when it would not
};

// The program first (its name as given, the path it runs from: a bare name
// is searched on programPath as execvp does), then every library it needs,
// breadth first as the loader loads them, each once. False with a message for
// the user when the program is missing, a script, not an ELF program of this
// machine, or malformed. A library that is no ELF object of the program's
// machine is passed over, as the loader does.
bool resolveDependencies(const std::string &program, const LoaderEnvironment &environment,
                         std::vector<ResolvedLibrary> *libraries, std::string *error);

struct QtUse
{
    int major = 0; // 0: no Qt core library among the dependencies
    std::string coreLibrary; // its path; empty when the loader would not find it
    std::string program; // the program's path
};

// Which Qt the program loads, told by its core library (libQtCore.so.4,
// libQt5Core.so.5, libQt6Core.so.6 and their _debug builds). False with a
// message when resolveDependencies fails or two Qt majors would be loaded.
bool findQtUse(const std::string &program, const LoaderEnvironment &environment, QtUse *use, std::string *error);

} // namespace vrqt::cli
