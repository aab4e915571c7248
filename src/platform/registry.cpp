// Registry: read-only keys and values from files in the .reg file syntax.
// HKEY_CURRENT_USER reads $XDG_CONFIG_HOME/zoklandt/registry.conf, and
// HKEY_LOCAL_MACHINE /etc/zoklandt/registry.conf, or with KEY_WOW64_32KEY
// /etc/zoklandt/registry32.conf; VRQT_REGISTRY_USER, VRQT_REGISTRY_MACHINE
// and VRQT_REGISTRY_MACHINE32 name other files (for tests).
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/system.h"
#include "platform/utf.h"

namespace {

struct RegistryValue {
    DWORD type = REG_NONE;
    std::vector<BYTE> data;
};

// Keys and value names are stored upper-cased, as Windows compares them.
using KeyValues = std::map<std::u16string, RegistryValue>;
using Hive = std::map<std::u16string, KeyValues>;

enum class HiveFile { None, User, Machine, Machine32 };

// An open key: the file it lives in, its path, and its values as they were
// when it was opened.
struct OpenKey {
    HiveFile hive;
    std::u16string path;
    KeyValues values;
};

std::mutex openKeysLock;
std::unordered_set<OpenKey *> openKeys;

struct CaseRange {
    char16_t first;
    char16_t last;
    char16_t skipped; // the one character in the range that has no upper case
    int delta;
};

// Lower-case letters that fold to upper case: ASCII, Latin-1, Greek, Cyrillic.
constexpr CaseRange caseRanges[] = {
    { u'a', u'z', 0, -32 },          { 0x00E0, 0x00FE, 0x00F7, -32 }, { 0x03B1, 0x03C9, 0x03C2, -32 },
    { 0x0430, 0x044F, 0, -32 },      { 0x0450, 0x045F, 0, -80 },
};

std::u16string foldCase(std::u16string text)
{
    for (char16_t &c : text) {
        for (const CaseRange &range : caseRanges) {
            if (c >= range.first && c <= range.last && c != range.skipped) {
                c = char16_t(c + range.delta);
                break;
            }
        }
    }
    return text;
}

std::string variableOr(const char *name, const std::string &fallback)
{
    const char *value = std::getenv(name);
    return value && *value ? std::string(value) : fallback;
}

std::string hivePath(HiveFile hive)
{
    switch (hive) {
    case HiveFile::User: {
        std::string config = variableOr("XDG_CONFIG_HOME", "");
        if (config.empty() || config.front() != '/')
            config = variableOr("HOME", "") + "/.config";
        return variableOr("VRQT_REGISTRY_USER", config + "/zoklandt/registry.conf");
    }
    case HiveFile::Machine:
        return variableOr("VRQT_REGISTRY_MACHINE", "/etc/zoklandt/registry.conf");
    case HiveFile::Machine32:
        return variableOr("VRQT_REGISTRY_MACHINE32", "/etc/zoklandt/registry32.conf");
    case HiveFile::None:
        break;
    }
    return std::string();
}

// The file's text: UTF-16LE when it starts with that byte order mark (as
// regedit exports), UTF-8 otherwise.
std::u16string readHiveText(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (bytes.size() >= 2 && uint8_t(bytes[0]) == 0xFF && uint8_t(bytes[1]) == 0xFE) {
        std::u16string text;
        for (size_t i = 2; i + 1 < bytes.size(); i += 2)
            text += char16_t(uint8_t(bytes[i]) | uint8_t(bytes[i + 1]) << 8);
        return text;
    }
    const size_t skip = bytes.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    return platform::toUtf16(std::string_view(bytes).substr(skip));
}

std::u16string trim(const std::u16string &text)
{
    const size_t first = text.find_first_not_of(u" \t\r");
    if (first == std::u16string::npos)
        return std::u16string();
    return text.substr(first, text.find_last_not_of(u" \t\r") - first + 1);
}

// Splits "A\\B\\\\C\\" into its non-empty parts, upper-cased, joined by '\\'.
std::u16string normalizeKeyPath(const std::u16string &path)
{
    std::u16string normalized;
    size_t start = 0;
    while (start <= path.size()) {
        const size_t end = std::min(path.find(u'\\', start), path.size());
        if (end > start) {
            if (!normalized.empty())
                normalized += u'\\';
            normalized += path.substr(start, end - start);
        }
        start = end + 1;
    }
    return foldCase(normalized);
}

// A section names its key with or without the root, which the file implies.
std::u16string sectionKeyPath(const std::u16string &section)
{
    std::u16string path = normalizeKeyPath(section);
    const std::u16string roots[] = { u"HKEY_CURRENT_USER", u"HKCU", u"HKEY_LOCAL_MACHINE", u"HKLM" };
    for (const std::u16string &root : roots) {
        if (path == root)
            return std::u16string();
        if (path.compare(0, root.size() + 1, root + u'\\') == 0)
            return path.substr(root.size() + 1);
    }
    return path;
}

// Reads a quoted string starting at text[position] (the opening quote),
// undoing the .reg escapes \\ and \"; position ends past the closing quote.
bool readQuoted(const std::u16string &text, size_t &position, std::u16string &out)
{
    if (position >= text.size() || text[position] != u'"')
        return false;
    for (++position; position < text.size(); ++position) {
        char16_t c = text[position];
        if (c == u'"') {
            ++position;
            return true;
        }
        if (c == u'\\' && position + 1 < text.size() && (text[position + 1] == u'\\' || text[position + 1] == u'"'))
            c = text[++position];
        out += c;
    }
    return false;
}

bool parseHex(const std::u16string &text, uint64_t limit, uint64_t &value)
{
    if (text.empty() || text.size() > 16)
        return false;
    value = 0;
    for (const char16_t c : text) {
        const int digit = c >= u'0' && c <= u'9' ? c - u'0'
            : c >= u'a' && c <= u'f'             ? c - u'a' + 10
            : c >= u'A' && c <= u'F'             ? c - u'A' + 10
                                                 : -1;
        if (digit < 0)
            return false;
        value = value << 4 | uint64_t(digit);
    }
    return value <= limit;
}

// The data after '=': "text", dword:0000000a, hex:00,01 or hex(N):00,01.
bool parseValueData(const std::u16string &text, RegistryValue &value)
{
    size_t position = 0;
    if (text.compare(0, 1, u"\"") == 0) {
        std::u16string string;
        if (!readQuoted(text, position, string) || !trim(text.substr(position)).empty())
            return false;
        value.type = REG_SZ;
        for (const char16_t c : string + u'\0') {
            value.data.push_back(BYTE(c & 0xFF));
            value.data.push_back(BYTE(c >> 8));
        }
        return true;
    }
    uint64_t number = 0;
    if (text.compare(0, 6, u"dword:") == 0) {
        if (!parseHex(trim(text.substr(6)), 0xFFFFFFFFu, number))
            return false;
        value.type = REG_DWORD;
        for (int shift = 0; shift < 32; shift += 8)
            value.data.push_back(BYTE(number >> shift));
        return true;
    }
    if (text.compare(0, 3, u"hex") != 0)
        return false;
    value.type = REG_BINARY;
    position = text.find(u':');
    if (position == std::u16string::npos)
        return false;
    if (position > 3) { // hex(N): the type in hex
        if (text[3] != u'(' || text[position - 1] != u')' || !parseHex(text.substr(4, position - 5), 0xFFFFFFFFu, number))
            return false;
        value.type = DWORD(number);
    }
    std::u16string bytes = text.substr(position + 1);
    bytes.erase(std::remove_if(bytes.begin(), bytes.end(), [](char16_t c) { return c == u' ' || c == u'\t' || c == u'\\'; }),
                bytes.end());
    for (size_t start = 0; start < bytes.size();) {
        const size_t end = std::min(bytes.find(u',', start), bytes.size());
        if (!parseHex(bytes.substr(start, end - start), 0xFF, number))
            return false;
        value.data.push_back(BYTE(number));
        start = end + 1;
    }
    return true;
}

// Parses the file as regedit imports it: later sections and values replace
// earlier ones; "[-Key]" sections and "Name"=- lines (deletions) are ignored
// or remove what came before; lines that do not parse are skipped.
Hive parseHive(const std::u16string &text)
{
    Hive hive;
    KeyValues *current = nullptr;
    std::u16string pending; // a hex value continued over lines ending in '\'
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = std::min(text.find(u'\n', start), text.size());
        std::u16string line = trim(text.substr(start, end - start));
        start = end + 1;
        if (!pending.empty() || (!line.empty() && line.back() == u'\\' && line.find(u"=hex") != std::u16string::npos)) {
            pending += line;
            if (!pending.empty() && pending.back() == u'\\')
                continue;
            line.swap(pending);
            pending.clear();
        }
        if (line.empty() || line[0] == u';')
            continue;
        if (line[0] == u'[') {
            const bool deletion = line.size() > 1 && line[1] == u'-';
            current = deletion || line.back() != u']'
                ? nullptr
                : &hive[sectionKeyPath(line.substr(1, line.size() - 2))];
            continue;
        }
        if (!current)
            continue;
        size_t position = 0;
        std::u16string name;
        if (line[0] == u'@')
            position = 1;
        else if (!readQuoted(line, position, name))
            continue;
        position = line.find_first_not_of(u" \t", position);
        if (position == std::u16string::npos || line[position] != u'=')
            continue;
        const std::u16string data = trim(line.substr(position + 1));
        RegistryValue value;
        if (data == u"-")
            current->erase(foldCase(name));
        else if (parseValueData(data, value))
            (*current)[foldCase(name)] = std::move(value);
    }
    return hive;
}

bool keyExists(const Hive &hive, const std::u16string &path)
{
    if (path.empty() || hive.count(path))
        return true;
    const std::u16string prefix = path + u'\\';
    const auto below = hive.lower_bound(prefix);
    return below != hive.end() && below->first.compare(0, prefix.size(), prefix) == 0;
}

HiveFile rootHive(HKEY root, DWORD desired)
{
    if (root == HKEY_CURRENT_USER)
        return HiveFile::User;
    if (root == HKEY_LOCAL_MACHINE)
        return (desired & KEY_WOW64_32KEY) ? HiveFile::Machine32 : HiveFile::Machine;
    return HiveFile::None;
}

bool isPredefined(HKEY key)
{
    const auto value = reinterpret_cast<ULONG_PTR>(key);
    return value >= 0x80000000u && value <= 0x80000006u; // HKEY_CLASSES_ROOT .. HKEY_DYN_DATA
}

// Where a key named relative to `key` lives. False for an unknown handle.
// Takes openKeysLock.
bool resolveKey(HKEY key, const std::u16string &subKey, DWORD desired, HiveFile &hive, std::u16string &path)
{
    if (isPredefined(key)) {
        hive = rootHive(key, desired);
        path = normalizeKeyPath(subKey);
        return true;
    }
    std::lock_guard<std::mutex> guard(openKeysLock);
    auto *open = static_cast<OpenKey *>(key);
    if (!openKeys.count(open))
        return false;
    hive = open->hive;
    if (hive == HiveFile::Machine || hive == HiveFile::Machine32) {
        if (desired & KEY_WOW64_32KEY)
            hive = HiveFile::Machine32;
        else if (desired & KEY_WOW64_64KEY)
            hive = HiveFile::Machine;
    }
    path = normalizeKeyPath(open->path + u'\\' + subKey);
    return true;
}

LSTATUS openKey(HKEY key, const std::u16string &subKey, DWORD desired, OpenKey &opened)
{
    if (!resolveKey(key, subKey, desired, opened.hive, opened.path))
        return ERROR_INVALID_HANDLE;
    const Hive hive = opened.hive == HiveFile::None ? Hive() : parseHive(readHiveText(hivePath(opened.hive)));
    if (!keyExists(hive, opened.path))
        return ERROR_FILE_NOT_FOUND;
    const auto found = hive.find(opened.path);
    if (found != hive.end())
        opened.values = found->second;
    return ERROR_SUCCESS;
}

} // namespace

/// RegOpenKeyExW: opens a registry key for reading.
///   key     [in]   HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE (other predefined
///                  roots are empty) or an open key.
///   subKey  [in]   the path below key, parts separated by '\\'; NULL or empty
///                  opens key itself again.
///   options [in]   ignored.
///   desired [in]   KEY_READ or its parts, with KEY_WOW64_32KEY for the 32-bit
///                  machine view; write rights are refused.
///   result  [out]  receives the key, to be closed with RegCloseKey.
/// Returns ERROR_SUCCESS; ERROR_FILE_NOT_FOUND for a missing key (a key
/// exists when a section names it or a key below it); ERROR_ACCESS_DENIED
/// when write rights are asked; ERROR_INVALID_HANDLE; ERROR_INVALID_PARAMETER
/// for a null result.
/// Differs from Windows: read-only; names compare case-insensitively for
/// ASCII, Latin-1, Greek and Cyrillic letters; empty path parts are skipped;
/// an open key sees its values as they were when it was opened.
/// Takes openKeysLock.
PLATFORM_API LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, DWORD desired, PHKEY result)
{
    (void)options;
    constexpr DWORD writeRights = 0x0002 | 0x0004 | 0x0020 | 0x00010000 | 0x00040000 | 0x00080000;
    if (!result)
        return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    OpenKey opened{};
    const LSTATUS status = openKey(key, subKey ? subKey : u"", desired, opened);
    if (status != ERROR_SUCCESS)
        return status;
    if (desired & writeRights)
        return ERROR_ACCESS_DENIED;
    auto *handle = new OpenKey(std::move(opened));
    std::lock_guard<std::mutex> guard(openKeysLock);
    openKeys.insert(handle);
    *result = handle;
    return ERROR_SUCCESS;
}

/// RegQueryValueExW: reads a value of an open key.
///   key       [in]      an open key or a predefined root.
///   valueName [in]      the value's name; NULL or empty for the default value ("@").
///   reserved  [in]      must be NULL.
///   type      [out]     receives REG_SZ, REG_DWORD, REG_BINARY or the hex(N) type.
///   data      [out]     receives the data; NULL asks only the size.
///   dataSize  [in,out]  in: capacity in bytes; out: the data's size (a REG_SZ
///                       counts its NUL).
/// Returns ERROR_SUCCESS; ERROR_MORE_DATA with the size needed in *dataSize
/// (and the type) when data is too small; ERROR_FILE_NOT_FOUND for a missing
/// value; ERROR_INVALID_PARAMETER for reserved set or data without dataSize;
/// ERROR_INVALID_HANDLE. Takes openKeysLock.
PLATFORM_API LSTATUS RegQueryValueExW(HKEY key, LPCWSTR valueName, DWORD *reserved, DWORD *type, BYTE *data,
                                      DWORD *dataSize)
{
    if (reserved || (data && !dataSize))
        return ERROR_INVALID_PARAMETER;
    const std::u16string name = foldCase(valueName ? valueName : u"");
    RegistryValue value;
    if (isPredefined(key)) {
        OpenKey root{};
        const LSTATUS status = openKey(key, u"", 0, root);
        if (status != ERROR_SUCCESS)
            return status;
        if (!root.values.count(name))
            return ERROR_FILE_NOT_FOUND;
        value = root.values[name];
    } else {
        std::lock_guard<std::mutex> guard(openKeysLock);
        auto *open = static_cast<OpenKey *>(key);
        if (!openKeys.count(open))
            return ERROR_INVALID_HANDLE;
        const auto found = open->values.find(name);
        if (found == open->values.end())
            return ERROR_FILE_NOT_FOUND;
        value = found->second;
    }
    if (type)
        *type = value.type;
    const DWORD size = DWORD(value.data.size());
    const DWORD capacity = dataSize ? *dataSize : 0;
    if (dataSize)
        *dataSize = size;
    if (!data)
        return ERROR_SUCCESS;
    if (capacity < size)
        return ERROR_MORE_DATA;
    std::copy(value.data.begin(), value.data.end(), data);
    return ERROR_SUCCESS;
}

/// RegCloseKey: closes an open key; predefined roots need no closing.
/// Returns ERROR_SUCCESS; ERROR_INVALID_HANDLE for anything else. Takes openKeysLock.
PLATFORM_API LSTATUS RegCloseKey(HKEY key)
{
    if (isPredefined(key))
        return ERROR_SUCCESS;
    auto *open = static_cast<OpenKey *>(key);
    {
        std::lock_guard<std::mutex> guard(openKeysLock);
        if (openKeys.erase(open) == 0)
            return ERROR_INVALID_HANDLE;
    }
    delete open;
    return ERROR_SUCCESS;
}
