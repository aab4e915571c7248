// The libraries a program would load and the Qt among them, read from its ELF
// files and held against what the loader itself picks (ldd).
#include <gtest/gtest.h>

#include <elf.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "host/cli/elfdependencies.h"

using namespace vrqt::cli;
namespace filesystem = std::filesystem;

namespace {

const std::string kTree = VRQT_TEST_ELF_TREE; // built by tests/host/CMakeLists.txt

std::string contentOf(const std::string &path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

std::string patched(std::string bytes, std::size_t offset, const void *value, std::size_t length)
{
    std::memcpy(bytes.data() + offset, value, length);
    return bytes;
}

// bytes with the value of the first dynamic entry tagged tag replaced.
std::string withDynamicValue(const std::string &bytes, Elf64_Sxword tag, Elf64_Xword value)
{
    const auto *header = reinterpret_cast<const Elf64_Ehdr *>(bytes.data());
    const auto *segments = reinterpret_cast<const Elf64_Phdr *>(bytes.data() + header->e_phoff);
    const auto *dynamic = std::find_if(segments, segments + header->e_phnum,
                                       [](const Elf64_Phdr &segment) { return segment.p_type == PT_DYNAMIC; });
    for (std::size_t at = dynamic->p_offset; at < dynamic->p_offset + dynamic->p_filesz; at += sizeof(Elf64_Dyn)) {
        if (reinterpret_cast<const Elf64_Dyn *>(bytes.data() + at)->d_tag == tag)
            return patched(bytes, at + offsetof(Elf64_Dyn, d_un), &value, sizeof value);
    }
    return bytes;
}

// A folder for a test's files, removed with it.
struct TemporaryFolder
{
    TemporaryFolder() : path(::mkdtemp(pattern)) {}
    ~TemporaryFolder() { filesystem::remove_all(path); }
    std::string write(const std::string &name, const std::string &content) const
    {
        std::ofstream(path + "/" + name, std::ios::binary) << content;
        return path + "/" + name;
    }
    char pattern[32] = "/tmp/elftest.XXXXXX";
    const std::string path;
};

// "name => path" a library, the found ones first in load order: ldd lists its
// own loader after the last found library before it, ahead of missing ones.
std::vector<std::string> lines(const std::vector<ResolvedLibrary> &libraries)
{
    std::vector<std::string> result;
    for (const ResolvedLibrary &library : libraries)
        result.push_back(library.name + " => " + (library.path.empty() ? "not found" : library.path));
    std::stable_partition(result.begin(), result.end(),
                          [](const std::string &line) { return line.find(" => not found") == std::string::npos; });
    return result;
}

// What the loader picks, less the kernel's vDSO; the loader's own line is
// named by its file. Empty when the loader stops.
std::vector<std::string> loaderChoice(const std::string &program, const std::string &libraryPath)
{
    const std::string command = "env -u LD_PRELOAD LD_LIBRARY_PATH='" + libraryPath + "' ldd '" + program + "' 2>/dev/null";
    std::vector<ResolvedLibrary> libraries;
    FILE *pipe = ::popen(command.c_str(), "r");
    char line[4096];
    while (pipe && std::fgets(line, sizeof line, pipe) && line[0] == '\t') {
        std::string name, arrow, path;
        std::istringstream(line) >> name >> arrow >> path;
        if (arrow == "=>")
            libraries.push_back({ name, path == "not" ? "" : path });
        else if (name[0] == '/')
            libraries.push_back({ name.substr(name.rfind('/') + 1), name });
    }
    if (pipe)
        ::pclose(pipe);
    return lines(libraries);
}

struct Resolution
{
    bool resolved;
    std::vector<ResolvedLibrary> libraries; // without the program
    std::string error;
};

Resolution resolve(const std::string &program, const std::string &libraryPath, LoaderEnvironment environment = {})
{
    Resolution result;
    environment.libraryPath = libraryPath;
    result.resolved = resolveDependencies(program, environment, &result.libraries, &result.error);
    if (result.resolved)
        result.libraries.erase(result.libraries.begin());
    return result;
}

std::string realPathOf(const std::vector<ResolvedLibrary> &libraries, const std::string &name)
{
    for (const ResolvedLibrary &library : libraries) {
        if (library.name == name)
            return library.path.empty() ? "not found" : filesystem::canonical(library.path).string();
    }
    return "not needed";
}

} // namespace

TEST(ElfDependencies, PicksWhatTheLoaderPicks)
{
    const std::string bin = kTree + "/bin/elftree_", environment = kTree + "/environment";
    struct Row {
        const char *name;
        std::string program;
        std::string libraryPath;
        std::string leaf; // where libelfleaf.so comes from; empty: not needed
    } rows[] = {
        { "a Debian program", "/bin/ls", "", "" },
        { "a Qt program of this build", VRQT_TEST_TARGETS "/hostwindow", "", "" },
        { "rpath is inherited by a library without paths", bin + "rpath_plain", "", kTree + "/first" },
        { "rpath comes before LD_LIBRARY_PATH", bin + "rpath_plain", environment, kTree + "/first" },
        { "a runpath ends rpath inheritance", bin + "rpath_runpath", "", kTree + "/second" },
        { "LD_LIBRARY_PATH comes before a runpath", bin + "rpath_runpath", environment, environment },
        { "a runpath is not inherited", bin + "runpath_plain", "", "" },
        { "LD_LIBRARY_PATH with ';' and $ORIGIN", bin + "runpath_plain", "/nonexistent;$ORIGIN/../environment", environment },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const Resolution resolution = resolve(row.program, row.libraryPath);
        ASSERT_TRUE(resolution.resolved) << resolution.error;
        EXPECT_EQ(lines(resolution.libraries), loaderChoice(row.program, row.libraryPath));
        if (row.program.find("elftree") != std::string::npos) {
            EXPECT_EQ(realPathOf(resolution.libraries, "libelfleaf.so"),
                      row.leaf.empty() ? "not found" : filesystem::canonical(row.leaf + "/libelfleaf.so").string());
        }
    }
}

TEST(ElfDependencies, PassesOverLibrariesOfOtherMachinesAndStopsAtBrokenOnes)
{
    const std::string leaf = contentOf(kTree + "/environment/libelfleaf.so");
    const unsigned char otherClass = ELFCLASS32;
    const Elf64_Half otherMachine = EM_AARCH64;
    struct Row {
        const char *name;
        std::string candidate; // a libelfleaf.so searched before the good one
        const char *error; // empty: passed over
    } rows[] = {
        { "32-bit", patched(leaf, EI_CLASS, &otherClass, 1), "" },
        { "another machine", patched(leaf, offsetof(Elf64_Ehdr, e_machine), &otherMachine, 2), "" },
        { "no ELF file", "garbage", "is not an ELF file" },
        { "a truncated ELF file", leaf.substr(0, 40), "is a malformed ELF file" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        const std::string program = kTree + "/bin/elftree_runpath_plain";
        const std::string libraryPath = folder.path + ":" + kTree + "/environment";
        const std::string candidate = folder.write("libelfleaf.so", row.candidate);
        const Resolution resolution = resolve(program, libraryPath);
        const std::vector<std::string> loader = loaderChoice(program, libraryPath);
        EXPECT_EQ(resolution.resolved, !loader.empty()) << resolution.error;
        if (resolution.resolved) {
            EXPECT_EQ(lines(resolution.libraries), loader);
        } else {
            EXPECT_NE(resolution.error.find(candidate + " " + row.error), std::string::npos) << resolution.error;
        }
    }
}

TEST(ElfDependencies, ReadsTheLoaderCache)
{
    const std::string cache = contentOf("/etc/ld.so.cache");
    const std::string libc = realPathOf(resolve("/bin/ls", "").libraries, "libc.so.6");
    // The old format's header and one entry, padded to eight bytes.
    const std::string oldFormat = std::string("ld.so-1.7.0\0\1\0\0\0", 16) + std::string(16, '\0') + cache;
    struct Row {
        const char *name;
        std::string cache;
        bool found;
    } rows[] = {
        { "the system's cache", cache, true },
        { "the new format after the old", oldFormat, true },
        { "a truncated cache", cache.substr(0, 100), false },
        { "an entry count beyond the end", std::string("glibc-ld.so.cache1.1\xff\xff\xff\x0f", 24) + std::string(72, '\0'), false },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        LoaderEnvironment environment;
        environment.cacheFile = folder.write("ld.so.cache", row.cache);
        environment.defaultFolders.clear();
        EXPECT_EQ(realPathOf(resolve("/bin/ls", "", environment).libraries, "libc.so.6"), row.found ? libc : "not found");
    }
}

TEST(ElfDependencies, RefusesWhatIsNoProgramAndSurvivesHostileFiles)
{
    const std::string ls = contentOf("/bin/ls"), program = contentOf(kTree + "/bin/elftree_rpath_plain");
    const Elf64_Half relocatable = ET_REL;
    const unsigned char otherClass = ELFCLASS32;
    const Elf64_Off beyond = program.size();
    const TemporaryFolder folder;
    struct Row {
        const char *name;
        std::string program; // a file in folder, written with content
        std::string content; // without a file: the name findQtUse gets ("": a missing file)
        const char *error;
    } rows[] = {
        { "a script", "script", "#!/bin/sh\nexit 0\n", "is a script (it starts with \"#!\")" },
        { "an empty file", "empty", "", "is not an ELF file" },
        { "a truncated header", "truncated", ls.substr(0, 30), "malformed" },
        { "an object file", "object", patched(ls, offsetof(Elf64_Ehdr, e_type), &relocatable, 2), "no program" },
        { "a 32-bit program", "32-bit", patched(ls, EI_CLASS, &otherClass, 1), "not for this machine" },
        { "program headers beyond the end", "headers", patched(program, offsetof(Elf64_Ehdr, e_phoff), &beyond, 8), "malformed" },
        { "strings in no segment", "strings", withDynamicValue(program, DT_STRTAB, 0x7fff00000000), "malformed" },
        { "a name beyond the strings", "name", withDynamicValue(program, DT_NEEDED, 0xfffffff0), "malformed" },
        { "strings without an end", "end", withDynamicValue(program, DT_STRSZ, 2), "malformed" },
        { "a missing file", "", "", "cannot read" },
        { "a name on no PATH folder", "", "vrqt-no-such-program", "no program vrqt-no-such-program" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        QtUse use;
        std::string error;
        const std::string path = row.program.empty() ? row.content : folder.write(row.program, row.content);
        EXPECT_FALSE(findQtUse(path.empty() ? folder.path + "/missing" : path, LoaderEnvironment(), &use, &error));
        EXPECT_NE(error.find(row.error), std::string::npos) << error;
    }
    // Damage anywhere in the headers, the dynamic section and the strings is
    // an error or a walk, never a crash (the sanitizer build watches reads).
    std::mt19937 random(7);
    for (int trial = 0; trial < 400; ++trial) {
        std::string damaged = program.substr(0, random() % 2 ? program.size() : random() % program.size());
        for (int change = 0; change < 4 && !damaged.empty(); ++change)
            damaged[random() % damaged.size()] = char(random());
        const Resolution resolution = resolve(folder.write("damaged", damaged), "");
        EXPECT_TRUE(resolution.resolved || !resolution.error.empty()) << trial;
    }
}

TEST(ElfQtUse, TellsTheQtMajorVersionAndRefusesTwo)
{
    struct Row {
        const char *name;
        std::string program;
        int major; // -1: refused
        std::string core; // how the core library's path or the refusal ends
    };
    std::vector<Row> rows{
        { "a Qt program of this build", VRQT_TEST_TARGETS "/hostwindow", VRQT_TEST_QT_MAJOR,
          VRQT_TEST_QT_MAJOR == 5 ? "/libQt5Core.so.5" : "/libQt6Core.so.6" },
        { "a program without Qt, found on PATH", "ls", 0, "" },
    };
    if (filesystem::exists(kTree + "/bin/elftree_qt6"))
        rows.push_back({ "Qt 6", kTree + "/bin/elftree_qt6", 6, "/libQt6Core.so.6" });
    if (filesystem::exists(kTree + "/bin/elftree_two_qt"))
        rows.push_back(
            { "Qt 5 and Qt 6", kTree + "/bin/elftree_two_qt", -1, "Qt 5 (libQt5Core.so.5) and Qt 6 (libQt6Core.so.6)" });
    if (rows.size() < 4)
        std::printf("The Qt 6 rows are left out: Qt 6 is not installed.\n");
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        QtUse use;
        std::string error;
        ASSERT_EQ(findQtUse(row.program, LoaderEnvironment(), &use, &error), row.major >= 0) << error;
        const std::string text = row.major >= 0 ? use.coreLibrary : error;
        EXPECT_EQ(text.substr(text.size() - std::min(text.size(), row.core.size())), row.core);
        if (row.major >= 0) {
            EXPECT_EQ(use.major, row.major);
            EXPECT_EQ(use.program[0], '/');
        }
    }
}
