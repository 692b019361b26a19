#pragma once

#include <optional>
#include <string_view>

namespace vexa::host {

/// How many tasks ran or wanted to, on the average of the last minutes.
struct LoadAverage {
    double one = 0;
    double five = 0;
    double fifteen = 0;
};

/// Reads /proc/loadavg; nothing when the text is of another form.
[[nodiscard]] std::optional<LoadAverage> readLoadAverage(std::string_view text);

} // namespace vexa::host
