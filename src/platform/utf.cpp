#include "platform/utf.h"

namespace platform {

size_t utf16Length(const char16_t *text)
{
    return text ? std::char_traits<char16_t>::length(text) : 0;
}

std::string toUtf8(std::u16string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        if (c < 0x80) {
            out += char(c);
        } else if (c < 0x800) {
            out += char(0xC0 | (c >> 6));
            out += char(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += char(0xE0 | (c >> 12));
            out += char(0x80 | ((c >> 6) & 0x3F));
            out += char(0x80 | (c & 0x3F));
        } else {
            out += char(0xF0 | (c >> 18));
            out += char(0x80 | ((c >> 12) & 0x3F));
            out += char(0x80 | ((c >> 6) & 0x3F));
            out += char(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::string toUtf8(const char16_t *text)
{
    return text ? toUtf8(std::u16string_view(text)) : std::string();
}

std::u16string toUtf16(std::string_view text)
{
    std::u16string out;
    out.reserve(text.size());
    size_t i = 0;
    while (i < text.size()) {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        int extra = lead < 0x80 ? 0 : (lead >> 5) == 0x6 ? 1 : (lead >> 4) == 0xE ? 2 : (lead >> 3) == 0x1E ? 3 : -1;
        char32_t c = extra == 0 ? lead : extra == 1 ? (lead & 0x1F) : extra == 2 ? (lead & 0x0F) : (lead & 0x07);
        bool valid = extra >= 0;
        for (int k = 1; valid && k <= extra; ++k) {
            if (i + k >= text.size() || (static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
                valid = false;
            else
                c = (c << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        }
        static constexpr char32_t minimum[] = { 0, 0x80, 0x800, 0x10000 };
        if (!valid || c < minimum[extra] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            out += u'\uFFFD';
            ++i;
            continue;
        }
        i += size_t(extra) + 1;
        if (c >= 0x10000) {
            c -= 0x10000;
            out += char16_t(0xD800 + (c >> 10));
            out += char16_t(0xDC00 + (c & 0x3FF));
        } else {
            out += char16_t(c);
        }
    }
    return out;
}

DWORD copyToBuffer(std::u16string_view text, LPWSTR buffer, DWORD capacity)
{
    if (!buffer || capacity <= text.size())
        return DWORD(text.size() + 1);
    text.copy(buffer, text.size());
    buffer[text.size()] = u'\0';
    return DWORD(text.size());
}

} // namespace platform
