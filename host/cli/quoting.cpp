#include "host/cli/quoting.h"

#include <cstdio>

namespace vrqt::cli {

std::string quoted(const QJsonValue &value)
{
    if (!value.isString())
        return "?";
    std::string result = "\"";
    for (char character : value.toString().toStdString()) {
        switch (character) {
        case '"': result += "\\\""; break;
        case '\\': result += "\\\\"; break;
        case '\n': result += "\\n"; break;
        case '\r': result += "\\r"; break;
        case '\t': result += "\\t"; break;
        default:
            if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\x%02X", unsigned(static_cast<unsigned char>(character)));
                result += escaped;
            } else {
                result += character;
            }
        }
    }
    return result + "\"";
}

} // namespace vrqt::cli
