// A point in time after which a wait gives up.
#pragma once

#include <algorithm>
#include <chrono>

namespace vrqt::protocol {

class Deadline
{
public:
    using Clock = std::chrono::steady_clock;

    static Deadline after(std::chrono::milliseconds limit) { return Deadline(Clock::now() + limit); }
    static Deadline never() { return Deadline(Clock::time_point::max()); }

    bool passed() const { return Clock::now() >= end; }
    // For poll(2): -1 for never, else the milliseconds left, rounded up.
    int pollTimeout() const
    {
        if (end == Clock::time_point::max())
            return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        return int(std::clamp<long long>(left, 0, 24 * 3600 * 1000));
    }
    // The earlier of the two.
    Deadline capped(std::chrono::milliseconds limit) const { return Deadline(std::min(end, Clock::now() + limit)); }

private:
    explicit Deadline(Clock::time_point end) : end(end) {}
    Clock::time_point end;
};

} // namespace vrqt::protocol
