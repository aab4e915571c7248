// System message texts (FormatMessageW) and the local heap (LocalAlloc and
// its family) that FORMAT_MESSAGE_ALLOCATE_BUFFER hands its text in.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/combase.h"
#include "platform/system.h"
#include "platform/utf.h"

namespace {

struct SystemMessage {
    DWORD code;
    const char16_t *text;
};

// The English texts of the Windows system message table (Windows 10 and
// later), each with the "\r\n" the message compiler puts at its end. The
// 0x8007xxxx forms of Win32 errors are not listed: they share their text.
constexpr SystemMessage systemMessages[] = {
    { ERROR_SUCCESS, u"The operation completed successfully.\r\n" },
    { ERROR_INVALID_FUNCTION, u"Incorrect function.\r\n" },
    { ERROR_FILE_NOT_FOUND, u"The system cannot find the file specified.\r\n" },
    { ERROR_PATH_NOT_FOUND, u"The system cannot find the path specified.\r\n" },
    { ERROR_ACCESS_DENIED, u"Access is denied.\r\n" },
    { ERROR_INVALID_HANDLE, u"The handle is invalid.\r\n" },
    { ERROR_NOT_ENOUGH_MEMORY, u"Not enough memory resources are available to process this command.\r\n" },
    { ERROR_BAD_FORMAT, u"An attempt was made to load a program with an incorrect format.\r\n" },
    { ERROR_INVALID_DATA, u"The data is invalid.\r\n" },
    { ERROR_OUTOFMEMORY, u"Not enough memory resources are available to complete this operation.\r\n" },
    { ERROR_WRITE_PROTECT, u"The media is write protected.\r\n" },
    { ERROR_NOT_SUPPORTED, u"The request is not supported.\r\n" },
    { ERROR_FILE_EXISTS, u"The file exists.\r\n" },
    { ERROR_INVALID_PARAMETER, u"The parameter is incorrect.\r\n" },
    { ERROR_BUFFER_OVERFLOW, u"The file name is too long.\r\n" },
    { ERROR_DISK_FULL, u"There is not enough space on the disk.\r\n" },
    { ERROR_INSUFFICIENT_BUFFER, u"The data area passed to a system call is too small.\r\n" },
    { ERROR_INVALID_NAME, u"The filename, directory name, or volume label syntax is incorrect.\r\n" },
    { ERROR_MOD_NOT_FOUND, u"The specified module could not be found.\r\n" },
    { ERROR_PROC_NOT_FOUND, u"The specified procedure could not be found.\r\n" },
    { ERROR_NOT_LOCKED, u"The segment is already unlocked.\r\n" },
    { ERROR_ALREADY_EXISTS, u"Cannot create a file when that file already exists.\r\n" },
    { ERROR_ENVVAR_NOT_FOUND, u"The system could not find the environment option that was entered.\r\n" },
    { ERROR_FILENAME_EXCED_RANGE, u"The filename or extension is too long.\r\n" },
    { ERROR_MORE_DATA, u"More data is available.\r\n" },
    { ERROR_NO_WORK_DONE, u"The action requested resulted in no work being done. Error-style clean-up has been performed.\r\n" },
    { ERROR_NO_MORE_ITEMS, u"No more data is available.\r\n" },
    { ERROR_MR_MID_NOT_FOUND, u"The system cannot find message text for message number 0x%1 in the message file for %2.\r\n" },
    { ERROR_NOACCESS, u"Invalid access to memory location.\r\n" },
    { ERROR_DLL_INIT_FAILED, u"A dynamic link library (DLL) initialization routine failed.\r\n" },
    { ERROR_TIMEOUT, u"This operation returned because the timeout period expired.\r\n" },
    { ERROR_RESOURCE_TYPE_NOT_FOUND, u"The specified resource type cannot be found in the image file.\r\n" },
    { ERROR_RESOURCE_LANG_NOT_FOUND, u"The specified resource language ID cannot be found in the image file.\r\n" },

    { 0x8000FFFF, u"Catastrophic failure\r\n" },
    { 0x80004001, u"Not implemented\r\n" },
    { 0x80004002, u"No such interface supported\r\n" },
    { 0x80004003, u"Invalid pointer\r\n" },
    { 0x80004004, u"Operation aborted\r\n" },
    { 0x80004005, u"Unspecified error\r\n" },
    { DWORD(CO_E_NOT_SUPPORTED), u"The operation attempted is not supported.\r\n" },
    { 0x80010106, u"Cannot change thread mode after it is set.\r\n" },
    { 0x80010108, u"The object invoked has disconnected from its clients.\r\n" },
    { 0x8001010E, u"The application called an interface that was marshalled for a different thread.\r\n" },
    { 0x80010115, u"OLE has sent a request and is waiting for a reply.\r\n" },
    { 0x80020001, u"Unknown interface.\r\n" },
    { 0x80020003, u"Member not found.\r\n" },
    { 0x80020004, u"Parameter not found.\r\n" },
    { 0x80020005, u"Type mismatch.\r\n" },
    { 0x80020006, u"Unknown name.\r\n" },
    { 0x80020007, u"No named arguments.\r\n" },
    { 0x80020008, u"Bad variable type.\r\n" },
    { 0x80020009, u"Exception occurred.\r\n" },
    { 0x8002000A, u"Out of present range.\r\n" },
    { 0x8002000B, u"Invalid index.\r\n" },
    { 0x8002000C, u"Unknown language.\r\n" },
    { 0x8002000D, u"Memory is locked.\r\n" },
    { 0x8002000E, u"Invalid number of parameters.\r\n" },
    { 0x8002000F, u"Parameter not optional.\r\n" },
    { 0x80020010, u"Invalid callee.\r\n" },
    { 0x80020011, u"Does not support a collection.\r\n" },
    { 0x80020012, u"Division by zero.\r\n" },
    { 0x80020013, u"Buffer too small\r\n" },
    { 0x80028016, u"Buffer too small.\r\n" },
    { 0x80028017, u"Field name not defined in the record.\r\n" },
    { 0x80028018, u"Old format or invalid type library.\r\n" },
    { 0x80028019, u"Old format or invalid type library.\r\n" },
    { 0x8002801C, u"Error accessing the OLE registry.\r\n" },
    { 0x8002801D, u"Library not registered.\r\n" },
    { 0x80028027, u"Bound to unknown type.\r\n" },
    { 0x80028028, u"Qualified name disallowed.\r\n" },
    { 0x80028029, u"Invalid forward reference, or reference to uncompiled type.\r\n" },
    { 0x8002802A, u"Type mismatch.\r\n" },
    { 0x8002802B, u"Element not found.\r\n" },
    { 0x8002802C, u"Ambiguous name.\r\n" },
    { 0x8002802D, u"Name already exists in the library.\r\n" },
    { 0x8002802E, u"Unknown LCID.\r\n" },
    { 0x8002802F, u"Function not defined in specified DLL.\r\n" },
    { 0x800288BD, u"Wrong module kind for the operation.\r\n" },
    { 0x800288C5, u"Size may not exceed 64K.\r\n" },
    { 0x800288C6, u"Duplicate ID in inheritance hierarchy.\r\n" },
    { 0x800288CF, u"Incorrect inheritance depth in standard OLE hmember.\r\n" },
    { 0x80028CA0, u"Type mismatch.\r\n" },
    { 0x80028CA1, u"Invalid number of arguments.\r\n" },
    { 0x80028CA2, u"I/O Error.\r\n" },
    { 0x80028CA3, u"Error creating unique tmp file.\r\n" },
    { 0x80029C4A, u"Error loading type library/DLL.\r\n" },
    { 0x80029C83, u"Inconsistent property functions.\r\n" },
    { 0x80029C84, u"Circular dependency between types/modules.\r\n" },
    { 0x8003001E, u"A disk error occurred during a read operation.\r\n" },
    { 0x80040110, u"Class does not support aggregation (or class object is remote)\r\n" },
    { 0x80040111, u"ClassFactory cannot supply requested class\r\n" },
    { 0x80040154, u"Class not registered\r\n" },
    { 0x800401F0, u"CoInitialize has not been called.\r\n" },
    { 0x800401F3, u"Invalid class string\r\n" },
    { 0x800401FD, u"Object is not connected to server\r\n" },
};

const char16_t *systemMessageText(DWORD code)
{
    // A Win32 error wrapped as an HRESULT reads as the error itself.
    if ((code & 0xFFFF0000u) == 0x80070000u)
        code &= 0xFFFFu;
    const auto found = std::find_if(std::begin(systemMessages), std::end(systemMessages),
                                    [code](const SystemMessage &message) { return message.code == code; });
    return found == std::end(systemMessages) ? nullptr : found->text;
}

// Only English texts exist: the neutral and default languages select them.
bool isServedLanguage(DWORD languageId)
{
    const WORD primary = WORD(languageId & 0x3FF);
    return languageId <= 0xFFFF && (primary == LANG_NEUTRAL || primary == LANG_ENGLISH);
}

// The arguments of the %1..%99 inserts: a va_list read in order as pointer-
// sized slots (as Windows reads it), or an array of them.
class InsertArguments {
public:
    InsertArguments(va_list *list, bool isArray) : m_list(list), m_isArray(isArray) {}

    bool get(unsigned number, ULONG_PTR &value)
    {
        if (!m_list || number == 0)
            return false;
        if (m_isArray) {
            value = reinterpret_cast<const ULONG_PTR *>(m_list)[number - 1];
            return true;
        }
        while (m_read.size() < number)
            m_read.push_back(va_arg(*m_list, ULONG_PTR));
        value = m_read[number - 1];
        return true;
    }

private:
    va_list *m_list;
    bool m_isArray;
    std::vector<ULONG_PTR> m_read;
};

struct InsertFormat {
    std::string flags;
    int width = -1;
    int precision = -1;
    enum { Default, Half, Long, Wide64, Narrow, WideChars } size = Default;
    char type = 's';
};

// Parses "!flags width .precision size type!" after an insert number.
bool parseInsertFormat(const char16_t *&cursor, InsertFormat &format)
{
    ++cursor; // the opening '!'
    while (*cursor && std::strchr("-+ #0", char(*cursor)))
        format.flags += char(*cursor++);
    auto readNumber = [&cursor]() {
        int value = 0;
        while (*cursor >= u'0' && *cursor <= u'9')
            value = value * 10 + (*cursor++ - u'0');
        return value;
    };
    if (*cursor >= u'0' && *cursor <= u'9')
        format.width = readNumber();
    if (*cursor == u'.') {
        ++cursor;
        format.precision = readNumber();
    }
    struct SizePrefix {
        const char16_t *text;
        decltype(format.size) size;
    };
    static constexpr SizePrefix prefixes[] = { { u"I64", InsertFormat::Wide64 }, { u"I32", InsertFormat::Long },
                                               { u"ll", InsertFormat::Wide64 }, { u"I", InsertFormat::Wide64 },
                                               { u"h", InsertFormat::Half },     { u"l", InsertFormat::Long },
                                               { u"w", InsertFormat::WideChars } };
    for (const SizePrefix &prefix : prefixes) {
        const size_t length = std::char_traits<char16_t>::length(prefix.text);
        if (std::char_traits<char16_t>::compare(cursor, prefix.text, length) == 0) {
            format.size = prefix.size;
            cursor += length;
            break;
        }
    }
    if (!*cursor || !std::strchr("sScCdiuxXo", char(*cursor)) || *cursor > 0x7F)
        return false; // '*' widths and floating point are not served
    format.type = char(*cursor++);
    return *cursor++ == u'!';
}

void appendPadded(std::u16string &out, std::u16string text, const InsertFormat &format)
{
    if (format.precision >= 0 && text.size() > size_t(format.precision))
        text.resize(size_t(format.precision));
    const size_t padding = format.width > int(text.size()) ? size_t(format.width) - text.size() : 0;
    const bool left = format.flags.find('-') != std::string::npos;
    if (!left)
        out.append(padding, u' ');
    out += text;
    if (left)
        out.append(padding, u' ');
}

void appendInsert(std::u16string &out, ULONG_PTR value, const InsertFormat &format)
{
    // In the wide function %s and %c are wide, %S and %C narrow; 'h' asks
    // for narrow and 'l' or 'w' for wide whatever the letter's case.
    const bool narrow = format.size == InsertFormat::Half
        || ((format.type == 'S' || format.type == 'C') && format.size == InsertFormat::Default);
    if (format.type == 's' || format.type == 'S') {
        const void *pointer = reinterpret_cast<const void *>(value);
        if (!pointer)
            return appendPadded(out, u"(null)", format);
        return appendPadded(out, narrow ? platform::toUtf16(static_cast<const char *>(pointer))
                                        : std::u16string(static_cast<const char16_t *>(pointer)), format);
    }
    if (format.type == 'c' || format.type == 'C')
        return appendPadded(out, std::u16string(1, narrow ? char16_t(uint8_t(value)) : char16_t(value)), format);
    const bool isSigned = format.type == 'd' || format.type == 'i';
    long long number = 0;
    switch (format.size) {
    case InsertFormat::Half:
        number = isSigned ? (long long)int16_t(value) : (long long)uint16_t(value);
        break;
    case InsertFormat::Wide64:
        number = (long long)value;
        break;
    default:
        number = isSigned ? (long long)int32_t(value) : (long long)uint32_t(value);
        break;
    }
    std::string spec = "%" + format.flags;
    if (format.width >= 0)
        spec += std::to_string(format.width);
    if (format.precision >= 0)
        spec += "." + std::to_string(format.precision);
    spec += "ll";
    spec += format.type == 'i' ? 'd' : format.type;
    char digits[96];
    std::snprintf(digits, sizeof(digits), spec.c_str(), number);
    out += platform::toUtf16(digits);
}

// Expands escapes and inserts of a message. Returns an error number, or 0.
DWORD expandMessage(const char16_t *text, DWORD flags, InsertArguments &arguments, std::u16string &out)
{
    const bool ignoreInserts = flags & FORMAT_MESSAGE_IGNORE_INSERTS;
    // A line width of 0xFF turns the text's own line breaks into spaces.
    const bool flattenLines = (flags & 0xFF) == 0xFF;
    for (const char16_t *cursor = text; *cursor;) {
        const char16_t c = *cursor++;
        if (c == u'\r' || c == u'\n') {
            if (c == u'\r' && *cursor == u'\n')
                ++cursor;
            out += flattenLines ? u" " : u"\r\n";
            continue;
        }
        if (c != u'%') {
            out += c;
            continue;
        }
        const char16_t escape = *cursor;
        if (escape == u'\0')
            return ERROR_INVALID_PARAMETER;
        if (escape >= u'1' && escape <= u'9') {
            if (ignoreInserts) {
                out += u'%';
                continue; // the digits follow as plain text
            }
            unsigned number = unsigned(*cursor++ - u'0');
            if (*cursor >= u'0' && *cursor <= u'9')
                number = number * 10 + unsigned(*cursor++ - u'0');
            InsertFormat format;
            if (*cursor == u'!' && !parseInsertFormat(cursor, format))
                return ERROR_INVALID_PARAMETER;
            ULONG_PTR value = 0;
            if (!arguments.get(number, value))
                return ERROR_INVALID_PARAMETER;
            appendInsert(out, value, format);
            continue;
        }
        ++cursor;
        if (escape == u'0')
            break;
        if (escape == u'n')
            out += u"\r\n";
        else if (escape == u'r')
            out += u'\r';
        else if (escape == u't')
            out += u'\t';
        else if (ignoreInserts)
            out += std::u16string{ u'%', escape };
        else
            out += escape; // "%%", "%.", "%!", "% " stand for the character
    }
    return 0;
}

// Every live block of the local heap, so that bad handles are answered, not crashed on.
std::mutex localHeapLock;
std::unordered_set<void *> localBlocks;

// Takes localHeapLock.
bool isLocalBlock(HLOCAL memory)
{
    std::lock_guard<std::mutex> guard(localHeapLock);
    return localBlocks.count(memory) != 0;
}

} // namespace

/// FormatMessageW: formats a message from the system message table or a string.
///   flags      [in]  FORMAT_MESSAGE_FROM_SYSTEM, _FROM_STRING or _FROM_HMODULE,
///                    with _ALLOCATE_BUFFER, _IGNORE_INSERTS, _ARGUMENT_ARRAY and
///                    a line width in the low byte (0xFF: line breaks become spaces).
///   source     [in]  the format string for FROM_STRING; a module otherwise.
///   messageId  [in]  the HRESULT or Win32 error number for FROM_SYSTEM.
///   languageId [in]  0, neutral or English.
///   buffer     [out] the text; with ALLOCATE_BUFFER an LPWSTR* that receives
///                    a LocalAlloc block to be freed with LocalFree.
///   size       [in]  capacity of buffer in characters, or with ALLOCATE_BUFFER
///                    the least number of characters to allocate.
///   arguments  [in]  the inserts' values: a va_list*, or with ARGUMENT_ARRAY an
///                    array of pointer-sized values.
/// Returns the characters stored without the NUL, or 0 with the last error:
/// ERROR_MR_MID_NOT_FOUND for an unknown code, ERROR_RESOURCE_LANG_NOT_FOUND
/// for another language, ERROR_INSUFFICIENT_BUFFER, ERROR_NO_WORK_DONE for an
/// empty result, ERROR_INVALID_PARAMETER for bad flags, a bad '%' sequence or
/// an insert without arguments, ERROR_RESOURCE_TYPE_NOT_FOUND when only a
/// module is searched, ERROR_NOT_ENOUGH_MEMORY.
/// Differs from Windows: modules carry no message tables; line widths 1-254
/// do not wrap lines; inserts take no '*' width or precision and no floating
/// point; narrow strings in inserts are read as UTF-8.
PLATFORM_API DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPWSTR buffer,
                                  DWORD size, va_list *arguments)
{
    const DWORD origin = flags & (FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_FROM_HMODULE);
    const bool fromString = origin == FORMAT_MESSAGE_FROM_STRING;
    if (!buffer || origin == 0 || ((origin & FORMAT_MESSAGE_FROM_STRING) && !fromString)
        || (fromString && !source)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const char16_t *text = static_cast<const char16_t *>(source);
    if (!fromString) {
        if (!(origin & FORMAT_MESSAGE_FROM_SYSTEM)) {
            SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
            return 0;
        }
        if (!isServedLanguage(languageId)) {
            SetLastError(ERROR_RESOURCE_LANG_NOT_FOUND);
            return 0;
        }
        text = systemMessageText(messageId);
        if (!text) {
            SetLastError(ERROR_MR_MID_NOT_FOUND);
            return 0;
        }
    }
    InsertArguments insertArguments(arguments, flags & FORMAT_MESSAGE_ARGUMENT_ARRAY);
    std::u16string message;
    if (const DWORD error = expandMessage(text, flags, insertArguments, message)) {
        SetLastError(error);
        return 0;
    }
    if (message.empty()) {
        if (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER)
            *reinterpret_cast<LPWSTR *>(buffer) = nullptr; // a block the caller would not free
        else if (size > 0)
            buffer[0] = u'\0';
        SetLastError(ERROR_NO_WORK_DONE);
        return 0;
    }
    LPWSTR target = buffer;
    if (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) {
        const SIZE_T characters = std::max<SIZE_T>(size, message.size() + 1);
        target = static_cast<LPWSTR>(LocalAlloc(LMEM_FIXED, characters * sizeof(WCHAR)));
        if (!target) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return 0;
        }
        *reinterpret_cast<LPWSTR *>(buffer) = target;
    } else if (message.size() + 1 > size) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    message.copy(target, message.size());
    target[message.size()] = u'\0';
    return DWORD(message.size());
}

/// LocalAlloc: allocates a block of the local heap.
///   flags [in]  LMEM_FIXED or LMEM_MOVEABLE, with LMEM_ZEROINIT to zero it (LPTR).
///   bytes [in]  size; 0 gives a valid block.
/// Returns the block, or NULL with ERROR_INVALID_PARAMETER for unknown flags
/// or ERROR_NOT_ENOUGH_MEMORY.
/// Differs from Windows: every block is fixed; a moveable block's handle is
/// its address, which LocalLock hands back, so lock/unlock code works as is.
/// Takes localHeapLock.
PLATFORM_API HLOCAL LocalAlloc(UINT flags, SIZE_T bytes)
{
    constexpr UINT validFlags = 0x0F72; // LMEM_VALID_FLAGS
    if (flags & ~validFlags) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    void *block = (flags & LMEM_ZEROINIT) ? std::calloc(1, bytes ? bytes : 1) : std::malloc(bytes ? bytes : 1);
    if (!block) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    std::lock_guard<std::mutex> guard(localHeapLock);
    localBlocks.insert(block);
    return block;
}

/// LocalLock: the address of a local block (the block itself, all being fixed).
/// Returns NULL with ERROR_INVALID_HANDLE for anything LocalAlloc did not give.
PLATFORM_API LPVOID LocalLock(HLOCAL memory)
{
    if (!isLocalBlock(memory)) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return memory;
}

/// LocalUnlock: releases a lock on a local block. A fixed block has no lock
/// count, so like Windows this returns FALSE with ERROR_NOT_LOCKED; anything
/// LocalAlloc did not give gets FALSE with ERROR_INVALID_HANDLE.
PLATFORM_API BOOL LocalUnlock(HLOCAL memory)
{
    SetLastError(isLocalBlock(memory) ? ERROR_NOT_LOCKED : ERROR_INVALID_HANDLE);
    return FALSE;
}

/// LocalFree: frees a local block; NULL is ignored.
/// Returns NULL on success; the handle itself with ERROR_INVALID_HANDLE when
/// LocalAlloc did not give it (or it was freed already). Takes localHeapLock.
PLATFORM_API HLOCAL LocalFree(HLOCAL memory)
{
    if (!memory)
        return nullptr;
    {
        std::lock_guard<std::mutex> guard(localHeapLock);
        if (localBlocks.erase(memory) == 0) {
            SetLastError(ERROR_INVALID_HANDLE);
            return memory;
        }
    }
    std::free(memory);
    return nullptr;
}
