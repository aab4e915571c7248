#include "host/cli/quoting.h"

#include <QChar>

#include <cstdio>

namespace vrqt::cli {

namespace {

bool NeedsEscape(char32_t code)
{
    switch (QChar::category(code)) {
    case QChar::Other_Control:       // C0, DEL and C1: terminal controls
    case QChar::Other_Format:        // direction overrides, invisible marks
    case QChar::Other_Surrogate:     // half a character
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

void AppendUtf8(char32_t code, std::string *out)
{
    if (code < 0x80) {
        *out += char(code);
        return;
    }
    const int tail = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    static constexpr unsigned char kLead[] = { 0, 0xC0, 0xE0, 0xF0 };
    *out += char(kLead[tail] | (code >> (6 * tail)));
    for (int shift = 6 * (tail - 1); shift >= 0; shift -= 6)
        *out += char(0x80 | ((code >> shift) & 0x3F));
}

std::string Escape(const QString &text, bool quotes)
{
    std::string result;
    result.reserve(std::size_t(text.size()));
    for (int index = 0; index < text.size(); ++index) {
        char32_t code = text.at(index).unicode();
        if (QChar::isHighSurrogate(code) && index + 1 < text.size() && text.at(index + 1).isLowSurrogate())
            code = QChar::surrogateToUcs4(char16_t(code), text.at(++index).unicode());
        switch (code) {
        case '\\': result += "\\\\"; continue;
        case '\n': result += "\\n"; continue;
        case '\r': result += "\\r"; continue;
        case '\t': result += "\\t"; continue;
        case '"':
            result += quotes ? "\\\"" : "\"";
            continue;
        default:
            break;
        }
        if (NeedsEscape(code)) {
            char buffer[16];
            const char *format = code < 0x100 ? "\\x%02X" : code < 0x10000 ? "\\u%04X" : "\\U%08X";
            std::snprintf(buffer, sizeof buffer, format, unsigned(code));
            result += buffer;
            continue;
        }
        AppendUtf8(code, &result);
    }
    return result;
}

} // namespace

std::string escaped(const QString &text)
{
    return Escape(text, false);
}

std::string quoted(const QJsonValue &value)
{
    if (!value.isString())
        return "?";
    return "\"" + Escape(value.toString(), true) + "\"";
}

} // namespace vrqt::cli
