// Timing samples for the benchmarks that time each call alone and report
// percentiles, so that two sides taken in turn see the same machine.
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double microseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::micro>(duration).count();
}

inline double percentile(std::vector<double> samples, double fraction)
{
    if (samples.empty())
        return 0;
    const size_t index = std::min(samples.size() - 1, size_t(fraction * double(samples.size())));
    std::nth_element(samples.begin(), samples.begin() + index, samples.end());
    return samples[index];
}

} // namespace bench
