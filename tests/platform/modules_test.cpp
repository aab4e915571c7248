// Module handles, file names, loading with reference counts, exported functions.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "platform/automation.h"
#include "platform/utf.h"

namespace {

// A library on every Debian system that no part of the test program uses.
constexpr char spareLibrary[] = "libz.so.1";

HMODULE baseOf(const void *address)
{
    Dl_info info{};
    return dladdr(address, &info) ? info.dli_fbase : nullptr;
}

std::string programPath()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    return std::string(path, length > 0 ? size_t(length) : 0);
}

HMODULE platformModule()
{
    return baseOf(reinterpret_cast<const void *>(&CoTaskMemAlloc));
}

std::string fileName(HMODULE module)
{
    char path[PATH_MAX];
    const DWORD length = GetModuleFileNameA(module, path, sizeof(path));
    return std::string(path, length);
}

} // namespace

TEST(Modules, HandlesAreTheMappedHeaders)
{
    static const int inProgram = 0;
    EXPECT_EQ(GetModuleHandleW(nullptr), baseOf(&inProgram));
    EXPECT_EQ(GetModuleHandleA("libvrqtplatform.so.1"), platformModule());
    EXPECT_EQ(GetModuleHandleW(platform::toUtf16(fileName(platformModule())).c_str()), platformModule());
    HMODULE module = nullptr;
    ASSERT_TRUE(GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                   reinterpret_cast<LPCWSTR>(&CoTaskMemFree), &module));
    EXPECT_EQ(module, platformModule());
}

TEST(Modules, UnknownNamesAndHandlesAreNotFound)
{
    struct Row {
        const char *name;
        const char16_t *moduleName;
    } rows[] = {
        { "absent", u"libnothing.so.9" },
        { "wrong case", u"LIBVRQTPLATFORM.SO.1" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        SetLastError(0);
        EXPECT_EQ(GetModuleHandleW(row.moduleName), nullptr);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_MOD_NOT_FOUND));
    }
    static int notAModule = 0;
    char path[16];
    SetLastError(0);
    EXPECT_EQ(GetModuleFileNameA(reinterpret_cast<HMODULE>(&notAModule), path, 16), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_MOD_NOT_FOUND));
    HMODULE module = reinterpret_cast<HMODULE>(1);
    EXPECT_FALSE(GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(16), &module));
    EXPECT_EQ(module, nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_MOD_NOT_FOUND));
    EXPECT_FALSE(GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                    nullptr, &module));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_FALSE(GetModuleHandleExW(0, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
}

TEST(Modules, FileNamesAreFullPathsTruncatedAsWindowsDoes)
{
    const std::string program = programPath();
    EXPECT_EQ(fileName(GetModuleHandleW(nullptr)), program);
    const std::string library = fileName(platformModule());
    EXPECT_EQ(library.substr(library.rfind('/') + 1), "libvrqtplatform.so.1");

    const std::u16string wide = platform::toUtf16(program);
    char16_t buffer[PATH_MAX];
    EXPECT_EQ(GetModuleFileNameW(nullptr, buffer, PATH_MAX), wide.size());
    EXPECT_EQ(std::u16string(buffer), wide);
    SetLastError(0);
    EXPECT_EQ(GetModuleFileNameW(nullptr, buffer, DWORD(wide.size())), wide.size());
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(std::u16string(buffer), wide.substr(0, wide.size() - 1)) << "truncated to fit the NUL";
    EXPECT_EQ(GetModuleFileNameW(nullptr, buffer, 0), 0u);
}

TEST(Modules, LoadAndFreeCountReferences)
{
    if (access((std::string("/lib/x86_64-linux-gnu/") + spareLibrary).c_str(), R_OK) != 0)
        GTEST_SKIP() << spareLibrary << " is not installed";
    ASSERT_EQ(GetModuleHandleA(spareLibrary), nullptr) << "the test needs a library not loaded yet";
    const HMODULE first = LoadLibraryW(u"libz.so.1");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(LoadLibraryA(spareLibrary), first);
    HMODULE counted = nullptr;
    ASSERT_TRUE(GetModuleHandleExW(0, u"libz.so.1", &counted));
    EXPECT_EQ(counted, first);
    HMODULE uncounted = nullptr;
    ASSERT_TRUE(GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, u"libz.so.1", &uncounted));

    // Three references: two loads and the counting GetModuleHandleEx.
    for (int reference = 3; reference > 0; --reference) {
        SCOPED_TRACE(reference);
        EXPECT_EQ(GetModuleHandleA(spareLibrary), first);
        EXPECT_TRUE(FreeLibrary(first));
    }
    SetLastError(0);
    EXPECT_EQ(GetModuleHandleA(spareLibrary), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_MOD_NOT_FOUND));
    EXPECT_FALSE(FreeLibrary(first));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_MOD_NOT_FOUND));
}

TEST(Modules, LoadFailuresAreModuleNotFound)
{
    const char *names[] = { "libnothing.so.9", "/proc/self/status", "" };
    for (const char *name : names) {
        SCOPED_TRACE(name);
        SetLastError(0);
        EXPECT_EQ(LoadLibraryA(name), nullptr);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_MOD_NOT_FOUND));
    }
    EXPECT_EQ(LoadLibraryW(nullptr), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(FreeLibrary(GetModuleHandleW(nullptr))); // the program has no count to drop
}

TEST(Modules, ProcAddressesAreTheModulesOwnExports)
{
    const HMODULE platform = platformModule();
    EXPECT_EQ(reinterpret_cast<void *>(GetProcAddress(platform, "CoTaskMemAlloc")),
              reinterpret_cast<void *>(&CoTaskMemAlloc));
    struct Row {
        const char *name;
        LPCSTR procName;
    } rows[] = {
        { "a dependency's export", "malloc" },
        { "hidden internal", "_ZN8platform6toUtf8EPKDs" },
        { "ordinal", reinterpret_cast<LPCSTR>(1) },
        { "null", nullptr },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        SetLastError(0);
        EXPECT_EQ(GetProcAddress(platform, row.procName), nullptr);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_PROC_NOT_FOUND));
    }
    static int notAModule = 0;
    EXPECT_EQ(GetProcAddress(reinterpret_cast<HMODULE>(&notAModule), "CoTaskMemAlloc"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_MOD_NOT_FOUND));
}
