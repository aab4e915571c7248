// The read-only registry stand-in over .reg-syntax files.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>
#include <string>
#include <vector>

#include "platform/automation.h"
#include "process_support.h"

namespace {

constexpr char machineText[] =
    "Windows Registry Editor Version 5.00\n"
    "; a comment\n"
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Zoklandt\\Verdaquil]\n"
    "@=\"default text\"\n"
    "\"InstallPath\"=\"C:\\\\Program Files\\\\Zoklandt \\\"Q\\\"\"\n"
    "\"Level\"=dword:0000000a\n"
    "\"Blob\"=hex:01,02,ff\n"
    "\"List\"=hex(7):61,00,00,00,\\\n"
    "  62,00,00,00,00,00\n"
    "\"Gone\"=\"x\"\n"
    "\"Gone\"=-\n"
    "\"Name\"=\"caf\xC3\xA9\"\n"
    "\r\n"
    "[SOFTWARE\\Zoklandt\\Deep\\Er\\Still]\n"
    "\"Depth\"=dword:3\n"
    "[-SOFTWARE\\Zoklandt\\Removed]\n"
    "\"Ignored\"=\"yes\"\n";

struct QueryResult {
    LSTATUS status;
    DWORD type;
    DWORD size;
    std::vector<BYTE> data;
};

QueryResult query(HKEY key, const char16_t *name, DWORD capacity = 256)
{
    QueryResult result{};
    result.data.resize(capacity);
    result.size = capacity;
    result.status = RegQueryValueExW(key, name, nullptr, &result.type, result.data.data(), &result.size);
    result.data.resize(std::min(result.size, capacity));
    return result;
}

std::vector<BYTE> utf16Bytes(const std::u16string &text)
{
    std::vector<BYTE> bytes;
    for (const char16_t c : text + u'\0') {
        bytes.push_back(BYTE(c));
        bytes.push_back(BYTE(c >> 8));
    }
    return bytes;
}

class Registry : public testing::Test {
protected:
    void SetUp() override
    {
        writeFile(machine, machineText);
        writeFile(machine32, "[SOFTWARE\\Zoklandt\\Verdaquil]\n\"Level\"=dword:00000020\n");
        writeFile(user, "[HKEY_CURRENT_USER\\Software\\Zoklandt]\n\"Theme\"=\"dark\"\n");
    }

    static void writeFile(const std::string &path, const std::string &text) { std::ofstream(path, std::ios::binary) << text; }

    HKEY open(HKEY root, const char16_t *path, DWORD desired = KEY_READ)
    {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExW(root, path, 0, desired, &key), ERROR_SUCCESS);
        return key;
    }

    ScopedFolder folder;
    std::string machine = folder.path() + "/machine.conf";
    std::string machine32 = folder.path() + "/machine32.conf";
    std::string user = folder.path() + "/user.conf";
    ScopedVariable machineVariable{ "VRQT_REGISTRY_MACHINE", machine.c_str() };
    ScopedVariable machine32Variable{ "VRQT_REGISTRY_MACHINE32", machine32.c_str() };
    ScopedVariable userVariable{ "VRQT_REGISTRY_USER", user.c_str() };
};

} // namespace

TEST_F(Registry, KeysOpenWithoutCaseAndThroughParents)
{
    struct Row {
        const char *name;
        const char16_t *path;
        LSTATUS status;
    } rows[] = {
        { "exact", u"SOFTWARE\\Zoklandt\\Verdaquil", ERROR_SUCCESS },
        { "other case", u"software\\zoklandt\\VERDAQUIL", ERROR_SUCCESS },
        { "middle of a section", u"SOFTWARE\\Zoklandt\\Deep\\Er", ERROR_SUCCESS },
        { "trailing separator", u"SOFTWARE\\Zoklandt\\", ERROR_SUCCESS },
        { "missing", u"SOFTWARE\\Zoklandt\\Nothing", ERROR_FILE_NOT_FOUND },
        { "prefix of a name only", u"SOFTWARE\\Zok", ERROR_FILE_NOT_FOUND },
        { "deleted section", u"SOFTWARE\\Zoklandt\\Removed", ERROR_FILE_NOT_FOUND },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, row.path, 0, KEY_READ, &key), row.status);
        EXPECT_EQ(key != nullptr, row.status == ERROR_SUCCESS);
        if (key) {
            EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
        }
    }
}

TEST_F(Registry, ValuesHaveWindowsTypesAndSizes)
{
    HKEY key = open(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Zoklandt\\Verdaquil");
    const std::vector<BYTE> level = { 10, 0, 0, 0 };
    const std::vector<BYTE> blob = { 1, 2, 0xFF };
    const std::vector<BYTE> list = { 'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0 };
    struct Row {
        const char *name;
        const char16_t *valueName;
        DWORD type;
        std::vector<BYTE> data;
    } rows[] = {
        { "string with escapes", u"InstallPath", REG_SZ, utf16Bytes(u"C:\\Program Files\\Zoklandt \"Q\"") },
        { "name without case", u"installpath", REG_SZ, utf16Bytes(u"C:\\Program Files\\Zoklandt \"Q\"") },
        { "default by null", nullptr, REG_SZ, utf16Bytes(u"default text") },
        { "non-ASCII", u"Name", REG_SZ, utf16Bytes(u"caf\u00e9") },
        { "dword", u"Level", REG_DWORD, level },
        { "binary", u"Blob", REG_BINARY, blob },
        { "multi-string over two lines", u"List", REG_MULTI_SZ, list },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const QueryResult result = query(key, row.valueName);
        EXPECT_EQ(result.status, ERROR_SUCCESS);
        EXPECT_EQ(result.type, row.type);
        EXPECT_EQ(result.size, row.data.size());
        EXPECT_EQ(result.data, row.data);
    }
    EXPECT_EQ(query(key, u"Gone").status, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(query(key, u"Absent").status, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST_F(Registry, SmallOrMissingBuffersGetTheSizeNeeded)
{
    HKEY key = open(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Zoklandt\\Verdaquil");
    const DWORD needed = DWORD(utf16Bytes(u"default text").size());
    const QueryResult small = query(key, nullptr, needed - 1);
    EXPECT_EQ(small.status, ERROR_MORE_DATA);
    EXPECT_EQ(small.type, DWORD(REG_SZ));
    EXPECT_EQ(small.size, needed);
    DWORD type = 0;
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(key, nullptr, nullptr, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, needed);
    EXPECT_EQ(RegQueryValueExW(key, u"Level", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    BYTE byte = 0;
    EXPECT_EQ(RegQueryValueExW(key, u"Level", nullptr, nullptr, &byte, nullptr), ERROR_INVALID_PARAMETER);
    DWORD reserved = 0;
    EXPECT_EQ(RegQueryValueExW(key, u"Level", &reserved, nullptr, nullptr, &size), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST_F(Registry, EachRootAndViewReadsItsOwnFile)
{
    HKEY wide = open(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Zoklandt\\Verdaquil", KEY_READ | KEY_WOW64_64KEY);
    HKEY narrow = open(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Zoklandt\\Verdaquil", KEY_READ | KEY_WOW64_32KEY);
    EXPECT_EQ(query(wide, u"Level").data, (std::vector<BYTE>{ 10, 0, 0, 0 }));
    EXPECT_EQ(query(narrow, u"Level").data, (std::vector<BYTE>{ 32, 0, 0, 0 }));
    EXPECT_EQ(query(narrow, u"InstallPath").status, ERROR_FILE_NOT_FOUND);
    HKEY userKey = open(HKEY_CURRENT_USER, u"Software\\Zoklandt");
    EXPECT_EQ(query(userKey, u"Theme").data, utf16Bytes(u"dark"));
    HKEY none = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"SOFTWARE\\Zoklandt\\Verdaquil", 0, KEY_READ, &none), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, u"CLSID", 0, KEY_READ, &none), ERROR_FILE_NOT_FOUND);
    HKEY parent = open(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Zoklandt");
    HKEY child = open(parent, u"Deep\\Er\\Still");
    EXPECT_EQ(query(child, u"Depth").data, (std::vector<BYTE>{ 3, 0, 0, 0 })) << "an open key opens its subkeys";
    HKEY same = open(child, nullptr);
    EXPECT_EQ(query(same, u"Depth").status, ERROR_SUCCESS);
    for (HKEY key : { wide, narrow, userKey, parent, child, same })
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST_F(Registry, UserFileDefaultsToTheConfigFolder)
{
    ScopedVariable noOverride("VRQT_REGISTRY_USER", nullptr);
    ScopedVariable config("XDG_CONFIG_HOME", folder.path().c_str());
    ASSERT_EQ(mkdir((folder.path() + "/zoklandt").c_str(), 0700), 0);
    writeFile(folder.path() + "/zoklandt/registry.conf", "[Software\\Zoklandt]\n\"Theme\"=\"light\"\n");
    HKEY key = open(HKEY_CURRENT_USER, u"Software\\Zoklandt");
    EXPECT_EQ(query(key, u"Theme").data, utf16Bytes(u"light"));
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST_F(Registry, RegeditUtf16FilesAreReadMissingFilesHaveNoKeys)
{
    const std::u16string text = u"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Zoklandt]\r\n"
                                u"\"Owner\"=\"\u00c5sa\"\r\n";
    std::string bytes = "\xFF\xFE";
    for (const char16_t c : text) {
        bytes += char(c & 0xFF);
        bytes += char(c >> 8);
    }
    writeFile(machine, bytes);
    HKEY key = open(HKEY_LOCAL_MACHINE, u"Software\\Zoklandt");
    EXPECT_EQ(query(key, u"OWNER").data, utf16Bytes(u"\u00c5sa"));
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    ScopedVariable nowhere("VRQT_REGISTRY_MACHINE", (folder.path() + "/absent.conf").c_str());
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND)
        << "a missing file has no keys";
}

TEST_F(Registry, BadRequestsGetWindowsCodes)
{
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Zoklandt", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Zoklandt", 0, KEY_READ | 0x0002 /* KEY_SET_VALUE */, &key),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(key, nullptr);
    int notAKey = 0;
    EXPECT_EQ(RegOpenKeyExW(reinterpret_cast<HKEY>(&notAKey), u"x", 0, KEY_READ, &key), ERROR_INVALID_HANDLE);
    EXPECT_EQ(query(reinterpret_cast<HKEY>(&notAKey), u"x").status, ERROR_INVALID_HANDLE);
    HKEY opened = open(HKEY_LOCAL_MACHINE, u"SOFTWARE");
    EXPECT_EQ(RegCloseKey(opened), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(opened), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
}
