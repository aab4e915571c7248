#include "host/protocol/jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include <cmath>

namespace vrqt::protocol {

namespace {

// Deeper than any request; keeps the recursion's stack small. Qt's own
// reader stops at the same depth.
constexpr int kMaximumDepth = 1024;

bool IsDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool IsHexDigit(char character)
{
    return IsDigit(character) || (character >= 'a' && character <= 'f') || (character >= 'A' && character <= 'F');
}

// A string token, quotes included, as text; escapes are read by Qt's own
// reader, which reads those JSON has as JSON does.
QString DecodedString(std::string_view token)
{
    const std::string_view inner = token.substr(1, token.size() - 2);
    if (inner.find('\\') == std::string_view::npos)
        return QString::fromUtf8(inner.data(), int(inner.size()));
    const QByteArray array = "[" + QByteArray(token.data(), int(token.size())) + "]";
    return QJsonDocument::fromJson(array).array().at(0).toString();
}

class Checker
{
public:
    explicit Checker(std::string_view text) : text(text) {}

    bool document(MemberTexts *members)
    {
        skipSpace();
        if (!value(0, members))
            return false;
        skipSpace();
        return at < text.size() ? fail("text after the JSON value") : true;
    }

    QString problem() const { return QStringLiteral("%1 at offset %2").arg(QLatin1String(reason)).arg(at); }

private:
    bool fail(const char *why)
    {
        reason = why;
        return false;
    }

    bool more() const { return at < text.size(); }
    char peek() const { return more() ? text[at] : '\0'; }

    void skipSpace()
    {
        while (more() && (text[at] == ' ' || text[at] == '\t' || text[at] == '\n' || text[at] == '\r'))
            ++at;
    }

    // members: the top level's, or null below it.
    bool value(int depth, MemberTexts *members)
    {
        if (depth >= kMaximumDepth)
            return fail("values nested too deeply");
        switch (peek()) {
        case '{':
            return object(depth, members);
        case '[':
            return array(depth);
        case '"':
            return string();
        case 't':
            return word("true");
        case 'f':
            return word("false");
        case 'n':
            return word("null");
        default:
            return number();
        }
    }

    bool word(std::string_view expected)
    {
        if (text.substr(at, expected.size()) != expected)
            return fail("no JSON value");
        at += expected.size();
        return true;
    }

    bool object(int depth, MemberTexts *members)
    {
        ++at;
        skipSpace();
        if (peek() == '}') {
            ++at;
            return true;
        }
        for (;;) {
            skipSpace();
            if (peek() != '"')
                return fail("a member name must be a string");
            const std::size_t nameStart = at;
            if (!string())
                return false;
            const std::string_view name = text.substr(nameStart, at - nameStart);
            skipSpace();
            if (peek() != ':')
                return fail("':' expected after a member name");
            ++at;
            skipSpace();
            const std::size_t start = at;
            if (!value(depth + 1, nullptr))
                return false;
            if (members && !members->emplace(DecodedString(name), text.substr(start, at - start)).second) {
                at = start;
                return fail("a member name that appears twice");
            }
            skipSpace();
            if (peek() == '}') {
                ++at;
                return true;
            }
            if (peek() != ',')
                return fail("',' or '}' expected in an object");
            ++at;
        }
    }

    bool array(int depth)
    {
        ++at;
        skipSpace();
        if (peek() == ']') {
            ++at;
            return true;
        }
        for (;;) {
            skipSpace();
            if (!value(depth + 1, nullptr))
                return false;
            skipSpace();
            if (peek() == ']') {
                ++at;
                return true;
            }
            if (peek() != ',')
                return fail("',' or ']' expected in an array");
            ++at;
        }
    }

    // Bytes from 0x80 up are left to Qt's reader, which refuses malformed
    // UTF-8.
    bool string()
    {
        ++at;
        for (;;) {
            if (!more())
                return fail("a string without its closing quote");
            const char character = text[at];
            if (character == '"') {
                ++at;
                return true;
            }
            if (static_cast<unsigned char>(character) < 0x20)
                return fail("a raw control character in a string");
            if (character != '\\') {
                ++at;
                continue;
            }
            if (!escape())
                return false;
        }
    }

    bool escape()
    {
        static constexpr std::string_view kSimple = "\"\\/bfnrt";
        const char kind = at + 1 < text.size() ? text[at + 1] : '\0';
        if (kind != '\0' && kSimple.find(kind) != std::string_view::npos) {
            at += 2;
            return true;
        }
        if (kind != 'u')
            return fail("an escape that JSON does not have");
        for (std::size_t index = at + 2; index < at + 6; ++index) {
            if (index >= text.size() || !IsHexDigit(text[index]))
                return fail("\\u without four hexadecimal digits");
        }
        // Any four digits: JSON takes a lone surrogate too.
        at += 6;
        return true;
    }

    bool digits()
    {
        if (!IsDigit(peek()))
            return false;
        while (IsDigit(peek()))
            ++at;
        return true;
    }

    bool number()
    {
        if (peek() == '-')
            ++at;
        if (peek() == '0')
            ++at;
        else if (!digits())
            return fail("no JSON value");
        if (peek() == '.') {
            ++at;
            if (!digits())
                return fail("a fraction without digits");
        }
        if (peek() == 'e' || peek() == 'E') {
            ++at;
            if (peek() == '+' || peek() == '-')
                ++at;
            if (!digits())
                return fail("an exponent without digits");
        }
        return true;
    }

    std::string_view text;
    std::size_t at = 0;
    const char *reason = "";
};

} // namespace

bool CheckJsonText(std::string_view text, QString *problem, MemberTexts *members)
{
    Checker checker(text);
    MemberTexts found;
    if (!checker.document(members ? &found : nullptr)) {
        if (problem)
            *problem = checker.problem();
        return false;
    }
    if (members)
        members->swap(found);
    return true;
}

namespace {

void AppendUtf8(char32_t code, std::string *out)
{
    if (code < 0x800) {
        out->push_back(char(0xc0 | (code >> 6)));
    } else if (code < 0x10000) {
        out->push_back(char(0xe0 | (code >> 12)));
        out->push_back(char(0x80 | ((code >> 6) & 0x3f)));
    } else {
        out->push_back(char(0xf0 | (code >> 18)));
        out->push_back(char(0x80 | ((code >> 12) & 0x3f)));
        out->push_back(char(0x80 | ((code >> 6) & 0x3f)));
    }
    out->push_back(char(0x80 | (code & 0x3f)));
}

void AppendString(const QString &text, std::string *out)
{
    static const char hex[] = "0123456789abcdef";
    out->push_back('"');
    const QChar *characters = text.constData();
    const int size = text.size();
    for (int index = 0; index < size; ++index) {
        const char16_t unit = characters[index].unicode();
        if (unit >= 0x80) {
            const bool pair = QChar::isHighSurrogate(unit) && index + 1 < size && characters[index + 1].isLowSurrogate();
            if (QChar::isSurrogate(unit) && !pair) {
                // A lone surrogate has no UTF-8: escaped, as Qt does.
                out->append("\\u");
                for (int shift = 12; shift >= 0; shift -= 4)
                    out->push_back(hex[(unit >> shift) & 0xf]);
                continue;
            }
            const char32_t code = pair ? QChar::surrogateToUcs4(unit, characters[++index].unicode()) : unit;
            AppendUtf8(code, out);
            continue;
        }
        switch (unit) {
        case '"': out->append("\\\""); break;
        case '\\': out->append("\\\\"); break;
        case '\b': out->append("\\b"); break;
        case '\f': out->append("\\f"); break;
        case '\n': out->append("\\n"); break;
        case '\r': out->append("\\r"); break;
        case '\t': out->append("\\t"); break;
        default:
            if (unit < 0x20) {
                out->append("\\u00");
                out->push_back(hex[unit >> 4]);
                out->push_back(hex[unit & 0xf]);
            } else {
                out->push_back(char(unit));
            }
        }
    }
    out->push_back('"');
}

void AppendNumber(double number, std::string *out)
{
    if (!std::isfinite(number)) {
        out->append("null");
        return;
    }
    // Whole numbers that a double holds exactly are written as integers.
    constexpr double kLargestExact = 9007199254740992.0; // 2^53
    QByteArray text;
    if (number == std::trunc(number) && std::fabs(number) <= kLargestExact)
        text = QByteArray::number(qint64(number));
    else
        text = QByteArray::number(number, 'g', QLocale::FloatingPointShortest);
    out->append(text.constData(), std::size_t(text.size()));
}

} // namespace

void AppendCompactJson(const QJsonValue &value, std::string *out)
{
    switch (value.type()) {
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        out->append("null");
        break;
    case QJsonValue::Bool:
        out->append(value.toBool() ? "true" : "false");
        break;
    case QJsonValue::Double:
        AppendNumber(value.toDouble(), out);
        break;
    case QJsonValue::String:
        AppendString(value.toString(), out);
        break;
    case QJsonValue::Array: {
        out->push_back('[');
        bool first = true;
        for (const QJsonValue &item : value.toArray()) {
            if (!first)
                out->push_back(',');
            first = false;
            AppendCompactJson(item, out);
        }
        out->push_back(']');
        break;
    }
    case QJsonValue::Object: {
        out->push_back('{');
        const QJsonObject object = value.toObject();
        for (auto member = object.begin(); member != object.end(); ++member) {
            if (member != object.begin())
                out->push_back(',');
            AppendString(member.key(), out);
            out->push_back(':');
            AppendCompactJson(member.value(), out);
        }
        out->push_back('}');
        break;
    }
    }
}

} // namespace vrqt::protocol
