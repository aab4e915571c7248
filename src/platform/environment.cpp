// The process's environment: variables, command line, temporary folder,
// directories, computer name and whether a debugger is attached.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>

#include "platform/system.h"
#include "platform/utf.h"

namespace {

// getenv and setenv are not safe against each other; these functions take
// this lock around them (code calling setenv directly is not covered).
std::mutex environmentLock;

bool readVariable(const char *name, std::string &value)
{
    std::lock_guard<std::mutex> guard(environmentLock);
    const char *found = name ? std::getenv(name) : nullptr;
    if (!found)
        return false;
    value = found;
    return true;
}

BOOL writeVariable(const std::string &name, const char *value)
{
    // Windows also refuses an empty name and a '=' in the name (past its first
    // character, which only drive-letter variables use; setenv refuses those).
    if (name.empty() || name.find('=') != std::string::npos) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    std::lock_guard<std::mutex> guard(environmentLock);
    const int result = value ? setenv(name.c_str(), value, 1) : unsetenv(name.c_str());
    if (result != 0) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    return TRUE;
}

// The ...A form of copyToBuffer: length without the NUL when it fits, else
// the size needed with the NUL.
DWORD copyToNarrowBuffer(const std::string &text, LPSTR buffer, DWORD capacity)
{
    if (!buffer || capacity <= text.size())
        return DWORD(text.size() + 1);
    text.copy(buffer, text.size());
    buffer[text.size()] = '\0';
    return DWORD(text.size());
}

// One argument as CommandLineToArgvW reads it back: quoted when it is empty
// or holds blanks or quotes; backslashes doubled only before a quote.
std::string quoteArgument(const std::string &argument)
{
    if (!argument.empty() && argument.find_first_of(" \t\"") == std::string::npos)
        return argument;
    std::string quoted = "\"";
    size_t backslashes = 0;
    for (const char c : argument) {
        if (c == '\\') {
            ++backslashes;
            continue;
        }
        quoted.append(c == '"' ? backslashes * 2 + 1 : backslashes, '\\');
        backslashes = 0;
        quoted += c;
    }
    quoted.append(backslashes * 2, '\\');
    return quoted + "\"";
}

struct CommandLine {
    std::string narrow;
    std::u16string wide;
};

const CommandLine &commandLine()
{
    static const CommandLine line = [] {
        std::ifstream file("/proc/self/cmdline", std::ios::binary);
        const std::string raw((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        CommandLine joined;
        size_t start = 0;
        while (start < raw.size()) {
            const size_t end = std::min(raw.find('\0', start), raw.size());
            if (!joined.narrow.empty())
                joined.narrow += ' ';
            joined.narrow += quoteArgument(raw.substr(start, end - start));
            start = end + 1;
        }
        joined.wide = platform::toUtf16(joined.narrow);
        return joined;
    }();
    return line;
}

struct ErrnoMapping {
    int error;
    DWORD win32Error;
};

constexpr ErrnoMapping createDirectoryErrors[] = {
    { EEXIST, ERROR_ALREADY_EXISTS },  { ENOENT, ERROR_PATH_NOT_FOUND }, { ENOTDIR, ERROR_PATH_NOT_FOUND },
    { ELOOP, ERROR_PATH_NOT_FOUND },   { EACCES, ERROR_ACCESS_DENIED },  { EPERM, ERROR_ACCESS_DENIED },
    { EROFS, ERROR_ACCESS_DENIED },    { ENAMETOOLONG, 206 /* ERROR_FILENAME_EXCED_RANGE */ },
    { ENOSPC, 112 /* ERROR_DISK_FULL */ }, { ENOMEM, ERROR_NOT_ENOUGH_MEMORY },
};

DWORD win32ErrorFromErrno(int error)
{
    const auto found = std::find_if(std::begin(createDirectoryErrors), std::end(createDirectoryErrors),
                                    [error](const ErrnoMapping &mapping) { return mapping.error == error; });
    return found == std::end(createDirectoryErrors) ? ERROR_ACCESS_DENIED : found->win32Error;
}

} // namespace

/// GetEnvironmentVariableW: reads an environment variable.
///   name   [in]   the variable's name (case-sensitive here).
///   buffer [out]  receives the value and a NUL; may be NULL to ask the size.
///   size   [in]   capacity of buffer in characters.
/// Returns the value's length without the NUL; when the buffer is too small,
/// the size needed with the NUL; 0 with ERROR_ENVVAR_NOT_FOUND when there is
/// no such variable (0 with the last error untouched for an empty value).
/// Differs from Windows: names are case-sensitive, as the Linux environment is.
/// Takes environmentLock.
PLATFORM_API DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size)
{
    std::string value;
    if (!name || !readVariable(platform::toUtf8(name).c_str(), value)) {
        SetLastError(ERROR_ENVVAR_NOT_FOUND);
        return 0;
    }
    return platform::copyToBuffer(platform::toUtf16(value), buffer, size);
}

/// GetEnvironmentVariableA: GetEnvironmentVariableW in UTF-8 (the ANSI code
/// page here); sizes count bytes.
PLATFORM_API DWORD GetEnvironmentVariableA(LPCSTR name, LPSTR buffer, DWORD size)
{
    std::string value;
    if (!readVariable(name, value)) {
        SetLastError(ERROR_ENVVAR_NOT_FOUND);
        return 0;
    }
    return copyToNarrowBuffer(value, buffer, size);
}

/// SetEnvironmentVariableW: sets or removes an environment variable.
///   name  [in]  the variable's name: not empty, no '='.
///   value [in]  the new value; NULL removes the variable (also when absent).
/// Returns TRUE; FALSE with ERROR_INVALID_PARAMETER for a bad name, or
/// ERROR_NOT_ENOUGH_MEMORY.
/// Differs from Windows: names are case-sensitive; a name may not start with
/// '=' (Windows keeps per-drive folders in such names). Takes environmentLock.
PLATFORM_API BOOL SetEnvironmentVariableW(LPCWSTR name, LPCWSTR value)
{
    if (!name) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const std::string narrowValue = platform::toUtf8(value);
    return writeVariable(platform::toUtf8(name), value ? narrowValue.c_str() : nullptr);
}

/// SetEnvironmentVariableA: SetEnvironmentVariableW in UTF-8.
PLATFORM_API BOOL SetEnvironmentVariableA(LPCSTR name, LPCSTR value)
{
    if (!name) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    return writeVariable(name, value);
}

/// GetCommandLineA: the process's command line in UTF-8, valid for the life
/// of the process.
/// Differs from Windows: Linux passes arguments, not a line, so the line is
/// made from /proc/self/cmdline, each argument quoted as CommandLineToArgvW
/// reads it back (quotes around blanks, backslash before an inner quote).
PLATFORM_API LPSTR GetCommandLineA(void)
{
    return const_cast<LPSTR>(commandLine().narrow.c_str());
}

/// GetCommandLineW: GetCommandLineA in UTF-16.
PLATFORM_API LPWSTR GetCommandLineW(void)
{
    return const_cast<LPWSTR>(commandLine().wide.c_str());
}

/// GetTempPathW: the folder for temporary files, with a trailing '/'.
///   size   [in]   capacity of buffer in characters.
///   buffer [out]  receives the path and a NUL.
/// Returns the length without the NUL, or the size needed with the NUL when
/// the buffer is too small.
/// Differs from Windows: the folder is $TMPDIR, else /tmp (not TMP, TEMP or
/// the profile); like Windows it is not checked to exist.
PLATFORM_API DWORD GetTempPathW(DWORD size, LPWSTR buffer)
{
    std::string path;
    if (!readVariable("TMPDIR", path) || path.empty())
        path = "/tmp";
    if (path.back() != '/')
        path += '/';
    return platform::copyToBuffer(platform::toUtf16(path), buffer, size);
}

/// CreateDirectoryW: creates a folder (mode 0777 less the umask).
///   path       [in]  the folder; its parent must exist.
///   attributes [in]  security attributes, ignored.
/// Returns TRUE; FALSE with ERROR_ALREADY_EXISTS, ERROR_PATH_NOT_FOUND (no
/// parent, or an empty or null path), ERROR_ACCESS_DENIED, or the error for
/// a full disk or an over-long name.
PLATFORM_API BOOL CreateDirectoryW(LPCWSTR path, LPVOID attributes)
{
    (void)attributes;
    if (!path || !*path) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return FALSE;
    }
    if (mkdir(platform::toUtf8(path).c_str(), 0777) != 0) {
        SetLastError(win32ErrorFromErrno(errno));
        return FALSE;
    }
    return TRUE;
}

/// GetComputerNameW: the machine's name.
///   buffer [out]     receives the name and a NUL.
///   size   [in,out]  in: capacity in characters; out: the length without the
///                    NUL, or when too small the size needed with the NUL.
/// Returns TRUE; FALSE with ERROR_BUFFER_OVERFLOW (111) when too small, or
/// ERROR_INVALID_PARAMETER for a null size or buffer.
/// Differs from Windows: the host name as the kernel has it, not upper-cased
/// and not cut to the 15 characters of a NetBIOS name.
PLATFORM_API BOOL GetComputerNameW(LPWSTR buffer, DWORD *size)
{
    char host[256] = {};
    if (!size || gethostname(host, sizeof(host) - 1) != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const std::u16string name = platform::toUtf16(host);
    if (*size <= name.size()) {
        *size = DWORD(name.size() + 1);
        SetLastError(ERROR_BUFFER_OVERFLOW);
        return FALSE;
    }
    if (!buffer) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *size = platform::copyToBuffer(name, buffer, *size);
    return TRUE;
}

/// IsDebuggerPresent: whether a debugger is attached: here, whether any
/// process traces this one (TracerPid in /proc/self/status is not 0).
PLATFORM_API BOOL IsDebuggerPresent(void)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 10, "TracerPid:") == 0)
            return std::strtol(line.c_str() + 10, nullptr, 10) != 0 ? TRUE : FALSE;
    }
    return FALSE;
}
