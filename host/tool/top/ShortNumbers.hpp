#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Figures in few characters, for the columns of a table.
namespace vexa::host {

/// A count: as it is below 100,000, else in thousands, millions and so on: 99999, 123k, 1.2M.
[[nodiscard]] std::string shortCount(std::uint64_t count);

/// How many a second: 0, 0.3, 12.5, 123, 123k.
[[nodiscard]] std::string shortRate(double perSecond);

/// An amount of memory or traffic with its unit: 512 B, 23.4 MB.
[[nodiscard]] std::string shortBytes(double bytes);

/// A delay in seconds, in milliseconds or seconds: 0.4ms, 12ms, 1.5s; "-" for none.
[[nodiscard]] std::string shortDelay(const std::optional<double>& seconds);

/// An age in seconds, in its largest unit: 4s, 12m, 3h, 9d; "-" for none.
[[nodiscard]] std::string shortAge(const std::optional<double>& seconds);

/// A span of time in seconds, in its two largest units: 4 s, 3 min 4 s, 2 h 3 min, 9 d 2 h.
[[nodiscard]] std::string spanText(double seconds);

} // namespace vexa::host
