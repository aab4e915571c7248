// Modules: module handles, file names, loading and exported functions.
// A module handle is the address where the object's ELF header is mapped,
// which is what dladdr reports as dli_fbase.
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/memorymap.h"
#include "platform/system.h"
#include "platform/utf.h"

namespace {

struct LoadedObject {
    HMODULE base;
    std::string path;       // as the dynamic linker has it; the program's from /proc/self/exe
    bool isProgram;
};

std::string programPath()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    return length > 0 ? std::string(path, size_t(length)) : std::string();
}

// The objects mapped now, the program first, as dl_iterate_phdr lists them.
std::vector<LoadedObject> loadedObjects()
{
    std::vector<LoadedObject> objects;
    dl_iterate_phdr(
        [](dl_phdr_info *info, size_t, void *context) {
            // dladdr's dli_fbase: the first loadable segment, down to its page.
            const ElfW(Addr) pageMask = ~ElfW(Addr)(sysconf(_SC_PAGESIZE) - 1);
            for (ElfW(Half) i = 0; i < info->dlpi_phnum; ++i) {
                if (info->dlpi_phdr[i].p_type != PT_LOAD)
                    continue;
                auto *list = static_cast<std::vector<LoadedObject> *>(context);
                const bool isProgram = list->empty();
                list->push_back({ reinterpret_cast<HMODULE>(info->dlpi_addr + (info->dlpi_phdr[i].p_vaddr & pageMask)),
                                  isProgram ? std::string() : std::string(info->dlpi_name ? info->dlpi_name : ""),
                                  isProgram });
                break;
            }
            return 0;
        },
        &objects);
    if (!objects.empty())
        objects.front().path = programPath();
    return objects;
}

bool findByHandle(HMODULE module, LoadedObject &found)
{
    for (LoadedObject &object : loadedObjects()) {
        if (object.base == module) {
            found = std::move(object);
            return true;
        }
    }
    return false;
}

bool samePath(const std::string &wanted, const std::string &path)
{
    if (wanted == path)
        return true;
    std::error_code error;
    const auto left = std::filesystem::canonical(wanted, error);
    if (error)
        return false;
    const auto right = std::filesystem::canonical(path, error);
    return !error && left == right;
}

// A name with a '/' is matched against whole paths, one without against the
// files' base names; both exactly, as Linux names are case-sensitive.
bool findByName(const std::string &name, LoadedObject &found)
{
    const bool hasFolder = name.find('/') != std::string::npos;
    for (LoadedObject &object : loadedObjects()) {
        const std::string baseName = object.path.substr(object.path.rfind('/') + 1);
        if (object.path.empty() || !(hasFolder ? samePath(name, object.path) : name == baseName))
            continue;
        found = std::move(object);
        return true;
    }
    return false;
}

// A dlopen handle for a mapped object, taking one reference (dlclose it).
void *openLoaded(const LoadedObject &object, int extraFlags = 0)
{
    return object.isProgram ? dlopen(nullptr, RTLD_NOW) : dlopen(object.path.c_str(), RTLD_NOW | RTLD_NOLOAD | extraFlags);
}

HMODULE moduleOfAddress(const void *address)
{
    Dl_info info{};
    return dladdr(address, &info) ? info.dli_fbase : nullptr;
}

// Windows' truncation since Vista: a name that does not fit is cut to
// size - 1 characters and a NUL, the result is size, with ERROR_INSUFFICIENT_BUFFER.
template <typename Char>
DWORD copyModuleName(const std::basic_string<Char> &name, Char *buffer, DWORD size)
{
    if (size == 0) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    if (!buffer) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if (name.size() < size) {
        name.copy(buffer, name.size());
        buffer[name.size()] = Char(0);
        return DWORD(name.size());
    }
    name.copy(buffer, size - 1);
    buffer[size - 1] = Char(0);
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
}

bool modulePath(HMODULE module, std::string &path)
{
    LoadedObject object{};
    if (!module)
        path = programPath();
    else if (findByHandle(module, object))
        path = object.path;
    if (path.empty()) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return false;
    }
    return true;
}

HMODULE programHandle()
{
    const std::vector<LoadedObject> objects = loadedObjects();
    return objects.empty() ? nullptr : objects.front().base;
}

HMODULE moduleHandleByName(const char *name)
{
    LoadedObject object{};
    if (!name)
        return programHandle();
    if (!findByName(name, object)) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    return object.base;
}

} // namespace

/// GetModuleFileNameW: the full path of a loaded module's file.
///   module   [in]   a module handle; NULL for the program.
///   fileName [out]  receives the path and a NUL.
///   size     [in]   capacity in characters.
/// Returns the length without the NUL; when the path does not fit, size
/// with the path cut to size - 1 characters and a NUL, and
/// ERROR_INSUFFICIENT_BUFFER (as Windows since Vista); 0 with
/// ERROR_MOD_NOT_FOUND for an unknown handle.
PLATFORM_API DWORD GetModuleFileNameW(HMODULE module, LPWSTR fileName, DWORD size)
{
    std::string path;
    return modulePath(module, path) ? copyModuleName(platform::toUtf16(path), fileName, size) : 0;
}

/// GetModuleFileNameA: GetModuleFileNameW in UTF-8; sizes count bytes.
PLATFORM_API DWORD GetModuleFileNameA(HMODULE module, LPSTR fileName, DWORD size)
{
    std::string path;
    return modulePath(module, path) ? copyModuleName(path, fileName, size) : 0;
}

/// GetModuleHandleW: the handle of a loaded module, without a reference.
///   moduleName [in]  NULL for the program; a file name, with or without its folder.
/// Returns the handle; NULL with ERROR_MOD_NOT_FOUND when no loaded object
/// has that name.
/// Differs from Windows: names compare case-sensitively (Linux file names
/// are) and no ".dll" is added to a name without extension.
PLATFORM_API HMODULE GetModuleHandleW(LPCWSTR moduleName)
{
    return moduleHandleByName(moduleName ? platform::toUtf8(moduleName).c_str() : nullptr);
}

/// GetModuleHandleA: GetModuleHandleW for a UTF-8 name.
PLATFORM_API HMODULE GetModuleHandleA(LPCSTR moduleName)
{
    return moduleHandleByName(moduleName);
}

/// GetModuleHandleExW: the handle of a loaded module, by name or by address.
///   flags      [in]   GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS: moduleName is an
///                     address inside the module; _UNCHANGED_REFCOUNT: no
///                     reference is taken (otherwise one is, for FreeLibrary);
///                     _PIN: the module stays loaded for good.
///   moduleName [in]   a name as for GetModuleHandleW, or the address.
///   module     [out]  receives the handle, NULL on failure.
/// Returns TRUE; FALSE with ERROR_INVALID_PARAMETER for a null module or
/// bad flags, ERROR_MOD_NOT_FOUND when nothing matches.
PLATFORM_API BOOL GetModuleHandleExW(DWORD flags, LPCWSTR moduleName, HMODULE *module)
{
    constexpr DWORD knownFlags = GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT
        | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
    if (module)
        *module = nullptr;
    if (!module || (flags & ~knownFlags)
        || ((flags & GET_MODULE_HANDLE_EX_FLAG_PIN) && (flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT))) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const HMODULE found = (flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) ? moduleOfAddress(moduleName)
                                                                          : GetModuleHandleW(moduleName);
    LoadedObject object{};
    if (!found || !findByHandle(found, object)) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    if (!(flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT)) {
        // The dlopen reference taken here is the caller's, for FreeLibrary.
        openLoaded(object, (flags & GET_MODULE_HANDLE_EX_FLAG_PIN) ? RTLD_NODELETE : 0);
    }
    *module = found;
    return TRUE;
}

/// LoadLibraryW: loads a shared object (dlopen with RTLD_NOW) or takes a
/// further reference on one already loaded.
///   fileName [in]  a path, or a bare name searched as dlopen searches
///                  (LD_LIBRARY_PATH, the cache, the system folders).
/// Returns the module handle; NULL with ERROR_MOD_NOT_FOUND when it cannot be
/// loaded (missing, not loadable, or a dependency missing), or
/// ERROR_INVALID_PARAMETER for a null name.
/// Differs from Windows: the search order is the dynamic linker's, not the
/// application folder first; no ".dll" is appended.
PLATFORM_API HMODULE LoadLibraryW(LPCWSTR fileName)
{
    if (!fileName) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return LoadLibraryA(platform::toUtf8(fileName).c_str());
}

/// LoadLibraryA: LoadLibraryW for a UTF-8 name.
PLATFORM_API HMODULE LoadLibraryA(LPCSTR fileName)
{
    if (!fileName) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    void *handle = *fileName ? dlopen(fileName, RTLD_NOW) : nullptr;
    platform::noteImagesChanged();
    link_map *map = nullptr;
    if (!handle || dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || !map) {
        if (handle)
            dlclose(handle);
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    return moduleOfAddress(map->l_ld);
}

/// FreeLibrary: drops one reference on a module; the last one unloads it.
///   module [in]  a handle from LoadLibrary or a counting GetModuleHandleEx.
/// Returns TRUE; FALSE with ERROR_MOD_NOT_FOUND for an unknown handle.
/// Like Windows, freeing the program or a module loaded with it at start-up
/// (which have no count to drop) succeeds and changes nothing.
PLATFORM_API BOOL FreeLibrary(HMODULE module)
{
    LoadedObject object{};
    if (!module || !findByHandle(module, object)) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    if (object.isProgram)
        return TRUE;
    void *handle = openLoaded(object);
    if (!handle) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    dlclose(handle); // the reference openLoaded just took
    dlclose(handle); // the caller's; fails harmlessly for start-up modules
    platform::noteImagesChanged();
    return TRUE;
}

/// GetProcAddress: the address of a function or variable a module exports.
///   module   [in]  a module handle; NULL for the program.
///   procName [in]  the symbol's name.
/// Returns the address; NULL with ERROR_PROC_NOT_FOUND when the module itself
/// does not export it (symbols of its dependencies do not count, as on
/// Windows), for an ordinal (ELF has none) or a null name;
/// ERROR_MOD_NOT_FOUND for an unknown handle.
PLATFORM_API FARPROC GetProcAddress(HMODULE module, LPCSTR procName)
{
    LoadedObject object{};
    const HMODULE target = module ? module : programHandle();
    if (!findByHandle(target, object)) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    void *symbol = nullptr;
    if (reinterpret_cast<uintptr_t>(procName) > 0xFFFF) {
        if (void *handle = openLoaded(object)) {
            symbol = dlsym(handle, procName);
            dlclose(handle);
        }
    }
    if (!symbol || moduleOfAddress(symbol) != target) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    return reinterpret_cast<FARPROC>(symbol);
}
