// Debug output: text for an attached debugger (OutputDebugString).
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/system.h"
#include "platform/utf.h"

namespace {

void writeAll(int descriptor, const char *text, size_t length)
{
    while (length > 0) {
        const ssize_t written = write(descriptor, text, length);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        text += written;
        length -= size_t(written);
    }
}

// VRQT_DEBUG_OUTPUT_FILE, when set, receives all debug output whether or not
// a debugger is attached, so that tests and tools can read what was written.
void emitDebugText(const char *text)
{
    const size_t length = std::strlen(text);
    if (length == 0)
        return;
    const char *hookFile = std::getenv("VRQT_DEBUG_OUTPUT_FILE");
    if (hookFile && *hookFile) {
        const int descriptor = open(hookFile, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        if (descriptor >= 0) {
            writeAll(descriptor, text, length);
            close(descriptor);
        }
        return;
    }
    if (IsDebuggerPresent())
        writeAll(STDERR_FILENO, text, length);
}

} // namespace

/// OutputDebugStringW: sends text to the attached debugger; NULL is ignored.
/// Differs from Windows: the "debugger" is standard error, written (in UTF-8,
/// as given, no line end added) only while a tracer is attached; with no
/// tracer the text goes nowhere, as on Windows without a debugger or viewer.
/// VRQT_DEBUG_OUTPUT_FILE names a file that receives the text instead.
PLATFORM_API void OutputDebugStringW(LPCWSTR text)
{
    if (text)
        emitDebugText(platform::toUtf8(text).c_str());
}

/// OutputDebugStringA: OutputDebugStringW for UTF-8 text.
PLATFORM_API void OutputDebugStringA(LPCSTR text)
{
    if (text)
        emitDebugText(text);
}
