// System message texts (FormatMessageW) and the local heap.
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

#include "platform/automation.h"

namespace {

constexpr DWORD fromSystem = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
constexpr DWORD errorNotLocked = 158;
constexpr DWORD errorNoWorkDone = 235;
constexpr DWORD errorResourceLangNotFound = 1815;

// The system's text for a code, or "<none: error>" when there is none.
std::u16string systemText(DWORD code, DWORD flags = fromSystem, DWORD language = 0)
{
    char16_t buffer[512];
    SetLastError(0xDEADBEEF);
    const DWORD length = FormatMessageW(flags, nullptr, code, language, buffer, 512, nullptr);
    if (length == 0)
        return u"<none: " + std::u16string(1, char16_t(u'0' + GetLastError() % 10)) + u">";
    EXPECT_EQ(std::u16string(buffer).size(), length);
    return std::u16string(buffer, length);
}

DWORD formatString(DWORD flags, const char16_t *format, char16_t *out, DWORD size, ...)
{
    va_list arguments;
    va_start(arguments, size);
    const DWORD length = FormatMessageW(flags, format, 0, 0, out, size, &arguments);
    va_end(arguments);
    return length;
}

} // namespace

TEST(Messages, TextsAreWindowsEnglishWithTheirLineEnd)
{
    struct Row {
        const char *name;
        DWORD code;
        const char16_t *text;
    } rows[] = {
        { "S_FALSE reads as error 1", S_FALSE, u"Incorrect function.\r\n" },
        { "E_FAIL", DWORD(E_FAIL), u"Unspecified error\r\n" },
        { "HRESULT of ERROR_FILE_NOT_FOUND", DWORD(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)),
          u"The system cannot find the file specified.\r\n" },
        { "ERROR_MR_MID_NOT_FOUND keeps its inserts", ERROR_MR_MID_NOT_FOUND,
          u"The system cannot find message text for message number 0x%1 in the message file for %2.\r\n" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(systemText(row.code), row.text);
    }
}

TEST(Messages, UnknownCodesAndLanguagesFindNothing)
{
    char16_t buffer[64] = {};
    SetLastError(0);
    EXPECT_EQ(FormatMessageW(fromSystem, nullptr, 0x80041234, 0, buffer, 64, nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_MR_MID_NOT_FOUND));
    EXPECT_EQ(FormatMessageW(fromSystem, nullptr, 0x80070000 | 4999, 0, buffer, 64, nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_MR_MID_NOT_FOUND));
    EXPECT_EQ(systemText(DWORD(E_FAIL), fromSystem, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US)), u"Unspecified error\r\n");
    EXPECT_EQ(FormatMessageW(fromSystem, nullptr, DWORD(E_FAIL), MAKELANGID(0x07, 0x01), buffer, 64, nullptr), 0u);
    EXPECT_EQ(GetLastError(), errorResourceLangNotFound);
}

TEST(Messages, BufferMustHoldTextAndNulOrBeAllocated)
{
    const std::u16string text = u"Unspecified error\r\n";
    char16_t buffer[32];
    const DWORD exact = DWORD(text.size() + 1);
    EXPECT_EQ(FormatMessageW(fromSystem, nullptr, DWORD(E_FAIL), 0, buffer, exact, nullptr), text.size());
    EXPECT_EQ(std::u16string(buffer), text);
    SetLastError(0);
    EXPECT_EQ(FormatMessageW(fromSystem, nullptr, DWORD(E_FAIL), 0, buffer, exact - 1, nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(FormatMessageW(fromSystem, nullptr, DWORD(E_FAIL), 0, nullptr, 32, nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    LPWSTR allocated = nullptr;
    ASSERT_EQ(FormatMessageW(fromSystem | FORMAT_MESSAGE_ALLOCATE_BUFFER, nullptr, DWORD(E_FAIL), 0,
                             reinterpret_cast<LPWSTR>(&allocated), 0, nullptr), text.size());
    EXPECT_EQ(std::u16string(allocated), text);
    EXPECT_EQ(LocalLock(allocated), allocated) << "a local block";
    EXPECT_EQ(LocalFree(allocated), nullptr);
}

TEST(Messages, InsertsNeedArgumentsUnlessIgnored)
{
    char16_t buffer[256];
    SetLastError(0);
    EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, ERROR_MR_MID_NOT_FOUND, 0, buffer, 256, nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    const ULONG_PTR arguments[] = { reinterpret_cast<ULONG_PTR>(u"1F"), reinterpret_cast<ULONG_PTR>(u"System") };
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_ARGUMENT_ARRAY, nullptr,
                                        ERROR_MR_MID_NOT_FOUND, 0, buffer, 256,
                                        reinterpret_cast<va_list *>(const_cast<ULONG_PTR *>(arguments)));
    EXPECT_EQ(std::u16string(buffer, length),
              u"The system cannot find message text for message number 0x1F in the message file for System.\r\n");
}

// Format strings with the results Windows gives (pinned by its own test suite).
TEST(Messages, FormatStringsExpandAsOnWindows)
{
    struct Row {
        const char *name;
        DWORD flags;
        const char16_t *format;
        const char16_t *expected;
    } rows[] = {
        { "plain", 0, u"test", u"test" },
        { "%0 ends the text", 0, u"test%0test", u"test" },
        { "escapes stand for their character", 0, u" %%%% %.%! % ", u" %% .!  " },
        { "%n %r %t", 0, u"%n%r%t", u"\r\n\r\t" },
        { "lone CR and LF become CRLF", 0, u"\r\r\nhi\n", u"\r\n\r\nhi\r\n" },
        { "ignored inserts and escapes pass through", FORMAT_MESSAGE_IGNORE_INSERTS, u"test%1%2!*.*s!%99%%% %.%!",
          u"test%1%2!*.*s!%99%%% %.%!" },
        { "ignoring still expands %n", FORMAT_MESSAGE_IGNORE_INSERTS, u"%n%r%t", u"\r\n\r\t" },
        { "full width flattens lines", 0xFF, u"hi\r\n", u"hi " },
        { "full width keeps %n", 0xFF, u"a%nb\r", u"a\r\nb " },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        char16_t out[64] = {};
        const DWORD length = formatString(FORMAT_MESSAGE_FROM_STRING | row.flags, row.format, out, 64);
        EXPECT_EQ(std::u16string(out), row.expected);
        EXPECT_EQ(length, std::u16string(row.expected).size());
    }
}

TEST(Messages, InsertFormatsFollowPrintf)
{
    char16_t out[64];
    const DWORD flags = FORMAT_MESSAGE_FROM_STRING;
    EXPECT_EQ(formatString(flags, u"%1%3%2%1", out, 64, u"t", u"s", u"e"), 4u);
    EXPECT_EQ(std::u16string(out), u"test");
    formatString(flags, u"%1!4d!|%2!-4X!|%3!4.2u!", out, 64, 1, 0x1ab, 3);
    EXPECT_EQ(std::u16string(out), u"   1|1AB |  03");
    formatString(flags, u"%1!S!+%2!ls!+%3!c!", out, 64, "na\xC3\xAFve", u"wide", int(u'\u00e9'));
    EXPECT_EQ(std::u16string(out), u"na\u00efve+wide+\u00e9");
    formatString(flags, u"%1!3s!|%2", out, 64, u"t", static_cast<const char16_t *>(nullptr));
    EXPECT_EQ(std::u16string(out), u"  t|(null)");
    formatString(flags, u"%1!d!|%2!I64d!", out, 64, -5, -5LL);
    EXPECT_EQ(std::u16string(out), u"-5|-5");
}

TEST(Messages, BadFormatStringsAreRefused)
{
    struct Row {
        const char *name;
        const char16_t *format;
        DWORD error;
    } rows[] = {
        { "lone percent", u"test%", ERROR_INVALID_PARAMETER },
        { "insert without arguments", u"%1", ERROR_INVALID_PARAMETER },
        { "unclosed insert format", u"%1!d", ERROR_INVALID_PARAMETER },
        { "empty result", u"%0test", errorNoWorkDone },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        char16_t out[16] = u"xxxxxx";
        SetLastError(0);
        EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING, row.format, 0, 0, out, 16, nullptr), 0u);
        EXPECT_EQ(GetLastError(), row.error);
    }
    char16_t sentinel[] = u"x";
    LPWSTR allocated = sentinel; // an empty result allocates nothing
    EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER, u"%0", 0, 0,
                             reinterpret_cast<LPWSTR>(&allocated), 0, nullptr), 0u);
    EXPECT_EQ(allocated, nullptr);
    char16_t out[16];
    SetLastError(0);
    EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_FROM_SYSTEM, u"x", 0, 0, out, 16, nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
}

TEST(Messages, LocalHeapZeroesChecksHandlesAndHasNoLocks)
{
    auto *block = static_cast<unsigned char *>(LocalAlloc(LPTR, 64));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[0] | block[63], 0);
    SetLastError(0);
    EXPECT_FALSE(LocalUnlock(block));
    EXPECT_EQ(GetLastError(), errorNotLocked);
    EXPECT_EQ(LocalFree(block), nullptr);

    int notABlock = 0;
    SetLastError(0);
    EXPECT_EQ(LocalFree(&notABlock), &notABlock);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(LocalLock(&notABlock), nullptr);
    EXPECT_EQ(LocalFree(nullptr), nullptr);

    SetLastError(0);
    EXPECT_EQ(LocalAlloc(0x8000, 8), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
}
