// File versions from versioned shared-object names.
#include <gtest/gtest.h>

#include <fstream>

#include "platform/automation.h"
#include "platform/utf.h"
#include "process_support.h"

namespace {

struct TempDir : ScopedFolder {
    std::u16string touch(const std::string &name) const
    {
        std::ofstream(path() + "/" + name);
        return platform::toUtf16(path() + "/" + name);
    }
};

bool fixedVersion(const std::u16string &file, DWORD &ms, DWORD &ls)
{
    const DWORD size = GetFileVersionInfoSizeW(file.c_str(), nullptr);
    if (!size)
        return false;
    std::vector<BYTE> block(size);
    if (!GetFileVersionInfoW(file.c_str(), 0, size, block.data()))
        return false;
    VS_FIXEDFILEINFO *fixed = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(block.data(), u"\\", reinterpret_cast<void **>(&fixed), &length) || length != sizeof *fixed)
        return false;
    ms = fixed->dwFileVersionMS;
    ls = fixed->dwFileVersionLS;
    return true;
}

} // namespace

TEST(Version, NumbersAfterSoFollowingLinks)
{
    TempDir dir;
    const std::u16string real = dir.touch("libdemo.so.5.15.8");
    std::filesystem::create_symlink(dir.path() + "/libdemo.so.5.15.8", dir.path() + "/libdemo.so.5");
    struct Row {
        const char *name;
        std::u16string file;
        DWORD ms, ls;
    } rows[] = {
        { "real file", real, 0x0005000F, 0x00080000 },
        { "link to it", platform::toUtf16(dir.path() + "/libdemo.so.5"), 0x0005000F, 0x00080000 },
        { "four parts", dir.touch("libfour.so.1.2.3.4"), 0x00010002, 0x00030004 },
        { "one part", dir.touch("libone.so.7"), 0x00070000, 0 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        DWORD ms = 0, ls = 0;
        ASSERT_TRUE(fixedVersion(row.file, ms, ls));
        EXPECT_EQ(ms, row.ms);
        EXPECT_EQ(ls, row.ls);
    }
}

TEST(Version, UnversionedMissingAndBadArguments)
{
    TempDir dir;
    EXPECT_EQ(GetFileVersionInfoSizeW(dir.touch("libplain.so").c_str(), nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_RESOURCE_TYPE_NOT_FOUND));
    EXPECT_EQ(GetFileVersionInfoSizeW(u"/no/such/libx.so.1", nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(GetFileVersionInfoSizeW(nullptr, nullptr), 0u);

    const std::u16string file = dir.touch("libok.so.1.2");
    BYTE small[8];
    EXPECT_FALSE(GetFileVersionInfoW(file.c_str(), 0, sizeof small, small));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INSUFFICIENT_BUFFER));

    BYTE notABlock[128] = {};
    void *value = nullptr;
    UINT length = 0;
    EXPECT_FALSE(VerQueryValueW(notABlock, u"\\", &value, &length));
    std::vector<BYTE> block(GetFileVersionInfoSizeW(file.c_str(), nullptr));
    ASSERT_TRUE(GetFileVersionInfoW(file.c_str(), 0, DWORD(block.size()), block.data()));
    EXPECT_FALSE(VerQueryValueW(block.data(), u"\\StringFileInfo\\040904B0\\FileVersion", &value, &length));
}
