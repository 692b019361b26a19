#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vexa::host {

/// Delays between the sending and the arrival of messages, in seconds. All but the count are 0 when there is none.
struct DelayFigures {
    std::uint64_t count = 0;
    double mean = 0;
    double minimum = 0; ///< below 0 when the receiver's clock is behind the sender's
    double maximum = 0;
    double median = 0;       ///< to a fifth of its value
    double percentile99 = 0; ///< the delay that 99 of 100 do not exceed, to a fifth of its value
};

/// Counts delays in classes that grow by the square root of two, from a tenth of a millisecond to a hundred seconds.
/// For one thread at a time.
class DelayHistogram {
public:
    /// `delay` in seconds.
    void add(double delay) noexcept;

    [[nodiscard]] DelayFigures figures() const noexcept;

private:
    static constexpr std::size_t classCount = 42;

    /// The delay below which `fraction` of all lie.
    [[nodiscard]] double quantile(double fraction) const noexcept;

    std::array<std::uint64_t, classCount> classes_{};
    std::uint64_t count_ = 0;
    double sum_ = 0;
    double minimum_ = 0;
    double maximum_ = 0;
};

} // namespace vexa::host
