#pragma once

#include <algorithm>
#include <chrono>

namespace vexa::host {

/// `seconds` on the steady clock; no more than 30 years, which is for ever here.
[[nodiscard]] inline std::chrono::steady_clock::duration steadyDuration(double seconds)
{
    constexpr double longest = 1e9;
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>{std::min(seconds, longest)});
}

} // namespace vexa::host
