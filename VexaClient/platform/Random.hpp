#pragma once

#include <cstdint>

namespace vexa {

class Platform;

/// A whole number drawn uniformly from 0 to `bound` - 1, without bias: draws that would favour some results are
/// rejected (D. Lemire, Fast Random Integer Generation in an Interval, 2019). `bound` is 1 or more.
[[nodiscard]] std::uint64_t uniformBelow(Platform& platform, std::uint64_t bound);

/// A number drawn uniformly from [lower, upper): a draw that rounds to the upper bound is drawn again.
[[nodiscard]] double uniformBetween(Platform& platform, double lower, double upper);

} // namespace vexa
