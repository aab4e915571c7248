// GUIDs: creation and the registry text form "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
#include <sys/random.h>

#include <cerrno>
#include <cstdio>

#include "platform/combase.h"

namespace {

constexpr int guidTextLength = 38; // without the NUL

int hexDigitValue(char16_t c)
{
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

// Reads `digits` hex digits at text[position] into value, most significant
// first; value keeps the digits read so far when a non-hex character stops it,
// which is what Windows leaves in a CLSID parsed from broken text.
template <typename Field>
bool readHex(const char16_t *text, int position, int digits, Field &value)
{
    value = 0;
    for (int i = 0; i < digits; ++i) {
        const int digit = hexDigitValue(text[position + i]);
        if (digit < 0)
            return false;
        value = Field((value << 4) | Field(digit));
    }
    return true;
}

// The braced form, exactly 38 characters; hex digits of either case. Fields
// are stored as they are read, so on failure guid holds what came before it.
bool parseGuid(const char16_t *text, GUID &guid)
{
    if (!readHex(text, 1, 8, guid.Data1) || text[9] != u'-')
        return false;
    if (!readHex(text, 10, 4, guid.Data2) || text[14] != u'-')
        return false;
    if (!readHex(text, 15, 4, guid.Data3) || text[19] != u'-')
        return false;
    static constexpr int bytePositions[8] = { 20, 22, 25, 27, 29, 31, 33, 35 };
    for (int i = 0; i < 8; ++i) {
        if (i == 2 && text[24] != u'-')
            return false;
        if (!readHex(text, bytePositions[i], 2, guid.Data4[i]))
            return false;
    }
    return text[37] == u'}' && text[38] == u'\0';
}

} // namespace

/// CoCreateGuid: makes a new random GUID (version 4, variant 10xx).
///   guid [out]  receives the GUID.
/// Returns S_OK; E_INVALIDARG for a null pointer; HRESULT_FROM_WIN32 of the
/// failure when the kernel cannot supply random bytes.
PLATFORM_API HRESULT CoCreateGuid(GUID *guid)
{
    if (!guid)
        return E_INVALIDARG;
    uint8_t bytes[sizeof(GUID)];
    size_t filled = 0;
    while (filled < sizeof(bytes)) {
        const ssize_t got = getrandom(bytes + filled, sizeof(bytes) - filled, 0);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED);
        }
        filled += size_t(got);
    }
    guid->Data1 = uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | bytes[3];
    guid->Data2 = uint16_t(bytes[4] << 8 | bytes[5]);
    guid->Data3 = uint16_t(((bytes[6] << 8 | bytes[7]) & 0x0FFF) | 0x4000);
    for (int i = 0; i < 8; ++i)
        guid->Data4[i] = bytes[8 + i];
    guid->Data4[0] = uint8_t((guid->Data4[0] & 0x3F) | 0x80);
    return S_OK;
}

/// StringFromGUID2: writes a GUID in its braced, upper-case registry form.
///   guid     [in]   the GUID.
///   text     [out]  receives the text and its NUL.
///   capacity [in]   size of text in characters.
/// Returns the characters written including the NUL (39), or 0 when the
/// buffer is too small or null.
PLATFORM_API INT StringFromGUID2(REFGUID guid, LPOLESTR text, INT capacity)
{
    if (!text || capacity < guidTextLength + 1)
        return 0;
    char narrow[guidTextLength + 1];
    std::snprintf(narrow, sizeof(narrow), "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", unsigned(guid.Data1),
                  unsigned(guid.Data2), unsigned(guid.Data3), guid.Data4[0], guid.Data4[1], guid.Data4[2],
                  guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    for (int i = 0; i <= guidTextLength; ++i)
        text[i] = char16_t(narrow[i]);
    return guidTextLength + 1;
}

/// CLSIDFromString: reads a class identifier from its braced text form.
///   text  [in]   "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}"; NULL gives CLSID_NULL.
///   clsid [out]  receives the identifier.
/// Returns S_OK; E_INVALIDARG for a null clsid; CO_E_CLASSSTRING for any other
/// text. Like Windows, text without the opening brace leaves CLSID_NULL, and
/// braced text that breaks off leaves the fields read before the break.
/// Differs from Windows: there is no class registry, so a ProgID is never
/// looked up and always gives CO_E_CLASSSTRING.
PLATFORM_API HRESULT CLSIDFromString(LPCOLESTR text, CLSID *clsid)
{
    if (!clsid)
        return E_INVALIDARG;
    if (!text || text[0] != u'{') {
        *clsid = CLSID_NULL;
        return text ? CO_E_CLASSSTRING : S_OK;
    }
    return parseGuid(text, *clsid) ? S_OK : CO_E_CLASSSTRING;
}
