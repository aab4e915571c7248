// Pointer probes and VirtualQuery.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/automation.h"

namespace {

constexpr uintptr_t kPage = 4096;

int globalData = 42;

int codeInThisProgram(int value)
{
    return value * 3;
}

// An anonymous block of pages with a free page on each side, so that no
// neighbouring mapping joins it.
class IsolatedPages {
public:
    explicit IsolatedPages(size_t pages) : m_pages(pages)
    {
        auto *all = static_cast<char *>(
            mmap(nullptr, (pages + 2) * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        munmap(all, kPage);
        munmap(all + (pages + 1) * kPage, kPage);
        m_start = all + kPage;
    }
    ~IsolatedPages() { munmap(m_start, m_pages * kPage); }
    char *page(size_t index) const { return m_start + index * kPage; }
    void protect(size_t first, size_t count, int protection) { mprotect(page(first), count * kPage, protection); }

private:
    size_t m_pages;
    char *m_start;
};

MEMORY_BASIC_INFORMATION query(const void *address)
{
    MEMORY_BASIC_INFORMATION info;
    std::memset(&info, 0xCC, sizeof info);
    EXPECT_EQ(VirtualQuery(address, &info, sizeof info), sizeof info);
    return info;
}

} // namespace

TEST(IsBadReadPtr, Ranges)
{
    IsolatedPages pages(4);
    pages.protect(2, 1, PROT_NONE);
    void *gone = mmap(nullptr, kPage, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    munmap(gone, kPage);
    int local = 0;
    const struct {
        const char *name;
        const void *pointer;
        UINT_PTR bytes;
        BOOL bad;
    } rows[] = {
        { "no bytes at null", nullptr, 0, FALSE },
        { "null", nullptr, 1, TRUE },
        { "a local", &local, sizeof local, FALSE },
        { "two readable pages", pages.page(0), 2 * kPage, FALSE },
        { "one byte into a page without access", pages.page(0), 2 * kPage + 1, TRUE },
        { "the last byte before it", pages.page(1) + kPage - 1, 1, FALSE },
        { "a page without access", pages.page(2), 1, TRUE },
        { "across it to a readable page", pages.page(1), 3 * kPage, TRUE },
        { "an unmapped page", gone, 1, TRUE },
        { "a kernel address", reinterpret_cast<void *>(0xffff800000000000ull), 8, TRUE },
        { "a range that wraps", reinterpret_cast<void *>(UINTPTR_MAX - 15), 32, TRUE },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(IsBadReadPtr(row.pointer, row.bytes), row.bad);
    }
}

TEST(IsBadReadPtr, LargeRangesWithAHole)
{
    constexpr size_t kPages = 4096 + 7; // more pages than one read asks for
    IsolatedPages pages(kPages);
    EXPECT_FALSE(IsBadReadPtr(pages.page(0), kPages * kPage));
    pages.protect(kPages - 3, 1, PROT_NONE);
    EXPECT_TRUE(IsBadReadPtr(pages.page(0), kPages * kPage));
    EXPECT_FALSE(IsBadReadPtr(pages.page(0), (kPages - 3) * kPage));
}

TEST(IsBadCodePtr, ExecutableAndNot)
{
    void *jit = mmap(nullptr, kPage, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(jit, MAP_FAILED);
    const struct {
        const char *name;
        const void *pointer;
        BOOL bad;
    } rows[] = {
        { "null", nullptr, TRUE },
        { "code of this program", reinterpret_cast<void *>(&codeInThisProgram), FALSE },
        { "anonymous executable memory", jit, FALSE },
        { "a global", &globalData, TRUE },
        { "a kernel address", reinterpret_cast<void *>(0xffffffff81000000ull), TRUE },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(IsBadCodePtr(reinterpret_cast<FARPROC>(const_cast<void *>(row.pointer))), row.bad);
    }
    munmap(jit, kPage);
    EXPECT_TRUE(IsBadCodePtr(reinterpret_cast<FARPROC>(jit))) << "unmapped code is gone";
}

TEST(IsBadCodePtr, HostileAddressesNeverFault)
{
    uint64_t state = 0x9E3779B97F4A7C15ull;
    int good = 0;
    for (int round = 0; round < 100000; ++round) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        // Mix wild values with values near real code and data.
        const uintptr_t base = round % 3 == 0 ? reinterpret_cast<uintptr_t>(&codeInThisProgram)
            : round % 3 == 1                  ? reinterpret_cast<uintptr_t>(&globalData)
                                              : 0;
        const uintptr_t address = base ? base + (state >> 40) - (1u << 23) : uintptr_t(state);
        if (!IsBadCodePtr(reinterpret_cast<FARPROC>(address)))
            ++good;
        if (round % 100 == 0)
            IsBadReadPtr(reinterpret_cast<void *>(address), 64);
    }
    EXPECT_GT(good, 0) << "some addresses near code are code";
}

TEST(VirtualQuery, RefusedArguments)
{
    MEMORY_BASIC_INFORMATION info;
    SetLastError(0);
    EXPECT_EQ(VirtualQuery(&info, &info, sizeof info - 1), 0u);
    EXPECT_EQ(GetLastError(), 24u); // ERROR_BAD_LENGTH
    SetLastError(0);
    EXPECT_EQ(VirtualQuery(&info, nullptr, sizeof info), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_NOACCESS));
    SetLastError(0);
    EXPECT_EQ(VirtualQuery(reinterpret_cast<void *>(0xffff800000000000ull), &info, sizeof info), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
}

TEST(VirtualQuery, PrivateMemoryReservedCommittedAndFree)
{
    IsolatedPages pages(4);
    pages.protect(0, 1, PROT_NONE);
    pages.protect(3, 1, PROT_NONE);
    const struct {
        const char *name;
        const void *address;
        const void *base;
        SIZE_T size;
        DWORD state;
        DWORD protect;
        DWORD type;
    } rows[] = {
        { "reserved head", pages.page(0) + 100, pages.page(0), kPage, 0x2000, 0, MEM_PRIVATE },
        { "committed middle", pages.page(1) + 5000, pages.page(2), kPage, MEM_COMMIT, PAGE_READWRITE, MEM_PRIVATE },
        { "committed start", pages.page(1), pages.page(1), 2 * kPage, MEM_COMMIT, PAGE_READWRITE, MEM_PRIVATE },
        { "free page before", pages.page(0) - 1, pages.page(0) - kPage, kPage, MEM_FREE, PAGE_NOACCESS, 0 },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const MEMORY_BASIC_INFORMATION info = query(row.address);
        EXPECT_EQ(info.BaseAddress, row.base);
        EXPECT_EQ(info.RegionSize, row.size);
        EXPECT_EQ(info.State, row.state);
        EXPECT_EQ(info.Protect, row.protect);
        EXPECT_EQ(info.Type, row.type);
        EXPECT_EQ(info.AllocationBase, row.state == MEM_FREE ? nullptr : static_cast<void *>(pages.page(0)));
    }
}

TEST(VirtualQuery, ImagesStartAtTheirElfHeader)
{
    Dl_info library{};
    ASSERT_NE(dladdr(reinterpret_cast<void *>(&CloseHandle), &library), 0);
    const struct {
        const char *name;
        const void *address;
        DWORD protect;
    } rows[] = {
        { "code of this program", reinterpret_cast<void *>(&codeInThisProgram), PAGE_EXECUTE_READ },
        { "data of this program", &globalData, PAGE_READWRITE },
        { "code of the platform library", reinterpret_cast<void *>(&CloseHandle), PAGE_EXECUTE_READ },
    };
    Dl_info program{};
    ASSERT_NE(dladdr(reinterpret_cast<void *>(&codeInThisProgram), &program), 0);
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const MEMORY_BASIC_INFORMATION info = query(row.address);
        EXPECT_EQ(info.Type, DWORD(MEM_IMAGE));
        EXPECT_EQ(info.State, DWORD(MEM_COMMIT));
        EXPECT_EQ(info.Protect, row.protect);
        EXPECT_EQ(std::memcmp(info.AllocationBase, "\x7f" "ELF", 4), 0);
        const bool inLibrary = row.address == reinterpret_cast<void *>(&CloseHandle);
        EXPECT_EQ(info.AllocationBase, inLibrary ? library.dli_fbase : program.dli_fbase);
        EXPECT_LE(info.BaseAddress, row.address);
        EXPECT_GT(static_cast<const char *>(info.BaseAddress) + info.RegionSize, row.address);
    }
}

TEST(VirtualQuery, ViewsOfSharedMemoryAreMapped)
{
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8 * kPage, nullptr);
    void *view = MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0);
    ASSERT_NE(view, nullptr);
    const MEMORY_BASIC_INFORMATION info = query(static_cast<char *>(view) + 3 * kPage);
    EXPECT_EQ(info.Type, DWORD(MEM_MAPPED));
    EXPECT_EQ(info.Protect, DWORD(PAGE_READWRITE));
    EXPECT_EQ(info.AllocationBase, view);
    EXPECT_EQ(info.RegionSize, 5 * kPage);
    UnmapViewOfFile(view);
    CloseHandle(mapping);
}
