// Named shared memory: views, names, access, and other processes.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/automation.h"
#include "process_support.h"

namespace {

constexpr DWORD kSize = 128 * 1024;
constexpr DWORD kFileMapCopy = 0x0001; // FILE_MAP_COPY

std::string uniqueName(const char *stem)
{
    return std::string(stem) + "." + std::to_string(getpid());
}

std::string objectPath(const std::string &name)
{
    return "/dev/shm/vrqt." + std::to_string(getuid()) + "." + name;
}

bool objectExists(const std::string &name)
{
    struct stat status{};
    return stat(objectPath(name).c_str(), &status) == 0;
}

} // namespace

TEST(SharedMemory, UnnamedMemoryMapsWhole)
{
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kSize, nullptr);
    ASSERT_NE(mapping, nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_SUCCESS));
    auto *first = static_cast<unsigned char *>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    auto *second = static_cast<unsigned char *>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 65536, 0));
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    first[kSize - 1] = 0x5A;
    EXPECT_EQ(second[65536 - 1], 0x5A) << "both views show the same memory";
    auto *copy = static_cast<unsigned char *>(MapViewOfFile(mapping, kFileMapCopy, 0, 0, 0));
    ASSERT_NE(copy, nullptr);
    copy[kSize - 1] = 0x11;
    EXPECT_EQ(first[kSize - 1], 0x5A) << "a copy-on-write view is private";
    EXPECT_TRUE(UnmapViewOfFile(first + 100)) << "any address in a view unmaps it";
    EXPECT_TRUE(UnmapViewOfFile(second));
    EXPECT_TRUE(UnmapViewOfFile(copy));
    SetLastError(0);
    EXPECT_FALSE(UnmapViewOfFile(second));
    EXPECT_EQ(GetLastError(), 487u);
    EXPECT_TRUE(CloseHandle(mapping));
}

TEST(SharedMemory, RefusedCreations)
{
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const struct {
        const char *name;
        HANDLE file;
        DWORD protect;
        DWORD size;
        const char *mappingName;
        DWORD error;
    } rows[] = {
        { "a file handle", event, PAGE_READWRITE, kSize, nullptr, ERROR_INVALID_HANDLE },
        { "size 0", INVALID_HANDLE_VALUE, PAGE_READWRITE, 0, nullptr, ERROR_INVALID_PARAMETER },
        { "PAGE_NOACCESS", INVALID_HANDLE_VALUE, PAGE_NOACCESS, kSize, nullptr, ERROR_INVALID_PARAMETER },
        { "unknown namespace", INVALID_HANDLE_VALUE, PAGE_READWRITE, kSize, "nowhere\\memory", ERROR_PATH_NOT_FOUND },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        SetLastError(0);
        EXPECT_EQ(CreateFileMappingA(row.file, nullptr, row.protect, 0, row.size, row.mappingName), nullptr);
        EXPECT_EQ(GetLastError(), row.error);
    }
    CloseHandle(event);
}

TEST(SharedMemory, RefusedViews)
{
    const std::string name = uniqueName("vrqt-test-views");
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kSize, name.c_str());
    HANDLE readOnlyHandle = OpenFileMappingA(FILE_MAP_READ, FALSE, name.c_str());
    HANDLE readOnlyMemory = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READONLY, 0, kSize, nullptr);
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const struct {
        const char *name;
        HANDLE mapping;
        DWORD access;
        DWORD offset;
        SIZE_T bytes;
        DWORD error;
    } rows[] = {
        { "an event", event, FILE_MAP_READ, 0, 0, ERROR_INVALID_HANDLE },
        { "no access asked", mapping, 0, 0, 0, ERROR_INVALID_PARAMETER },
        { "offset not on 64 KB", mapping, FILE_MAP_READ, 4096, 4096, 1132 },
        { "beyond the end", mapping, FILE_MAP_READ, 65536, 65537, ERROR_ACCESS_DENIED },
        { "write through a read handle", readOnlyHandle, FILE_MAP_WRITE, 0, 0, ERROR_ACCESS_DENIED },
        { "write to read-only memory", readOnlyMemory, FILE_MAP_WRITE, 0, 0, ERROR_ACCESS_DENIED },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        SetLastError(0);
        EXPECT_EQ(MapViewOfFile(row.mapping, row.access, 0, row.offset, row.bytes), nullptr);
        EXPECT_EQ(GetLastError(), row.error);
    }
    for (HANDLE handle : { mapping, readOnlyHandle, readOnlyMemory, event })
        CloseHandle(handle);
}

TEST(SharedMemory, NamesWithinTheProcess)
{
    const std::string name = uniqueName("vrqt-test-names/with%slash");
    HANDLE first = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kSize, name.c_str());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_SUCCESS));
    HANDLE second =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, ("Local\\" + name).c_str());
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS));
    HANDLE opened = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, ("Global\\" + name).c_str());
    ASSERT_NE(opened, nullptr);

    auto *written = static_cast<char *>(MapViewOfFile(first, FILE_MAP_WRITE, 0, 0, 0));
    auto *read = static_cast<char *>(MapViewOfFile(opened, FILE_MAP_READ, 0, 0, 0));
    auto *whole = static_cast<char *>(MapViewOfFile(second, FILE_MAP_READ, 0, 65536, 0));
    ASSERT_NE(whole, nullptr) << "the existing memory keeps its size of 128 KB";
    std::strcpy(written + 65536, "shared");
    EXPECT_STREQ(read + 65536, "shared");
    EXPECT_STREQ(whole, "shared");

    std::string escaped = uniqueName("vrqt-test-names%2Fwith%25slash");
    struct stat status{};
    ASSERT_EQ(stat(objectPath(escaped).c_str(), &status), 0) << "'/' and '%' are escaped in the object's name";
    EXPECT_EQ(status.st_mode & 0777, 0600u);

    for (HANDLE handle : { first, second, opened })
        CloseHandle(handle);
    EXPECT_TRUE(objectExists(escaped)) << "a view keeps the name after the handles close";
    for (void *view : { static_cast<void *>(written), static_cast<void *>(read), static_cast<void *>(whole) })
        UnmapViewOfFile(view);
    EXPECT_FALSE(objectExists(escaped)) << "removed with the writer's last view";
    SetLastError(0);
    EXPECT_EQ(OpenFileMappingA(FILE_MAP_READ, FALSE, name.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    SetLastError(0);
    EXPECT_EQ(OpenFileMappingA(FILE_MAP_READ, FALSE, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
}

TEST(SharedMemory, AnotherProcessReadsAndWrites)
{
    // Longer than a file name may be: the object's name becomes a digest.
    const std::string name = uniqueName("vrqt-test-other-process") + std::string(300, 'x');
    ChildProcess child([&](ChildProcess &self) {
        self.receive();
        HANDLE opened = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name.c_str());
        auto *view = opened ? static_cast<char *>(MapViewOfFile(opened, FILE_MAP_ALL_ACCESS, 0, 0, 0)) : nullptr;
        const bool sawParent = view && std::strcmp(view, "from parent") == 0;
        if (view)
            std::strcpy(view + 1024, "from child");
        self.send(sawParent ? 'y' : 'n');
    });
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kSize, name.c_str());
    auto *view = static_cast<char *>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    ASSERT_NE(view, nullptr);
    std::strcpy(view, "from parent");
    child.send('g');
    EXPECT_EQ(child.receive(), 'y');
    EXPECT_STREQ(view + 1024, "from child");
    UnmapViewOfFile(view);
    CloseHandle(mapping);
}

TEST(SharedMemory, WriterInAnotherProcess)
{
    const struct {
        const char *name;
        bool killed;           // else it ends through exit and its handlers
        bool nameStays;        // OpenFileMappingA still finds the memory
    } rows[] = {
        { "writer killed: the name stays until the next writer", true, true },
        { "writer exits: its exit handlers remove the name", false, false },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const std::string name = uniqueName(row.killed ? "vrqt-test-killed" : "vrqt-test-exits");
        ChildProcess child([&](ChildProcess &self) {
            HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kSize, name.c_str());
            auto *view = static_cast<char *>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0));
            std::strcpy(view, "old");
            self.send(GetLastError() == ERROR_SUCCESS ? 'y' : 'n');
            if (self.receive() == 'x')
                std::exit(0);
            pause();
        });
        ASSERT_EQ(child.receive(), 'y');
        HANDLE whileAlive = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kSize, name.c_str());
        EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS)) << "a live writer holds the name";
        auto *view = static_cast<char *>(MapViewOfFile(whileAlive, FILE_MAP_READ, 0, 0, 0));
        ASSERT_NE(view, nullptr);
        EXPECT_STREQ(view, "old");
        UnmapViewOfFile(view);
        CloseHandle(whileAlive);

        if (row.killed) {
            child.kill();
        } else {
            child.send('x');
            child.reap();
        }
        HANDLE opened = OpenFileMappingA(FILE_MAP_READ, FALSE, name.c_str());
        EXPECT_EQ(opened != nullptr, row.nameStays);
        CloseHandle(opened);

        HANDLE next = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kSize, name.c_str());
        ASSERT_NE(next, nullptr);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_SUCCESS)) << "the next writer makes new memory";
        view = static_cast<char *>(MapViewOfFile(next, FILE_MAP_READ, 0, 0, 0));
        EXPECT_STREQ(view, "");
        UnmapViewOfFile(view);
        CloseHandle(next);
    }
}
