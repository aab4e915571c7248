// Queries about the process and the system it runs on.
#include <sys/resource.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "platform/system.h"
#include "platform/utf.h"

/// GetCurrentProcess: the pseudo-handle of the calling process, (HANDLE)-1
/// as on Windows; it need not be closed.
PLATFORM_API HANDLE GetCurrentProcess(void)
{
    return reinterpret_cast<HANDLE>(LONG_PTR(-1));
}

/// GetPriorityClass: the priority class of a process, read from the nice
/// value of the calling process (only the pseudo-handle is accepted).
///   process [in]  GetCurrentProcess()
/// Returns the class, or 0 with ERROR_INVALID_HANDLE for any other handle.
/// Nice values map to classes: < -10 high, < 0 above normal, 0 normal,
/// up to 10 below normal, above idle.
PLATFORM_API DWORD GetPriorityClass(HANDLE process)
{
    if (process != GetCurrentProcess()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    const int nice = getpriority(PRIO_PROCESS, 0);
    if (nice < -10)
        return HIGH_PRIORITY_CLASS;
    if (nice < 0)
        return ABOVE_NORMAL_PRIORITY_CLASS;
    if (nice == 0)
        return NORMAL_PRIORITY_CLASS;
    return nice <= 10 ? BELOW_NORMAL_PRIORITY_CLASS : IDLE_PRIORITY_CLASS;
}

/// ProcessIdToSessionId: the session of a process; here the id of its
/// session leader (getsid).
///   processId [in]   the process
///   sessionId [out]  the session id
/// Returns FALSE with ERROR_INVALID_PARAMETER for an unknown process or a
/// null output.
PLATFORM_API BOOL ProcessIdToSessionId(DWORD processId, DWORD *sessionId)
{
    const pid_t session = getsid(pid_t(processId));
    if (!sessionId || session < 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *sessionId = DWORD(session);
    return TRUE;
}

/// GetVersionExW: the system's version. The kernel release "a.b.c-..." gives
/// major, minor and build; the platform is VER_PLATFORM_WIN32_NT; the
/// service pack text is the kernel's version string, cut to 127 units.
///   info [in/out]  dwOSVersionInfoSize must be sizeof(OSVERSIONINFOW)
/// Returns FALSE with ERROR_INSUFFICIENT_BUFFER for another size.
PLATFORM_API BOOL GetVersionExW(LPOSVERSIONINFOW info)
{
    if (!info || info->dwOSVersionInfoSize != sizeof(OSVERSIONINFOW)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    utsname names{};
    uname(&names);
    char *rest = names.release;
    info->dwMajorVersion = DWORD(std::strtoul(rest, &rest, 10));
    info->dwMinorVersion = *rest == '.' ? DWORD(std::strtoul(rest + 1, &rest, 10)) : 0;
    info->dwBuildNumber = *rest == '.' ? DWORD(std::strtoul(rest + 1, &rest, 10)) : 0;
    info->dwPlatformId = VER_PLATFORM_WIN32_NT;
    std::u16string version = platform::toUtf16(names.version);
    version.resize(std::min<size_t>(version.size(), 127));
    platform::copyToBuffer(version, info->szCSDVersion, 128);
    return TRUE;
}
