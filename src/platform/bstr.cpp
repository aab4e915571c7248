// BSTR: length-prefixed UTF-16 strings from the process's one allocator.
//
// A string lives in a malloc block laid out as on Windows x64:
//   [4 bytes padding][ULONG byte length][units ...][NUL unit]
// so the string pointer is the block plus 8 and keeps malloc's alignment
// (at least 8), and the byte length sits in the 4 bytes before it.
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <limits>

#include "platform/oleauto.h"
#include "platform/utf.h"

namespace {

constexpr size_t headerBytes = 8;     // padding + byte length
constexpr size_t terminatorBytes = 2; // one NUL unit, also after an odd byte length

// The largest byte length whose block size still fits the 32-bit length
// arithmetic Windows uses; above it allocation fails with NULL.
constexpr UINT maximumByteLength = std::numeric_limits<UINT>::max() - sizeof(OLECHAR) - sizeof(DWORD);

void *blockOf(BSTR string)
{
    return reinterpret_cast<char *>(string) - headerBytes;
}

UINT storedByteLength(BSTR string)
{
    UINT length;
    std::memcpy(&length, reinterpret_cast<const char *>(string) - sizeof(UINT), sizeof length);
    return length;
}

// Allocates (or, with a previous string, reallocates) a block for byteLength
// bytes and writes the prefix and the terminator; the data is left as it is.
// Returns null when the length is too large or memory runs out.
BSTR allocateBytes(BSTR previous, UINT byteLength)
{
    if (byteLength >= maximumByteLength)
        return nullptr;
    // Room for one more byte rounded up to whole units, so that an odd byte
    // length still ends with a NUL byte followed by a NUL unit.
    const size_t dataBytes = (size_t(byteLength) + 1 + 1) & ~size_t(1);
    const size_t total = headerBytes + dataBytes + terminatorBytes;
    void *block = previous ? std::realloc(blockOf(previous), total) : std::malloc(total);
    if (!block)
        return nullptr;
    char *bytes = static_cast<char *>(block);
    std::memset(bytes, 0, sizeof(UINT)); // padding
    std::memcpy(bytes + sizeof(UINT), &byteLength, sizeof byteLength);
    char *data = bytes + headerBytes;
    // NUL byte right after the data, and the NUL unit that follows the last
    // (possibly half) unit.
    data[byteLength] = 0;
    const size_t terminatorUnit = (size_t(byteLength) + 1) / 2;
    std::memset(data + terminatorUnit * 2, 0, terminatorBytes);
    return reinterpret_cast<BSTR>(data);
}

// Length in units that a text of length units takes as bytes, or an
// impossible value when it cannot be represented.
UINT unitsToBytes(UINT length)
{
    return length >= maximumByteLength / sizeof(OLECHAR) ? maximumByteLength : length * UINT(sizeof(OLECHAR));
}

} // namespace

/// SysAllocString: allocates a BSTR holding a copy of a NUL-terminated text.
///   text [in]: the text; may be null.
/// Returns the new string, or null when text is null or memory runs out.
PLATFORM_API BSTR SysAllocString(const OLECHAR *text)
{
    if (!text)
        return nullptr;
    const size_t length = platform::utf16Length(text);
    if (length >= maximumByteLength / sizeof(OLECHAR))
        return nullptr;
    return SysAllocStringLen(text, UINT(length));
}

/// SysAllocStringLen: allocates a BSTR of length units.
///   text [in]: length units to copy (embedded NULs included), or null to
///              leave the units uninitialised as Windows does.
///   length [in]: units.
/// Returns the new string (always NUL-terminated), or null when the length
/// cannot be represented or memory runs out.
PLATFORM_API BSTR SysAllocStringLen(const OLECHAR *text, UINT length)
{
    BSTR string = allocateBytes(nullptr, unitsToBytes(length));
    if (string && text)
        std::memcpy(string, text, size_t(length) * sizeof(OLECHAR));
    return string;
}

/// SysAllocStringByteLen: allocates a BSTR of length bytes.
///   bytes [in]: length bytes to copy, or null for zero-filled contents.
///   length [in]: bytes; may be odd.
/// Returns the new string, followed by a NUL byte and a NUL unit, or null when
/// the length cannot be represented or memory runs out.
PLATFORM_API BSTR SysAllocStringByteLen(LPCSTR bytes, UINT length)
{
    BSTR string = allocateBytes(nullptr, length);
    if (!string)
        return nullptr;
    if (bytes)
        std::memcpy(string, bytes, length);
    else
        std::memset(string, 0, length);
    return string;
}

/// SysReAllocString: replaces *string with a fresh copy of text.
///   string [in/out]: the string to replace; its old value is freed.
///   text [in]: NUL-terminated text, may be null (gives a null string) and may
///              point into the old string.
/// Returns TRUE, or FALSE when string is null or memory runs out (then
/// *string is unchanged).
PLATFORM_API INT SysReAllocString(BSTR *string, const OLECHAR *text)
{
    if (!string)
        return FALSE;
    BSTR replacement = nullptr;
    if (text) {
        replacement = SysAllocString(text);
        if (!replacement)
            return FALSE;
    }
    SysFreeString(*string);
    *string = replacement;
    return TRUE;
}

/// SysReAllocStringLen: resizes *string to length units and copies text in.
///   string [in/out]: the string; null *string allocates a new one.
///   text [in]: length units to copy, or null to keep the old contents (the
///              units beyond them are uninitialised); may overlap the old
///              string, which is read before it is released.
///   length [in]: units.
/// Returns TRUE, or FALSE when string is null, the length cannot be
/// represented or memory runs out (then *string is unchanged).
/// Differs from Windows: where text points into the old string and length
/// reaches past its end, only the old string's units are copied.
PLATFORM_API INT SysReAllocStringLen(BSTR *string, const OLECHAR *text, UINT length)
{
    if (!string)
        return FALSE;
    BSTR old = *string;
    if (!old) {
        *string = SysAllocStringLen(text, length);
        return *string ? TRUE : FALSE;
    }
    const UINT oldLength = SysStringLen(old);
    const bool inside = text && text >= old && text <= old + oldLength;
    if (!text || text == old) {
        // Reallocation keeps the old units in place.
        BSTR resized = allocateBytes(old, unitsToBytes(length));
        if (!resized)
            return FALSE;
        *string = resized;
        return TRUE;
    }
    BSTR replacement = SysAllocStringLen(nullptr, length);
    if (!replacement)
        return FALSE;
    const size_t available = inside ? size_t(old + oldLength - text) : size_t(length);
    std::memcpy(replacement, text, std::min<size_t>(length, available) * sizeof(OLECHAR));
    SysFreeString(old);
    *string = replacement;
    return TRUE;
}

/// SysFreeString: frees a BSTR.
///   string [in]: the string, or null (nothing happens).
PLATFORM_API void SysFreeString(BSTR string)
{
    if (string)
        std::free(blockOf(string));
}

/// SysStringLen: the length in whole units (the byte length halved).
///   string [in]: the string, or null (gives 0).
PLATFORM_API UINT SysStringLen(BSTR string)
{
    return string ? storedByteLength(string) / sizeof(OLECHAR) : 0;
}

/// SysStringByteLen: the length in bytes.
///   string [in]: the string, or null (gives 0).
PLATFORM_API UINT SysStringByteLen(BSTR string)
{
    return string ? storedByteLength(string) : 0;
}

/// VarBstrCat: concatenates two strings byte for byte into a new string.
///   left, right [in]: the strings; null counts as empty.
///   result [out]: the new string.
/// Returns S_OK, E_INVALIDARG when result is null, E_OUTOFMEMORY when the
/// result cannot be allocated.
PLATFORM_API HRESULT VarBstrCat(BSTR left, BSTR right, LPBSTR result)
{
    if (!result)
        return E_INVALIDARG;
    const UINT leftBytes = SysStringByteLen(left);
    const UINT rightBytes = SysStringByteLen(right);
    if (rightBytes > std::numeric_limits<UINT>::max() - leftBytes)
        return E_OUTOFMEMORY;
    BSTR joined = SysAllocStringByteLen(nullptr, leftBytes + rightBytes);
    if (!joined)
        return E_OUTOFMEMORY;
    if (leftBytes)
        std::memcpy(joined, left, leftBytes);
    if (rightBytes)
        std::memcpy(reinterpret_cast<char *>(joined) + leftBytes, right, rightBytes);
    *result = joined;
    return S_OK;
}
