#pragma once

#include <optional>
#include <string_view>

namespace vexa::host {

/// A span of time as people write it, in seconds: 90, 1.5, 200ms, 30s, 5m, 2h or 7d. Nothing for anything else, and
/// for less than none.
[[nodiscard]] std::optional<double> readDuration(std::string_view text) noexcept;

} // namespace vexa::host
