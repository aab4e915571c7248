// File version blocks. A shared object has no version resource here; its
// version is the number that its real file name carries after ".so.", the
// way the dynamic loader's names are versioned.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/system.h"
#include "platform/utf.h"

namespace {

constexpr DWORD fixedInfoSignature = 0xFEEF04BD;

// The version block: a tag, then the fixed information.
struct VersionBlock {
    char tag[4];
    VS_FIXEDFILEINFO fixed;
};

bool versionFromFileName(LPCWSTR fileName, VS_FIXEDFILEINFO &fixed)
{
    if (!fileName || !*fileName) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    char resolved[PATH_MAX];
    if (!realpath(platform::toUtf8(fileName).c_str(), resolved)) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return false;
    }
    const char *base = std::strrchr(resolved, '/');
    base = base ? base + 1 : resolved;
    const char *suffix = std::strstr(base, ".so.");
    WORD parts[4] = {};
    int count = 0;
    for (const char *p = suffix ? suffix + 4 : nullptr; p && *p && count < 4; ++count) {
        char *end = nullptr;
        const unsigned long value = std::strtoul(p, &end, 10);
        if (end == p || value > 0xFFFF)
            break;
        parts[count] = WORD(value);
        p = *end == '.' ? end + 1 : nullptr;
    }
    if (count == 0) {
        SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
        return false;
    }
    fixed = VS_FIXEDFILEINFO{};
    fixed.dwSignature = fixedInfoSignature;
    fixed.dwStrucVersion = 0x00010000;
    fixed.dwFileVersionMS = DWORD(parts[0]) << 16 | parts[1];
    fixed.dwFileVersionLS = DWORD(parts[2]) << 16 | parts[3];
    fixed.dwProductVersionMS = fixed.dwFileVersionMS;
    fixed.dwProductVersionLS = fixed.dwFileVersionLS;
    return true;
}

} // namespace

/// GetFileVersionInfoSizeW: the size of a file's version block.
///   fileName [in]   path of the file (symbolic links are followed)
///   handle   [out]  optional, set to 0
/// Returns the size, or 0 with ERROR_FILE_NOT_FOUND, ERROR_INVALID_PARAMETER
/// or ERROR_RESOURCE_TYPE_NOT_FOUND (the name carries no version).
PLATFORM_API DWORD GetFileVersionInfoSizeW(LPCWSTR fileName, DWORD *handle)
{
    if (handle)
        *handle = 0;
    VS_FIXEDFILEINFO fixed;
    return versionFromFileName(fileName, fixed) ? DWORD(sizeof(VersionBlock)) : 0;
}

/// GetFileVersionInfoW: reads a file's version block.
///   fileName [in]   path of the file
///   handle   [in]   ignored
///   size     [in]   bytes at data
///   data     [out]  the block, for VerQueryValueW
/// Returns FALSE with the errors of GetFileVersionInfoSizeW, or
/// ERROR_INSUFFICIENT_BUFFER when size is too small.
PLATFORM_API BOOL GetFileVersionInfoW(LPCWSTR fileName, DWORD, DWORD size, LPVOID data)
{
    VersionBlock block{ { 'V', 'R', 'Q', 'T' }, {} };
    if (!versionFromFileName(fileName, block.fixed))
        return FALSE;
    if (!data || size < sizeof block) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    std::memcpy(data, &block, sizeof block);
    return TRUE;
}

/// VerQueryValueW: a value of a version block. Only the root "\\" (the
/// fixed information) is kept here.
///   block    [in]   from GetFileVersionInfoW
///   subBlock [in]   "\\" (or "/")
///   buffer   [out]  points into the block
///   length   [out]  bytes of the value
/// Returns FALSE for any other sub-block or a block not made here.
PLATFORM_API BOOL VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID *buffer, UINT *length)
{
    if (!block || !subBlock || !buffer)
        return FALSE;
    const auto *versionBlock = static_cast<const VersionBlock *>(block);
    if (std::memcmp(versionBlock->tag, "VRQT", 4) != 0 || versionBlock->fixed.dwSignature != fixedInfoSignature)
        return FALSE;
    const std::u16string_view path(subBlock);
    if (path != u"\\" && path != u"/")
        return FALSE;
    *buffer = const_cast<VS_FIXEDFILEINFO *>(&versionBlock->fixed);
    if (length)
        *length = sizeof(VS_FIXEDFILEINFO);
    return TRUE;
}
