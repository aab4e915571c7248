// Event log: entries for the system's log (RegisterEventSource, ReportEvent).
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <string>
#include <unordered_set>

#include "platform/system.h"
#include "platform/utf.h"

namespace {

struct EventSource {
    std::string name; // UTF-8, the syslog ident
};

struct EventType {
    WORD type;
    int priority;
    const char *name; // as written to VRQT_EVENTLOG_FILE
};

constexpr WORD auditSuccessType = 0x0008;
constexpr WORD auditFailureType = 0x0010;

constexpr EventType eventTypes[] = {
    { EVENTLOG_SUCCESS, LOG_INFO, "success" },
    { EVENTLOG_ERROR_TYPE, LOG_ERR, "error" },
    { EVENTLOG_WARNING_TYPE, LOG_WARNING, "warning" },
    { EVENTLOG_INFORMATION_TYPE, LOG_INFO, "information" },
    { auditSuccessType, LOG_NOTICE, "audit-success" },
    { auditFailureType, LOG_WARNING, "audit-failure" },
};

// Guards the set of sources, and openlog/syslog/closelog as one step (the
// syslog ident is process-wide).
std::mutex eventLogLock;
std::unordered_set<EventSource *> eventSources;

// One line per entry in the hook file: backslash, line breaks and tabs escaped.
std::string escapeForLine(const std::string &text)
{
    std::string escaped;
    for (const char c : text) {
        static constexpr const char *escapes[][2] = { { "\\", "\\\\" }, { "\n", "\\n" }, { "\r", "\\r" }, { "\t", "\\t" } };
        const auto found = std::find_if(std::begin(escapes), std::end(escapes),
                                        [c](const char *const *pair) { return pair[0][0] == c; });
        if (found == std::end(escapes))
            escaped += c;
        else
            escaped += (*found)[1];
    }
    return escaped;
}

// Called with eventLogLock held.
void writeEntry(const EventSource &source, const EventType &type, const std::string &text)
{
    const char *hookFile = std::getenv("VRQT_EVENTLOG_FILE");
    if (hookFile && *hookFile) {
        const std::string line = std::string(type.name) + '\t' + escapeForLine(source.name) + '\t'
            + escapeForLine(text) + '\n';
        const int descriptor = open(hookFile, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        if (descriptor >= 0) {
            const ssize_t written = write(descriptor, line.data(), line.size());
            (void)written; // a log that cannot be written loses the entry, as syslog would
            close(descriptor);
        }
        return;
    }
    openlog(source.name.c_str(), LOG_PID, LOG_USER);
    syslog(type.priority, "%s", text.c_str());
    closelog(); // drops the ident, which lives no longer than the source
}

} // namespace

/// RegisterEventSourceW: opens an event source for reporting.
///   serverName [in]  NULL or empty for this machine.
///   sourceName [in]  the source, the syslog ident of its entries (the
///                    system's own is "Verdaquil").
/// Returns a handle for ReportEventW; NULL with ERROR_INVALID_PARAMETER for a
/// null source, or ERROR_NOT_SUPPORTED for another machine. Takes eventLogLock.
/// Differs from Windows: entries go to syslog(3); no remote logs.
PLATFORM_API HANDLE RegisterEventSourceW(LPCWSTR serverName, LPCWSTR sourceName)
{
    if (serverName && *serverName) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    if (!sourceName) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto *source = new EventSource{ platform::toUtf8(sourceName) };
    std::lock_guard<std::mutex> guard(eventLogLock);
    eventSources.insert(source);
    return source;
}

/// ReportEventW: writes an entry to the event log. Takes eventLogLock.
///   eventLog    [in]  a handle from RegisterEventSourceW.
///   type        [in]  EVENTLOG_ERROR_TYPE (syslog LOG_ERR), _WARNING_TYPE
///                     (LOG_WARNING), _INFORMATION_TYPE or EVENTLOG_SUCCESS
///                     (LOG_INFO), audit success (LOG_NOTICE) or failure (LOG_WARNING).
///   category, eventId, userSid, dataSize, rawData [in]  accepted, not logged.
///   stringCount [in]  number of strings.
///   strings     [in]  the texts; each becomes one syslog entry in UTF-8 (an
///                     entry without strings writes one empty entry).
/// Returns TRUE; FALSE with ERROR_INVALID_HANDLE, or ERROR_INVALID_PARAMETER
/// for an unknown type or strings missing.
/// With VRQT_EVENTLOG_FILE set, entries are appended to that file instead,
/// one line each: type, tab, source, tab, text (backslash, CR, LF and tab
/// written as \\, \r, \n, \t).
PLATFORM_API BOOL ReportEventW(HANDLE eventLog, WORD type, WORD category, DWORD eventId, LPVOID userSid,
                               WORD stringCount, DWORD dataSize, LPCWSTR *strings, LPVOID rawData)
{
    (void)category, (void)eventId, (void)userSid, (void)dataSize, (void)rawData;
    auto *source = static_cast<EventSource *>(eventLog);
    // Held throughout, so that a source deregistered meanwhile is not used.
    std::lock_guard<std::mutex> guard(eventLogLock);
    if (eventSources.count(source) == 0) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    const auto eventType = std::find_if(std::begin(eventTypes), std::end(eventTypes),
                                        [type](const EventType &known) { return known.type == type; });
    if (eventType == std::end(eventTypes) || (stringCount && !strings)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (stringCount == 0)
        writeEntry(*source, *eventType, std::string());
    for (WORD i = 0; i < stringCount; ++i)
        writeEntry(*source, *eventType, platform::toUtf8(strings[i]));
    return TRUE;
}

/// DeregisterEventSource: closes an event source handle.
/// Returns TRUE; FALSE with ERROR_INVALID_HANDLE for anything else. Takes eventLogLock.
PLATFORM_API BOOL DeregisterEventSource(HANDLE eventLog)
{
    auto *source = static_cast<EventSource *>(eventLog);
    {
        std::lock_guard<std::mutex> guard(eventLogLock);
        if (eventSources.erase(source) == 0) {
            SetLastError(ERROR_INVALID_HANDLE);
            return FALSE;
        }
    }
    delete source;
    return TRUE;
}
