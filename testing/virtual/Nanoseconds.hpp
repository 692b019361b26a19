#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace vexa::testing {

/// A moment or a span of virtual time.
using Nanoseconds = std::int64_t;

constexpr Nanoseconds nanosecondsInSecond = 1'000'000'000;

/// The farthest moment that a clock can show, in seconds; the longest delay still fits behind it.
constexpr double farthestSeconds = 6.0e9;

/// `seconds` to the nearest nanosecond. Throws std::invalid_argument for what no clock can show.
[[nodiscard]] inline Nanoseconds toNanoseconds(double seconds)
{
    if (!(std::abs(seconds) <= farthestSeconds)) {
        throw std::invalid_argument{"a time beyond the reach of the virtual clock"};
    }
    // Whole seconds apart, since the product of all of it would lose the last digits.
    const double whole = std::floor(seconds);
    return static_cast<Nanoseconds>(whole) * nanosecondsInSecond +
           std::llround((seconds - whole) * static_cast<double>(nanosecondsInSecond));
}

[[nodiscard]] inline double toSeconds(Nanoseconds time) noexcept
{
    const Nanoseconds rest = ((time % nanosecondsInSecond) + nanosecondsInSecond) % nanosecondsInSecond;
    const Nanoseconds whole = (time - rest) / nanosecondsInSecond;
    return static_cast<double>(whole) + static_cast<double>(rest) / static_cast<double>(nanosecondsInSecond);
}

/// The time to wait for a delay of `seconds`: none for what is not positive, and a hundred years at most.
[[nodiscard]] inline Nanoseconds delayNanoseconds(double seconds)
{
    constexpr double longest = 100.0 * 365.0 * 24.0 * 3600.0;
    if (!(seconds > 0.0)) {
        return 0;
    }
    return std::max<Nanoseconds>(1, toNanoseconds(std::min(seconds, longest)));
}

/// The sum. Throws std::invalid_argument when no clock can show it.
[[nodiscard]] inline Nanoseconds checkedSum(Nanoseconds time, Nanoseconds span)
{
    const auto farthest = static_cast<Nanoseconds>(farthestSeconds) * nanosecondsInSecond;
    if (span > 0 ? time > farthest - span : time < -farthest - span) {
        throw std::invalid_argument{"a time beyond the reach of the virtual clock"};
    }
    return time + span;
}

} // namespace vexa::testing
