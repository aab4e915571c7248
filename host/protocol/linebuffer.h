// Splits a byte stream into lines: the framing of the protocol, one JSON
// document a line, each ended by "\n".
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "host/protocol/protocol.h"

namespace vrqt::protocol {

class LineBuffer
{
public:
    explicit LineBuffer(std::size_t maximumLineLength = kMaximumLineLength) : maximum(maximumLineLength) {}

    // Adds received bytes; they may hold any number of lines or part of one.
    void append(const char *data, std::size_t size);
    // The oldest complete line without its "\n" (and without a "\r" before
    // it), or nothing while no line is complete or after an overflow.
    std::optional<std::string> takeLine();
    // True once a line (without its "\r\n" or "\n") has grown past the
    // limit: the rest of the stream
    // cannot be split reliably, so the buffer takes nothing more.
    bool overflowed() const { return tooLong; }
    // Bytes of an unfinished line (an unterminated last line at end of stream).
    bool hasPartialLine() const { return !pending.empty(); }

private:
    std::string pending;
    std::size_t scanned = 0; // pending[0, scanned) holds no "\n"
    std::size_t maximum;
    bool tooLong = false;
};

} // namespace vrqt::protocol
