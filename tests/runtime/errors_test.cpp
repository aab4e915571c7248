// Failure handling: the fatal-exception report, COM error texts, the
// translator scope and the guarded disconnect.
#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "platform/utf.h"
#include "runtime/errors.h"

using vrOpenAppHook::SEH_Exception;

namespace {

// Captures event-log entries in a file of the test's own.
struct EventLogCapture {
    std::string path = "/tmp/vrqt-eventlog-" + std::to_string(getpid()) + ".txt";
    EventLogCapture()
    {
        std::remove(path.c_str());
        setenv("VRQT_EVENTLOG_FILE", path.c_str(), 1);
    }
    ~EventLogCapture()
    {
        unsetenv("VRQT_EVENTLOG_FILE");
        std::remove(path.c_str());
    }
    std::string contents() const
    {
        std::ifstream file(path);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }
};

std::u16string text(BSTR value)
{
    std::u16string copy(value ? value : u"", SysStringLen(value));
    SysFreeString(value);
    return copy;
}

// A write to this address faults above 4 GiB, where only the low 32 bits
// show in the report.
constexpr uintptr_t highAddress = 0x7654321000ull;

// Uninstrumented, so that the fault is the write itself and not the
// address checker's look at its shadow.
__attribute__((no_sanitize("address"))) void writeHigh(void *)
{
    *reinterpret_cast<volatile int *>(highAddress) = 1;
}

std::string processName()
{
    char path[4096] = {};
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    const std::string full(path, length > 0 ? size_t(length) : 0);
    return full.substr(full.rfind('/') + 1);
}

} // namespace

TEST(FatalException, AccessViolationIsReportedWithModuleProcessAndLowAddressBits)
{
    EventLogCapture log;
    SehTranslatorScope scope;
    bool caught = false;
    try {
        RunWithTranslator(writeHigh, nullptr);
    } catch (const SEH_Exception &exception) {
        caught = true;
        EXPECT_EQ(exception.code, EXCEPTION_ACCESS_VIOLATION);
        EXPECT_EQ(exception.record.ExceptionInformation[0], 1u) << "a write";
        ReportFatalException(scope, u"Click", exception);
    }
    ASSERT_TRUE(caught);
    EXPECT_FALSE(scope.installed) << "the report puts the caller's translator back";
    const std::string name = processName();
    const std::string entry = log.contents();
    const std::string expectedStart = "error\tVerdaquil\tFatal error occurred in the \"Click\" operation. First-chance exception at 0x";
    EXPECT_EQ(entry.rfind(expectedStart, 0), 0u) << entry;
    EXPECT_NE(entry.find(" (" + name + ") in " + name + ": 0xC0000005: Access violation writing location 0x54321000\n"),
              std::string::npos)
        << entry;
}

TEST(FatalException, NarrowMessagesReadTwoBytesAUnitAndUnknownPlaces)
{
    // Two bytes a unit, little-endian, the last odd byte paired with zero.
    const auto readAsWide = [](std::string narrow) {
        narrow.push_back('\0');
        std::u16string units;
        for (size_t i = 0; i < narrow.size() && narrow[i]; i += 2)
            units += char16_t(static_cast<unsigned char>(narrow[i]) | static_cast<unsigned char>(narrow[i + 1]) << 8);
        return units;
    };
    struct Row {
        const char *name;
        DWORD code;
        std::u16string expected;
    } rows[] = {
        { "odd length", EXCEPTION_IN_PAGE_ERROR, readAsWide("In page error") },
        { "even length", EXCEPTION_INT_DIVIDE_BY_ZERO, readAsWide("Integer division by zero") },
        { "unknown code", 0xE0000001, readAsWide("Unknown exception") },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXCEPTION_RECORD record{};
        record.ExceptionCode = row.code;
        EXPECT_EQ(FatalExceptionMessage(record), row.expected);
    }

    EventLogCapture log;
    SehTranslatorScope scope;
    SEH_Exception outside{ EXCEPTION_INT_DIVIDE_BY_ZERO, {} };
    outside.record.ExceptionCode = EXCEPTION_INT_DIVIDE_BY_ZERO;
    outside.record.ExceptionAddress = reinterpret_cast<void *>(0x10); // in no loaded object
    ReportFatalException(scope, u"Op", outside);
    EXPECT_NE(log.contents().find("First-chance exception at 0x00000010 (<unknown>) in "), std::string::npos) << log.contents();
}

TEST(TranslatorScope, SentinelChangesNothingAndScopesNest)
{
    const auto sentinel = reinterpret_cast<SeTranslatorFunction>(1);
    EXPECT_EQ(_set_se_translator(sentinel), sentinel);
    {
        SehTranslatorScope outer;
        EXPECT_TRUE(outer.installed);
        {
            SehTranslatorScope inner;
            EXPECT_NE(inner.previous, nullptr) << "the outer translator is what the inner one puts back";
        }
        EXPECT_THROW(RunWithTranslator(writeHigh, nullptr), SEH_Exception) << "the outer translator is back";
    }
    EXPECT_FALSE(RunWithTranslator(writeHigh, nullptr)) << "without a translator a fault is swallowed";
    EXPECT_THROW(RunWithTranslator([](void *) { throw CAtlException{ E_OUTOFMEMORY }; }, nullptr), CAtlException)
        << "C++ exceptions pass through";
}

TEST(ComErrorText, DescriptionSystemTextOrHexadecimal)
{
    EXCEPINFO info{};
    info.bstrDescription = SysAllocString(u"The host's own words");
    EXPECT_EQ(text(GetComErrorText(DISP_E_EXCEPTION, &info)), u"The host's own words");
    EXPECT_EQ(text(GetComErrorText(E_FAIL, &info)), u"Unspecified error\r\n") << "the description counts for DISP_E_EXCEPTION only";
    SysFreeString(info.bstrDescription);
    info.bstrDescription = SysAllocString(u"");
    EXPECT_EQ(text(GetComErrorText(DISP_E_EXCEPTION, &info)), u"Exception occurred.\r\n") << "an empty description falls through";
    SysFreeString(info.bstrDescription);
    info.bstrDescription = nullptr;
    EXPECT_EQ(text(GetComErrorText(DISP_E_EXCEPTION, &info)), u"Exception occurred.\r\n");
    EXPECT_EQ(text(GetComErrorText(HRESULT(0x8004ABCD))), u"0x8004abcd");
    EXPECT_EQ(text(GetComErrorText(HRESULT(0x00000123))), u"0x123") << "lower case, no leading zeros";
    EXPECT_EQ(text(GetErrorMessage(DISP_E_TYPEMISMATCH)), u"Error: Type mismatch.\r\n");
}

TEST(SafeDisconnect, BadPointersGetResultCodes)
{
    EXPECT_EQ(SafeCoDisconnectObject(nullptr), E_POINTER);
    void *page = mmap(nullptr, size_t(sysconf(_SC_PAGESIZE)), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    munmap(page, size_t(sysconf(_SC_PAGESIZE)));
    EXPECT_EQ(SafeCoDisconnectObject(static_cast<IUnknown *>(page)), E_POINTER) << "unmapped";
    void *words[3] = { words, nullptr, nullptr }; // a table whose slots are no code
    EXPECT_EQ(SafeCoDisconnectObject(reinterpret_cast<IUnknown *>(words)), E_POINTER);
    EXPECT_FALSE(IsValidInterfacePointer(reinterpret_cast<char *>(&words[0]) + 1)) << "misaligned";
}

TEST(HResults, SystemErrorsAndThrow)
{
    EXPECT_EQ(HResultFromSystemError(0x12345), HRESULT(0x80072345)) << "the low 16 bits";
    EXPECT_EQ(HResultFromSystemError(0), S_OK);
    EXPECT_EQ(HResultFromSystemError(-7), HRESULT(-7));
    try {
        ThrowHResult(E_OUTOFMEMORY);
        FAIL() << "ThrowHResult returned";
    } catch (const CAtlException &exception) {
        EXPECT_EQ(HRESULT(exception), E_OUTOFMEMORY);
    }
}
