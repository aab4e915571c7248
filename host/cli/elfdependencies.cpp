#include "host/cli/elfdependencies.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>

namespace vrqt::cli {

namespace {

// The loader's words for this machine as Debian's x86-64 glibc says them:
// $LIB is kept to Debian's multiarch folder, $PLATFORM to the kernel's name
// for the machine (AT_PLATFORM).
constexpr Elf64_Half kMachine = EM_X86_64;
constexpr std::int32_t kCacheFlags = 0x0303; // an ELF libc6 library for x86-64
constexpr const char *kPlatform = "x86_64";
constexpr const char *kLibFolder = "lib/x86_64-linux-gnu";
// Bounds what a hostile file can make us allocate.
constexpr std::uint64_t kLargestTable = std::uint64_t(64) << 20;

// A file read by offset: whatever its content claims, nothing is read outside
// it. Opened without blocking, so that a fifo named like a library cannot
// stall the search.
class InputFile
{
public:
    explicit InputFile(const std::string &path) : descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
        struct stat status;
        if (descriptor < 0)
            openError = errno;
        else if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
            regular = true, size = std::uint64_t(status.st_size);
    }
    ~InputFile()
    {
        if (descriptor >= 0)
            ::close(descriptor);
    }
    InputFile(const InputFile &) = delete;
    InputFile &operator=(const InputFile &) = delete;

    // False unless all of [offset, offset + length) lies in the file.
    bool read(std::uint64_t offset, void *buffer, std::uint64_t length) const
    {
        if (!regular || offset > size || length > size - offset)
            return false;
        auto *bytes = static_cast<char *>(buffer);
        while (length > 0) {
            const ssize_t count = ::pread(descriptor, bytes, std::size_t(length), off_t(offset));
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0)
                return false; // the file shrank while we read it
            bytes += count;
            offset += std::uint64_t(count);
            length -= std::uint64_t(count);
        }
        return true;
    }

    int openError = 0; // errno of a failed open
    bool regular = false; // only a regular file is read
    std::uint64_t size = 0;

private:
    int descriptor;
};

// What the search needs from one ELF file.
struct ElfObject
{
    Elf64_Half type = ET_NONE;
    std::string interpreter; // PT_INTERP
    std::string soname;
    std::vector<std::string> needed;
    std::string rpath; // left empty beside a runpath: the loader ignores it then
    std::string runpath;
    bool hasRunpath = false;
    bool noDefaultFolders = false; // DF_1_NODEFLIB: neither the cache nor the default folders
};

// The text in table at offset, which must end inside the table.
bool textAt(const std::string &table, std::uint64_t offset, std::string *text)
{
    if (offset >= table.size())
        return false;
    const std::size_t end = table.find('\0', std::size_t(offset));
    if (end == std::string::npos)
        return false;
    text->assign(table, std::size_t(offset), end - std::size_t(offset));
    return true;
}

// The dynamic string table: DT_STRTAB is an address in memory, found in the
// file through the loadable segment that holds it.
bool readStringTable(const InputFile &file, const std::vector<Elf64_Phdr> &segments, std::uint64_t address,
                     std::uint64_t declaredSize, std::string *table)
{
    for (const Elf64_Phdr &segment : segments) {
        if (segment.p_type != PT_LOAD || address < segment.p_vaddr || address - segment.p_vaddr >= segment.p_filesz)
            continue;
        const std::uint64_t skip = address - segment.p_vaddr;
        if (segment.p_offset > file.size || skip > file.size - segment.p_offset)
            return false;
        const std::uint64_t length = std::min({ declaredSize, segment.p_filesz - skip, kLargestTable });
        table->assign(std::size_t(length), '\0');
        return file.read(segment.p_offset + skip, table->data(), length);
    }
    return false;
}

// What a file is to the loader: it passes over one it cannot open and one for
// another machine, but stops at any other file that is no ELF object.
enum class ElfStatus { Read, Absent, OtherMachine, Broken };

// Reads the dynamic section of file: the names needed and the search paths.
bool readDynamicSection(const InputFile &file, const std::vector<Elf64_Phdr> &segments, const Elf64_Phdr &dynamicSegment,
                        ElfObject *object)
{
    std::vector<Elf64_Dyn> entries(std::size_t(std::min(dynamicSegment.p_filesz, kLargestTable) / sizeof(Elf64_Dyn)));
    if (!file.read(dynamicSegment.p_offset, entries.data(), entries.size() * sizeof(Elf64_Dyn)))
        return false;
    constexpr std::uint64_t kNone = UINT64_MAX;
    std::uint64_t tableAddress = kNone, tableSize = kNone, soname = kNone, rpath = kNone, runpath = kNone;
    std::vector<std::uint64_t> needed;
    for (const Elf64_Dyn &entry : entries) {
        if (entry.d_tag == DT_NULL)
            break;
        switch (entry.d_tag) {
        case DT_STRTAB: tableAddress = entry.d_un.d_ptr; break;
        case DT_STRSZ: tableSize = entry.d_un.d_val; break;
        case DT_NEEDED: needed.push_back(entry.d_un.d_val); break;
        case DT_SONAME: soname = entry.d_un.d_val; break;
        case DT_RPATH: rpath = entry.d_un.d_val; break;
        case DT_RUNPATH: runpath = entry.d_un.d_val; break;
        case DT_FLAGS_1: object->noDefaultFolders = (entry.d_un.d_val & DF_1_NODEFLIB) != 0; break;
        default: break;
        }
    }
    if (needed.empty() && soname == kNone && rpath == kNone && runpath == kNone)
        return true;
    std::string table;
    if (tableAddress == kNone || !readStringTable(file, segments, tableAddress, tableSize, &table))
        return false;
    for (const std::uint64_t offset : needed) {
        object->needed.emplace_back();
        if (!textAt(table, offset, &object->needed.back()))
            return false;
    }
    object->hasRunpath = runpath != kNone;
    return (soname == kNone || textAt(table, soname, &object->soname))
           && (object->hasRunpath ? textAt(table, runpath, &object->runpath)
                                  : rpath == kNone || textAt(table, rpath, &object->rpath));
}

// Reads path's ELF header, interpreter and dynamic section; the reason in
// error unless it is an ELF object of this machine.
ElfStatus readElf(const std::string &path, ElfObject *object, std::string *error)
{
    const InputFile file(path);
    if (file.openError != 0) {
        *error = "cannot read " + path + ": " + std::strerror(file.openError);
        return ElfStatus::Absent;
    }
    if (!file.regular) {
        *error = path + " is not a regular file";
        return ElfStatus::Broken;
    }
    unsigned char ident[EI_NIDENT] = {};
    const std::uint64_t identLength = std::min<std::uint64_t>(file.size, EI_NIDENT);
    const bool identRead = file.read(0, ident, identLength);
    if (identRead && identLength >= 2 && ident[0] == '#' && ident[1] == '!') {
        *error = path + " is a script (it starts with \"#!\"), not a program: name the program it starts instead";
        return ElfStatus::Broken;
    }
    if (!identRead || identLength < SELFMAG || std::memcmp(ident, ELFMAG, SELFMAG) != 0) {
        *error = path + " is not an ELF file";
        return ElfStatus::Broken;
    }
    Elf64_Ehdr header;
    const bool headerRead = file.read(0, &header, sizeof header);
    if (ident[EI_CLASS] != ELFCLASS64 || ident[EI_DATA] != ELFDATA2LSB || (headerRead && header.e_machine != kMachine)) {
        *error = path + " is not for this machine (x86-64)";
        return ElfStatus::OtherMachine;
    }
    const std::string malformed = path + " is a malformed ELF file: ";
    if (!headerRead) {
        *error = malformed + "it is truncated";
        return ElfStatus::Broken;
    }
    object->type = header.e_type;
    std::vector<Elf64_Phdr> segments(header.e_phnum == PN_XNUM ? 0 : header.e_phnum);
    if ((header.e_phnum > 0 && header.e_phentsize != sizeof(Elf64_Phdr)) || header.e_phnum == PN_XNUM
        || !file.read(header.e_phoff, segments.data(), segments.size() * sizeof(Elf64_Phdr))) {
        *error = malformed + "its program headers are out of bounds";
        return ElfStatus::Broken;
    }
    const Elf64_Phdr *dynamicSegment = nullptr;
    for (const Elf64_Phdr &segment : segments) {
        if (segment.p_type == PT_INTERP) {
            std::string interpreter(std::size_t(std::min<std::uint64_t>(segment.p_filesz, PATH_MAX)), '\0');
            if (!file.read(segment.p_offset, interpreter.data(), interpreter.size())) {
                *error = malformed + "its interpreter is out of bounds";
                return ElfStatus::Broken;
            }
            object->interpreter = interpreter.c_str();
        } else if (segment.p_type == PT_DYNAMIC && !dynamicSegment) {
            dynamicSegment = &segment;
        }
    }
    // Without a dynamic section it is statically linked and needs nothing.
    if (dynamicSegment && !readDynamicSection(file, segments, *dynamicSegment, object)) {
        *error = malformed + "its dynamic section or strings are out of bounds";
        return ElfStatus::Broken;
    }
    return ElfStatus::Read;
}

// Replaces $ORIGIN, $LIB and $PLATFORM (also written ${NAME}) as the loader
// does: a bare name ends at '/' or at the end. False when text needs an
// origin and none is known; the loader then drops the entry.
bool expandTokens(const std::string &text, const std::string &origin, std::string *expanded)
{
    const std::pair<std::string, std::string> tokens[] = { { "ORIGIN", origin }, { "LIB", kLibFolder },
                                                           { "PLATFORM", kPlatform } };
    expanded->clear();
    for (std::size_t at = 0; at < text.size();) {
        bool replaced = false;
        if (text[at] == '$') {
            for (const auto &[word, value] : tokens) {
                const bool braced = text.compare(at + 1, word.size() + 2, "{" + word + "}") == 0;
                const std::size_t after = at + 1 + word.size();
                const bool bare = text.compare(at + 1, word.size(), word) == 0
                                  && (after == text.size() || text[after] == '/');
                if (!braced && !bare)
                    continue;
                if (value.empty())
                    return false;
                *expanded += value;
                at = after + (braced ? 2 : 0);
                replaced = true;
                break;
            }
        }
        if (!replaced)
            *expanded += text[at++];
    }
    return true;
}

std::vector<std::string> split(const std::string &list, const char *separators)
{
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = list.find_first_of(separators, start);
        parts.push_back(list.substr(start, end - start));
        if (end == std::string::npos)
            return parts;
        start = end + 1;
    }
}

// folder/name the way the loader writes it; an empty folder is the current one.
std::string join(std::string folder, const std::string &name)
{
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    if (folder.empty())
        return name;
    return folder == "/" ? "/" + name : folder + "/" + name;
}

// The folder of a file as the loader records it for $ORIGIN: that of the path
// it was found at, made absolute, symbolic links left as they are.
std::string folderOf(const std::string &path)
{
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, std::max<std::size_t>(slash, 1));
    if (!folder.empty() && folder[0] == '/')
        return folder;
    char current[PATH_MAX];
    if (!::getcwd(current, sizeof current))
        return {};
    return join(current, folder);
}

std::string realPath(const std::string &path)
{
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

// The loader cache's library names and paths for this machine. A missing or
// malformed cache is no cache, as for the loader. Entries for the
// glibc-hwcaps subfolders (hwcap not 0) are passed over: Debian installs no
// library there.
std::map<std::string, std::string> readLoaderCache(const std::string &cacheFile)
{
    static const char oldMagic[] = "ld.so-1.7.0";
    static const char newMagic[] = "glibc-ld.so.cache1.1";
    constexpr std::uint64_t oldCountOffset = 12, oldHeaderSize = 16, oldEntrySize = 12;
    constexpr std::uint64_t newCountOffset = 20, newByteOrderOffset = 28, newHeaderSize = 48, newEntrySize = 24;
    std::map<std::string, std::string> libraries;
    const InputFile file(cacheFile);
    if (file.size > kLargestTable)
        return libraries;
    std::string content(std::size_t(file.size), '\0');
    if (!file.read(0, content.data(), content.size()))
        return libraries;
    auto number = [&content](std::uint64_t offset, auto *value) {
        if (offset > content.size() || sizeof *value > content.size() - offset)
            return false;
        std::memcpy(value, content.data() + offset, sizeof *value);
        return true;
    };
    // An old format file may carry the new format after its own entries.
    std::uint64_t start = 0;
    std::uint32_t oldCount = 0;
    if (content.compare(0, sizeof oldMagic - 1, oldMagic) == 0 && number(oldCountOffset, &oldCount))
        start = (oldHeaderSize + oldCount * oldEntrySize + 7) & ~std::uint64_t(7);
    std::uint32_t count = 0;
    std::uint8_t byteOrder = 0;
    if (start > content.size() || content.compare(std::size_t(start), sizeof newMagic - 1, newMagic) != 0
        || !number(start + newCountOffset, &count) || !number(start + newByteOrderOffset, &byteOrder))
        return libraries;
    if ((byteOrder & 3) == 3) // written big-endian: not for this machine
        return libraries;
    const std::string strings = content.substr(std::size_t(start));
    for (std::uint64_t index = 0; index < count; ++index) {
        const std::uint64_t entry = start + newHeaderSize + index * newEntrySize;
        std::int32_t flags = 0;
        std::uint32_t key = 0, value = 0;
        std::uint64_t hwcap = 0;
        if (!number(entry, &flags) || !number(entry + 4, &key) || !number(entry + 8, &value) || !number(entry + 16, &hwcap))
            return {};
        std::string name, path;
        if (flags != kCacheFlags || hwcap != 0 || !textAt(strings, key, &name) || !textAt(strings, value, &path))
            continue;
        libraries.emplace(name, path); // the first entry of a name is the one the loader takes
    }
    return libraries;
}

// One object in load order, and what the search for its needs uses.
struct LoadedObject
{
    std::string path;
    std::string origin;
    ElfObject elf;
    int loader; // the object that needed it first; -1 for the program
};

// Loads nothing: finds, breadth first, the files the loader would map.
class DependencyWalk
{
public:
    explicit DependencyWalk(const LoaderEnvironment &environment) : environment(environment) {}

    // False with the reason where the loader would stop at a broken file.
    bool run(const std::string &programPath, ElfObject program, std::vector<ResolvedLibrary> *libraries, std::string *error)
    {
        const std::string interpreter = program.interpreter, programFile = realPath(programPath);
        objects.push_back({ programPath, folderOf(programFile), std::move(program), -1 });
        knownFiles.insert(programFile);
        // The loader is in memory before any search: libraries that need it
        // by its soname get the file the program names.
        ElfObject loader;
        std::string ignored;
        if (!interpreter.empty() && readElf(interpreter, &loader, &ignored) == ElfStatus::Read && !loader.soname.empty())
            preloaded.emplace(loader.soname, interpreter);
        for (std::size_t index = 0; index < objects.size(); ++index) {
            const std::vector<std::string> needed = objects[index].elf.needed;
            for (const std::string &written : needed) {
                std::string name;
                if (!expandTokens(written, objects[index].origin, &name) || !knownNames.insert(name).second)
                    continue;
                ElfObject found;
                const std::string path = find(name, int(index), &found);
                if (!failure.empty()) {
                    *error = programPath + " would not start: looking for " + name + ", the loader stops: " + failure;
                    return false;
                }
                if (path.empty()) {
                    libraries->push_back({ name, {} });
                    continue;
                }
                if (!knownFiles.insert(realPath(path)).second)
                    continue; // the same file under another name
                if (!found.soname.empty())
                    knownNames.insert(found.soname);
                libraries->push_back({ name, path });
                objects.push_back({ path, folderOf(path), std::move(found), int(index) });
            }
        }
        return true;
    }

private:
    // Where the loader finds name for the object at requester; empty when
    // nowhere or where it stops (failure says why).
    std::string find(const std::string &name, int requester, ElfObject *found)
    {
        std::string chosen;
        if (name.find('/') != std::string::npos) {
            endsAt(name, found, &chosen);
            return chosen;
        }
        const auto early = preloaded.find(name);
        if (early != preloaded.end() && endsAt(early->second, found, &chosen))
            return chosen;
        const LoadedObject &asking = objects[std::size_t(requester)];
        // The runpath of the asking object replaces the rpaths of it and of
        // every object that led to it.
        if (!asking.elf.hasRunpath) {
            for (int at = requester; at >= 0; at = objects[std::size_t(at)].loader) {
                const LoadedObject &object = objects[std::size_t(at)];
                if (endsIn(object.elf.rpath, ":", object.origin, name, found, &chosen))
                    return chosen;
            }
        }
        if (endsIn(environment.libraryPath, ":;", objects.front().origin, name, found, &chosen)
            || (asking.elf.hasRunpath && endsIn(asking.elf.runpath, ":", asking.origin, name, found, &chosen))
            || asking.elf.noDefaultFolders)
            return chosen;
        if (!cacheRead) {
            cache = readLoaderCache(environment.cacheFile);
            cacheRead = true;
        }
        const auto cached = cache.find(name);
        if (cached != cache.end() && endsAt(cached->second, found, &chosen))
            return chosen;
        for (const std::string &folder : environment.defaultFolders) {
            if (endsAt(join(folder, name), found, &chosen))
                break;
        }
        return chosen;
    }

    // True when the search ends in a folder of list: it holds name.
    bool endsIn(const std::string &list, const char *separators, const std::string &origin, const std::string &name,
                ElfObject *found, std::string *chosen)
    {
        if (list.empty())
            return false;
        for (const std::string &written : split(list, separators)) {
            std::string folder;
            if (expandTokens(written, origin, &folder) && endsAt(join(folder, name), found, chosen))
                return true;
        }
        return false;
    }

    // True when the search ends at path: it is chosen, or the loader stops.
    bool endsAt(const std::string &path, ElfObject *found, std::string *chosen)
    {
        *found = ElfObject();
        std::string reason;
        switch (readElf(path, found, &reason)) {
        case ElfStatus::Read: *chosen = path; return true;
        case ElfStatus::Broken: failure = reason; return true;
        case ElfStatus::Absent:
        case ElfStatus::OtherMachine: return false;
        }
        return false;
    }

    const LoaderEnvironment &environment;
    std::vector<LoadedObject> objects;
    std::set<std::string> knownNames; // needed names and sonames already loaded or missed
    std::set<std::string> knownFiles; // real paths already loaded
    std::map<std::string, std::string> preloaded;
    std::map<std::string, std::string> cache;
    bool cacheRead = false;
    std::string failure;
};

// Where execvp would find program: a name with '/' is a path already.
bool findProgram(const std::string &program, const std::string &searchPath, std::string *path, std::string *error)
{
    if (program.empty()) {
        *error = "the program's name is empty";
        return false;
    }
    if (program.find('/') != std::string::npos) {
        *path = program;
        return true;
    }
    for (const std::string &folder : split(searchPath, ":")) {
        const std::string candidate = join(folder, program);
        struct stat status;
        if (::stat(candidate.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(candidate.c_str(), X_OK) == 0) {
            *path = candidate;
            return true;
        }
    }
    *error = "there is no program " + program + " in PATH (" + searchPath + ")";
    return false;
}

struct QtCoreLibrary
{
    const char *name;
    int major;
};

constexpr QtCoreLibrary kQtCoreLibraries[] = {
    { "libQtCore.so.4", 4 },  { "libQtCore_debug.so.4", 4 },  { "libQt5Core.so.5", 5 },
    { "libQt5Core_debug.so.5", 5 }, { "libQt6Core.so.6", 6 }, { "libQt6Core_debug.so.6", 6 },
};

int qtMajorOf(const std::string &name)
{
    const std::string file = name.substr(name.rfind('/') + 1);
    for (const QtCoreLibrary &library : kQtCoreLibraries) {
        if (file == library.name)
            return library.major;
    }
    return 0;
}

} // namespace

LoaderEnvironment LoaderEnvironment::current()
{
    LoaderEnvironment environment;
    if (const char *libraryPath = std::getenv("LD_LIBRARY_PATH"))
        environment.libraryPath = libraryPath;
    if (const char *programPath = std::getenv("PATH"))
        environment.programPath = programPath;
    return environment;
}

bool resolveDependencies(const std::string &program, const LoaderEnvironment &environment,
                         std::vector<ResolvedLibrary> *libraries, std::string *error)
{
    libraries->clear();
    std::string path;
    ElfObject object;
    if (!findProgram(program, environment.programPath, &path, error) || readElf(path, &object, error) != ElfStatus::Read)
        return false;
    if (object.type != ET_EXEC && object.type != ET_DYN) {
        *error = path + " is an ELF file but no program (ELF type " + std::to_string(object.type) + ")";
        return false;
    }
    libraries->push_back({ program, path });
    return DependencyWalk(environment).run(path, std::move(object), libraries, error);
}

bool findQtUse(const std::string &program, const LoaderEnvironment &environment, QtUse *use, std::string *error)
{
    *use = QtUse();
    std::vector<ResolvedLibrary> libraries;
    if (!resolveDependencies(program, environment, &libraries, error))
        return false;
    use->program = libraries.front().path;
    const ResolvedLibrary *core = nullptr;
    for (std::size_t index = 1; index < libraries.size(); ++index) {
        const int major = qtMajorOf(libraries[index].name);
        if (major == 0 || major == use->major)
            continue;
        if (use->major != 0) {
            *error = use->program + " would load two Qt versions: Qt " + std::to_string(use->major) + " (" + core->name
                     + ") and Qt " + std::to_string(major) + " (" + libraries[index].name + ")";
            return false;
        }
        core = &libraries[index];
        use->major = major;
        use->coreLibrary = core->path;
    }
    return true;
}

} // namespace vrqt::cli
