#include "runtime/trace.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "platform/automation.h"
#include "platform/utf.h"
#include "runtime/format.h"

namespace {

std::atomic<FILE *> traceFile{ nullptr };

constexpr OLECHAR invalidText[] = u"<Invalid string data>";

HMODULE thisModule()
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&thisModule), &module);
    return module;
}

// What follows the last separator, cut at the last full stop.
std::u16string baseName(std::u16string_view path)
{
    const size_t slash = path.find_last_of(u"/\\");
    std::u16string name(slash == std::u16string_view::npos ? path : path.substr(slash + 1));
    const size_t dot = name.rfind(u'.');
    if (dot != std::u16string::npos)
        name.resize(dot);
    return name;
}

bool readFolderFrom(HKEY hive, DWORD access, OLECHAR *folder, size_t capacity)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(hive, u"SOFTWARE\\Zoklandt", 0, KEY_QUERY_VALUE | access, &key) != ERROR_SUCCESS)
        return false;
    OLECHAR value[MAX_PATH] = {};
    DWORD size = sizeof value;
    const LSTATUS status = RegQueryValueExW(key, u"DebugTraceFolder", nullptr, nullptr, reinterpret_cast<BYTE *>(value), &size);
    RegCloseKey(key);
    if (status != ERROR_SUCCESS)
        return false;
    value[MAX_PATH - 1] = 0;
    if (!CreateDirectoryW(value, nullptr) && GetLastError() != ERROR_ALREADY_EXISTS)
        return false;
    const size_t length = platform::utf16Length(value);
    if (length >= capacity)
        return false;
    std::char_traits<char16_t>::copy(folder, value, length + 1);
    return true;
}

FILE *openLog(std::u16string_view folder, std::u16string_view name)
{
    const std::u16string path = std::u16string(folder) + u"/" + std::u16string(name) + u".log";
    return std::fopen(platform::toUtf8(path).c_str(), "a");
}

std::u16string systemDescription()
{
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    GetVersionExW(&version);
    return FormatWide(u"%d.%d.%d.%d %s", int(version.dwMajorVersion), int(version.dwMinorVersion),
                      int(version.dwBuildNumber), int(version.dwPlatformId), version.szCSDVersion);
}

} // namespace

bool TraceEnabled()
{
    return traceFile.load(std::memory_order_relaxed) != nullptr;
}

bool ReadTraceFolder(OLECHAR *folder, size_t capacity)
{
    // Per user, then per machine, then the second per-machine place.
    return readFolderFrom(HKEY_CURRENT_USER, KEY_READ, folder, capacity)
        || readFolderFrom(HKEY_LOCAL_MACHINE, KEY_READ, folder, capacity)
        || readFolderFrom(HKEY_LOCAL_MACHINE, KEY_READ | KEY_WOW64_32KEY, folder, capacity);
}

bool MakeTraceFileName(OLECHAR *name, size_t capacity)
{
    OLECHAR path[MAX_PATH] = {};
    if (!GetModuleFileNameW(nullptr, path, MAX_PATH))
        return false;
    std::u16string result = baseName(path);
    const HMODULE module = thisModule();
    if (module == GetModuleHandleW(nullptr)) {
        result = FormatWide(u"%s_%u", result.c_str(), GetCurrentProcessId());
    } else {
        OLECHAR modulePath[MAX_PATH] = {};
        if (!GetModuleFileNameW(module, modulePath, MAX_PATH))
            return false;
        result = FormatWide(u"%s_%u_%s_%p", result.c_str(), GetCurrentProcessId(), baseName(modulePath).c_str(), module);
    }
    if (result.size() >= capacity)
        return false;
    std::char_traits<char16_t>::copy(name, result.c_str(), result.size() + 1);
    return true;
}

void TraceOpen()
{
    if (TraceEnabled())
        return;
    OLECHAR name[MAX_PATH];
    OLECHAR folder[MAX_PATH];
    if (!MakeTraceFileName(name, MAX_PATH) || !ReadTraceFolder(folder, MAX_PATH))
        return;
    FILE *file = openLog(folder, name);
    if (!file) {
        // The temporary folder ends in a separator, so the path holds two in
        // a row; that is how the fallback has always looked.
        if (!GetTempPathW(MAX_PATH, folder))
            return;
        file = openLog(folder, name);
        if (!file)
            return;
    }
    std::fputs("\n\n\n", file);
    traceFile.store(file);

    OLECHAR modulePath[MAX_PATH] = {};
    GetModuleFileNameW(thisModule(), modulePath, MAX_PATH);
    DWORD session = 0xFFFFFFFF;
    ProcessIdToSessionId(GetCurrentProcessId(), &session);
    OLECHAR host[16] = {};
    DWORD hostSize = 16;
    GetComputerNameW(host, &hostSize);

    Trace(u"The beginning of the trace file.");
    Trace(u"Process information:");
    Trace(u"    Name:     %s", name);
    Trace(u"    PID:      %u", GetCurrentProcessId());
    Trace(u"    Priority: %u", GetPriorityClass(GetCurrentProcess()));
    Trace(u"    Session:  %u", session);
    Trace(u"    Host:     %s", host);
    Trace(u"    CmdLine:  %s", GetCommandLineW());
    Trace(u"    OS:       %s", systemDescription().c_str());
    Trace(u"Module information:");
    Trace(u"    Path:     %s", modulePath);
}

void Trace(const OLECHAR *format, ...)
{
    FILE *file = traceFile.load(std::memory_order_relaxed);
    if (!file)
        return;
    va_list arguments;
    va_start(arguments, format);
    std::u16string text = format ? FormatWideV(format, arguments) : std::u16string(invalidText);
    va_end(arguments);

    std::u16string line;
    line.reserve(text.size());
    for (char16_t c : text) {
        if (c != u'\r')
            line += c;
    }
    OutputDebugStringW(line.c_str());
    OutputDebugStringW(u"\n");

    SYSTEMTIME now;
    GetLocalTime(&now);
    std::fprintf(file, "%.4d-%.2d-%.2d %.2d:%.2d:%.2d.%.3d %5u   %s\n", now.wYear, now.wMonth, now.wDay, now.wHour,
                 now.wMinute, now.wSecond, now.wMilliseconds, GetCurrentThreadId(), platform::toUtf8(line).c_str());
    std::fflush(file);
}

void TraceClose()
{
    FILE *file = traceFile.load();
    if (!file)
        return;
    Trace(u"The end of the trace file.");
    // Off from here on: a trace from a late exit handler must find no
    // closed stream.
    traceFile.store(nullptr);
    std::fclose(file);
}
