#include "runtime/dispatch/threadlockscope.h"

#include "runtime/dispatch/windowcontext.h"

namespace {

constexpr size_t kNameBufferLength = 32;
using NameBuffer = char16_t[kNameBufferLength];

char16_t *appendDecimal(char16_t *out, unsigned value)
{
    char16_t digits[10];
    int count = 0;
    do {
        digits[count++] = char16_t(u'0' + value % 10);
        value /= 10;
    } while (value);
    while (count)
        *out++ = digits[--count];
    return out;
}

// "ZKTLE%uP%u" into the buffer, put together by hand: it is made on every
// call carried. At most 26 characters, so it always fits.
const char16_t *formatMarkerName(DWORD threadId, NameBuffer &buffer)
{
    char16_t *out = buffer;
    for (const char16_t *prefix = u"ZKTLE"; *prefix; ++prefix)
        *out++ = *prefix;
    out = appendDecimal(out, unsigned(GetCurrentProcessId()));
    *out++ = u'P';
    out = appendDecimal(out, unsigned(threadId));
    *out = u'\0';
    return buffer;
}

} // namespace

std::u16string ThreadLockMarkerName(DWORD threadId)
{
    NameBuffer buffer;
    return formatMarkerName(threadId, buffer);
}

bool ThreadLockMarkerExists(DWORD threadId)
{
    NameBuffer buffer;
    return IsEventNameInProcess(formatMarkerName(threadId, buffer)) != FALSE;
}

ThreadLockScope::ThreadLockScope()
{
    const DWORD self = GetCurrentThreadId();
    if (ThreadLockMarkerExists(self))
        return;
    madeMarker = WindowContext().AddLockMarker(self);
}

ThreadLockScope::~ThreadLockScope()
{
    if (madeMarker)
        WindowContext().RemoveLockMarker(GetCurrentThreadId());
}
