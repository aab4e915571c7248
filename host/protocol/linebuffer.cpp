#include "host/protocol/linebuffer.h"

namespace vrqt::protocol {

void LineBuffer::append(const char *data, std::size_t size)
{
    if (tooLong)
        return;
    pending.append(data, size);
}

std::optional<std::string> LineBuffer::takeLine()
{
    if (tooLong)
        return std::nullopt;
    const std::size_t end = pending.find('\n', scanned);
    if (end == std::string::npos) {
        scanned = pending.size();
        // A line of exactly the limit may still wait for the "\n" after its "\r".
        const bool endsInReturn = !pending.empty() && pending.back() == '\r';
        if (pending.size() > maximum + (endsInReturn ? 1 : 0))
            tooLong = true;
        return std::nullopt;
    }
    std::size_t length = end;
    if (length > 0 && pending[length - 1] == '\r')
        --length;
    if (length > maximum) {
        tooLong = true;
        return std::nullopt;
    }
    std::string line = pending.substr(0, length);
    pending.erase(0, end + 1);
    scanned = 0;
    return line;
}

} // namespace vrqt::protocol
