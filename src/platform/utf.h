// Text conversions between the UTF-16 of the automation types and the UTF-8
// of the operating system. Internal to the platform library.
#pragma once

#include <string>
#include <string_view>

#include "platform/basetypes.h"

namespace platform {

// Length in units of a NUL-terminated UTF-16 string; 0 for null.
size_t utf16Length(const char16_t *text);

// Unpaired surrogates and invalid UTF-8 become U+FFFD, as the Windows
// converters do without MB_ERR_INVALID_CHARS.
std::string toUtf8(std::u16string_view text);
std::string toUtf8(const char16_t *text); // null gives ""
std::u16string toUtf16(std::string_view text);

// Copies text into a caller's buffer of capacity units with the Windows
// convention of the ...W queries: on success the length without the NUL;
// when the buffer is too small the length it needs with the NUL.
DWORD copyToBuffer(std::u16string_view text, LPWSTR buffer, DWORD capacity);

} // namespace platform
