#include "runtime/errors.h"

#include <exception>

#include "runtime/format.h"
#include "runtime/trace.h"

namespace {

const SeTranslatorFunction translatorSentinel = reinterpret_cast<SeTranslatorFunction>(1);
thread_local SeTranslatorFunction threadTranslator = nullptr;

void throwSehException(unsigned int code, EXCEPTION_RECORD *record)
{
    vrOpenAppHook::SEH_Exception exception{ code, *record };
    throw exception;
}

std::u16string strippedModuleName(HMODULE module)
{
    OLECHAR path[MAX_PATH + 1] = {};
    if (!GetModuleFileNameW(module, path, MAX_PATH + 1))
        return {};
    std::u16string_view view(path);
    const size_t slash = view.find_last_of(u"/\\");
    return std::u16string(slash == std::u16string_view::npos ? view : view.substr(slash + 1));
}

// The narrow messages are handed as they are to a wide format, so their
// bytes read two at a time as UTF-16 units, cut at the first zero unit.
// Deliberate: that is how the report has always looked. The literal is
// padded with zeros so that an odd length does not read past it.
std::u16string narrowReadAsWide(const char *text)
{
    std::u16string out;
    for (size_t i = 0;; i += 2) {
        const unsigned char low = static_cast<unsigned char>(text[i]);
        const unsigned char high = low ? static_cast<unsigned char>(text[i + 1]) : 0;
        const char16_t unit = char16_t(low | (high << 8));
        if (!unit)
            break;
        out += unit;
        if (!high)
            break;
    }
    return out;
}

struct FatalMessage {
    DWORD code;
    const char *text;
};

constexpr FatalMessage fatalMessages[] = {
    { EXCEPTION_DATATYPE_MISALIGNMENT, "Datatype misalignment" },
    { 0xC000008C, "Array bounds exceeded" },
    { EXCEPTION_FLT_DENORMAL_OPERAND, "Floating-point denormal operand" },
    { EXCEPTION_FLT_DIVIDE_BY_ZERO, "Floating-point division by zero" },
    { EXCEPTION_FLT_INEXACT_RESULT, "Floating-point inexact result" },
    { EXCEPTION_FLT_INVALID_OPERATION, "Floating-point invalid operation" },
    { EXCEPTION_FLT_OVERFLOW, "Floating-point overflow" },
    { 0xC0000092, "Floating-point stack check" },
    { EXCEPTION_FLT_UNDERFLOW, "Floating-point underflow" },
    { EXCEPTION_INT_DIVIDE_BY_ZERO, "Integer division by zero" },
    { EXCEPTION_INT_OVERFLOW, "Integer overflow" },
    { EXCEPTION_PRIV_INSTRUCTION, "Privileged instruction" },
    { EXCEPTION_IN_PAGE_ERROR, "In page error" },
    { EXCEPTION_ILLEGAL_INSTRUCTION, "Illegal instruction" },
    { 0xC0000025, "Windows cannot continue from this exception" },
    { 0xC0000026, "An invalid exception disposition was returned by an exception handler" },
};

struct TranslatedCall {
    void (*function)(void *);
    void *argument;
    std::exception_ptr error;
};

} // namespace

[[noreturn]] void ThrowHResult(HRESULT hr)
{
    throw CAtlException{ hr };
}

HRESULT HResultFromSystemError(LONG error)
{
    return error > 0 ? HRESULT(0x80070000u | (uint32_t(error) & 0xFFFFu)) : HRESULT(error);
}

SeTranslatorFunction _set_se_translator(SeTranslatorFunction translator)
{
    if (translator == translatorSentinel)
        return translatorSentinel;
    SeTranslatorFunction previous = threadTranslator;
    threadTranslator = translator;
    return previous;
}

bool RunWithTranslator(void (*function)(void *), void *argument)
{
    TranslatedCall call{ function, argument, nullptr };
    EXCEPTION_RECORD record{};
    const bool completed = CallWithFaultGuard(
        [](void *context) {
            auto *call = static_cast<TranslatedCall *>(context);
            try {
                if (call->function)
                    call->function(call->argument);
            } catch (...) {
                call->error = std::current_exception();
            }
        },
        &call, &record);
    if (call.error)
        std::rethrow_exception(call.error);
    if (!completed && threadTranslator && threadTranslator != translatorSentinel)
        threadTranslator(record.ExceptionCode, &record);
    return completed;
}

SehTranslatorScope::SehTranslatorScope()
{
    installed = true;
    previous = _set_se_translator(throwSehException);
}

SehTranslatorScope::~SehTranslatorScope()
{
    if (!installed)
        return;
    installed = false;
    if (previous != translatorSentinel)
        _set_se_translator(previous);
}

std::u16string FatalExceptionMessage(const EXCEPTION_RECORD &record)
{
    if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION) {
        return FormatWide(u"Access violation %s location 0x%08x",
                          record.ExceptionInformation[0] ? u"writing" : u"reading",
                          unsigned(record.ExceptionInformation[1]));
    }
    for (const FatalMessage &message : fatalMessages) {
        if (message.code == record.ExceptionCode)
            return narrowReadAsWide(message.text);
    }
    return narrowReadAsWide("Unknown exception");
}

void ReportFatalException(SehTranslatorScope &scope, const OLECHAR *operationName,
                          const vrOpenAppHook::SEH_Exception &exception)
{
    // The report runs under the caller's own translator.
    SeTranslatorFunction restore = translatorSentinel;
    if (scope.installed) {
        restore = scope.previous;
        scope.installed = false;
    }
    if (restore != translatorSentinel)
        _set_se_translator(restore);

    const EXCEPTION_RECORD record = exception.record;
    std::u16string moduleText;
    MEMORY_BASIC_INFORMATION region{};
    if (VirtualQuery(record.ExceptionAddress, &region, sizeof region) == sizeof region && region.Type == MEM_IMAGE)
        moduleText = strippedModuleName(static_cast<HMODULE>(region.AllocationBase));
    const std::u16string processText = strippedModuleName(nullptr);

    const std::u16string format = FormatWide(
        u"Fatal error occurred in the \"%s\" operation. First-chance exception at 0x%08x (%s) in %s: 0x%08X: %%s",
        operationName ? operationName : u"", unsigned(uintptr_t(record.ExceptionAddress)),
        moduleText.empty() ? u"<unknown>" : moduleText.c_str(),
        processText.empty() ? u"<unknown>" : processText.c_str(), unsigned(exception.code));
    WriteEventLog(EVENTLOG_ERROR_TYPE, format.c_str(), FatalExceptionMessage(record).c_str());
}

void WriteEventLogV(WORD type, const OLECHAR *format, va_list arguments)
{
    HANDLE source = RegisterEventSourceW(nullptr, u"Verdaquil");
    if (!source)
        return;
    if (!format) {
        DeregisterEventSource(source);
        ThrowHResult(E_INVALIDARG);
    }
    const std::u16string text = FormatWideV(format, arguments);
    LPCWSTR strings[] = { text.c_str() };
    ReportEventW(source, type, 0, 0, nullptr, 1, 0, strings, nullptr);
    DeregisterEventSource(source);
}

#define VRQT_EVENT_LOG_ENTRY(name, type)                 \
    void name(const OLECHAR *format, ...)                \
    {                                                    \
        va_list arguments;                               \
        va_start(arguments, format);                     \
        WriteEventLogV(type, format, arguments);         \
        va_end(arguments);                               \
    }

VRQT_EVENT_LOG_ENTRY(WriteEventLogInfo, EVENTLOG_INFORMATION_TYPE)
VRQT_EVENT_LOG_ENTRY(WriteEventLogWarning, EVENTLOG_WARNING_TYPE)
VRQT_EVENT_LOG_ENTRY(WriteEventLogError, EVENTLOG_ERROR_TYPE)

void WriteEventLog(WORD type, const OLECHAR *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    WriteEventLogV(type, format, arguments);
    va_end(arguments);
}

BSTR GetComErrorText(HRESULT hr, const EXCEPINFO *excepInfo)
{
    BSTR text = nullptr;
    if (hr == DISP_E_EXCEPTION && excepInfo && excepInfo->bstrDescription)
        text = SysAllocString(excepInfo->bstrDescription);
    if (!SysStringLen(text)) {
        SysFreeString(text);
        text = nullptr;
        LPWSTR buffer = nullptr;
        if (FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, DWORD(hr), 0,
                           reinterpret_cast<LPWSTR>(&buffer), 0, nullptr)) {
            text = SysAllocString(static_cast<LPCWSTR>(LocalLock(buffer)));
            LocalUnlock(buffer);
            LocalFree(buffer);
            if (!text)
                ThrowHResult(E_OUTOFMEMORY);
        }
    }
    if (!SysStringLen(text)) {
        SysFreeString(text);
        text = SysAllocString(FormatWide(u"0x%x", unsigned(hr)).c_str());
        if (!text)
            ThrowHResult(E_OUTOFMEMORY);
    }
    return text;
}

BSTR GetErrorMessage(HRESULT hr, const EXCEPINFO *excepInfo)
{
    BSTR message = SysAllocString(u"Error: ");
    if (!message)
        ThrowHResult(E_OUTOFMEMORY);
    BSTR text = GetComErrorText(hr, excepInfo);
    if (SysStringLen(text)) {
        BSTR joined = nullptr;
        const HRESULT joinResult = VarBstrCat(message, text, &joined);
        SysFreeString(text);
        SysFreeString(message);
        if (FAILED(joinResult))
            ThrowHResult(joinResult);
        return joined;
    }
    SysFreeString(text);
    return message;
}

bool IsValidInterfacePointer(const void *pointer)
{
    bool valid = false;
    // A pointer to an interface is word-aligned, and so is its table.
    const auto aligned = [](const void *address) { return uintptr_t(address) % alignof(void *) == 0; };
    RunGuarded([&] {
        if (!aligned(pointer) || IsBadReadPtr(pointer, 8))
            return;
        const void *const *table = *static_cast<const void *const *const *>(pointer);
        if (!table || !aligned(table) || IsBadReadPtr(table, 24))
            return;
        for (int slot = 0; slot < 3; ++slot) {
            if (IsBadCodePtr(reinterpret_cast<FARPROC>(const_cast<void *>(table[slot]))))
                return;
        }
        valid = true;
    });
    return valid;
}

HRESULT SafeCoDisconnectObject(IUnknown *object)
{
    HRESULT hr = E_FAIL;
    const bool completed = RunGuarded([&] {
        hr = IsValidInterfacePointer(object) ? CoDisconnectObject(object, 0) : E_POINTER;
    });
    if (!completed) {
        Trace(u"Exception in SafeCoDisconnectObject, pUnk = 0x%p", object);
        return E_FAIL;
    }
    return hr;
}
