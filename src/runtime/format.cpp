#include "runtime/format.h"

#include <cstdio>
#include <cstring>

#include "platform/utf.h"

namespace {

void appendAscii(std::u16string &out, const char *text)
{
    for (; *text; ++text)
        out += char16_t(static_cast<unsigned char>(*text));
}

void appendPadded(std::u16string &out, std::u16string_view text, int width, bool leftAlign)
{
    const size_t padding = width > 0 && size_t(width) > text.size() ? size_t(width) - text.size() : 0;
    if (!leftAlign)
        out.append(padding, u' ');
    out.append(text);
    if (leftAlign)
        out.append(padding, u' ');
}

} // namespace

std::u16string FormatWideV(const OLECHAR *format, va_list arguments)
{
    std::u16string out;
    if (!format)
        return out;
    va_list args;
    va_copy(args, arguments);
    for (const OLECHAR *p = format; *p; ++p) {
        if (*p != u'%') {
            out += *p;
            continue;
        }
        const OLECHAR *start = p++;
        std::string spec = "%";
        while (*p && std::strchr("-+ 0#", char(*p)))
            spec += char(*p++);
        bool leftAlign = spec.find('-') != std::string::npos;
        int width = -1, precision = -1;
        if (*p == u'*') {
            width = va_arg(args, int);
            if (width < 0) {
                leftAlign = true;
                width = -width;
            }
            ++p;
        } else {
            for (width = 0; *p >= u'0' && *p <= u'9'; ++p)
                width = width * 10 + (*p - u'0');
        }
        if (*p == u'.') {
            ++p;
            if (*p == u'*') {
                precision = va_arg(args, int);
                ++p;
            } else {
                for (precision = 0; *p >= u'0' && *p <= u'9'; ++p)
                    precision = precision * 10 + (*p - u'0');
            }
        }
        enum { Int, Short, Long64, Size } length = Int;
        if (*p == u'h') {
            length = Short;
            ++p;
        } else if (*p == u'l') {
            ++p;
            if (*p == u'l') {
                length = Long64;
                ++p;
            }
        } else if (p[0] == u'I' && p[1] == u'6' && p[2] == u'4') {
            length = Long64;
            p += 3;
        } else if (*p == u'z') {
            length = Size;
            ++p;
        }
        const char16_t conversion = *p;
        char numeric[128];
        std::string numberSpec = spec;
        if (width >= 0)
            numberSpec += std::to_string(width);
        if (precision >= 0)
            numberSpec += "." + std::to_string(precision);
        switch (conversion) {
        case u'd':
        case u'i': {
            long long value = length == Long64 ? va_arg(args, long long)
                            : length == Size ? (long long)va_arg(args, ptrdiff_t)
                                             : (long long)va_arg(args, int);
            if (length == Short)
                value = short(value);
            std::snprintf(numeric, sizeof numeric, (numberSpec + "lld").c_str(), value);
            appendAscii(out, numeric);
            break;
        }
        case u'u':
        case u'x':
        case u'X':
        case u'o': {
            unsigned long long value = length == Long64 ? va_arg(args, unsigned long long)
                                     : length == Size ? (unsigned long long)va_arg(args, size_t)
                                                      : (unsigned long long)va_arg(args, unsigned);
            if (length == Short)
                value = (unsigned short)value;
            std::snprintf(numeric, sizeof numeric, (numberSpec + "ll" + char(conversion)).c_str(), value);
            appendAscii(out, numeric);
            break;
        }
        case u'p':
            // As on the original platform: the address as 16 upper-case hex digits.
            std::snprintf(numeric, sizeof numeric, "%016llX", (unsigned long long)(uintptr_t)va_arg(args, void *));
            appendPadded(out, platform::toUtf16(numeric), width, leftAlign);
            break;
        case u'c':
        case u'C': {
            const char16_t c = char16_t(va_arg(args, int));
            appendPadded(out, std::u16string_view(&c, 1), width, leftAlign);
            break;
        }
        case u's': {
            const char16_t *text = va_arg(args, const char16_t *);
            std::u16string_view view = text ? std::u16string_view(text) : std::u16string_view(u"(null)");
            if (precision >= 0 && size_t(precision) < view.size())
                view = view.substr(0, size_t(precision));
            appendPadded(out, view, width, leftAlign);
            break;
        }
        case u'S': {
            const char *text = va_arg(args, const char *);
            std::u16string wide = platform::toUtf16(text ? text : "(null)");
            if (precision >= 0 && size_t(precision) < wide.size())
                wide.resize(size_t(precision));
            appendPadded(out, wide, width, leftAlign);
            break;
        }
        case u'%':
            out += u'%';
            break;
        default:
            out.append(start, size_t(p - start) + (*p ? 1 : 0));
            if (!*p)
                --p;
            break;
        }
    }
    va_end(args);
    return out;
}

std::u16string FormatWide(const OLECHAR *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::u16string text = FormatWideV(format, arguments);
    va_end(arguments);
    return text;
}
