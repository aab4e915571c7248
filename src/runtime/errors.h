// Failure handling: the HRESULT throw, structured exceptions turned into
// C++ values, the fatal-exception report, COM error texts and the guarded
// disconnect of an object whose pointer may be stale.
#pragma once

#include <cstdarg>
#include <string>

#include "platform/automation.h"

// The thrown type: one HRESULT. Nothing catches it by type; the blocks that
// catch anything catch everything.
struct CAtlException {
    HRESULT m_hr;
    operator HRESULT() const { return m_hr; }
};

[[noreturn]] void ThrowHResult(HRESULT hr);
// A positive system error becomes 0x8007xxxx; 0 and negative values stay.
HRESULT HResultFromSystemError(LONG error);

namespace vrOpenAppHook {

// A structured exception as a plain value, thrown by value.
struct SEH_Exception {
    uint32_t code;
    EXCEPTION_RECORD record;
};

} // namespace vrOpenAppHook

// The per-thread translator that turns a fault into a thrown value, and
// the C runtime's call that installs it. The value 1 is a sentinel that
// installs nothing.
typedef void (*SeTranslatorFunction)(unsigned int code, EXCEPTION_RECORD *record);
SeTranslatorFunction _set_se_translator(SeTranslatorFunction translator);

// Runs function(argument) so that a fault inside it reaches the calling
// thread's translator, outside the signal context; without a translator the
// fault is swallowed and false returned. C++ exceptions pass through.
bool RunWithTranslator(void (*function)(void *), void *argument);

// Installs the translator that throws SEH_Exception for this thread, and
// puts the previous one back at scope end.
class SehTranslatorScope
{
public:
    SehTranslatorScope();
    ~SehTranslatorScope();
    SehTranslatorScope(const SehTranslatorScope &) = delete;
    SehTranslatorScope &operator=(const SehTranslatorScope &) = delete;

    bool installed = false;
    SeTranslatorFunction previous = nullptr;
};

// Writes the fatal text for the exception to the event log, on the thread
// of the exception.
void ReportFatalException(SehTranslatorScope &scope, const OLECHAR *operationName,
                          const vrOpenAppHook::SEH_Exception &exception);

// One event-log entry under the source "Verdaquil"; the text is made from a
// wide format. The thin entries fix the type.
void WriteEventLogV(WORD type, const OLECHAR *format, va_list arguments);
void WriteEventLog(WORD type, const OLECHAR *format, ...);
void WriteEventLogInfo(const OLECHAR *format, ...);
void WriteEventLogWarning(const OLECHAR *format, ...);
void WriteEventLogError(const OLECHAR *format, ...);

// New BSTRs, owned by the caller; never empty.
BSTR GetComErrorText(HRESULT hr, const EXCEPINFO *excepInfo = nullptr);
BSTR GetErrorMessage(HRESULT hr, const EXCEPINFO *excepInfo = nullptr);

bool IsValidInterfacePointer(const void *pointer);
HRESULT SafeCoDisconnectObject(IUnknown *object);

// The fatal text's message for an exception code (internal, shared with tests).
std::u16string FatalExceptionMessage(const EXCEPTION_RECORD &record);
