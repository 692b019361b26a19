#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {

/// What a figure counts in, which decides how it is shown.
enum class Unit : std::uint8_t { percent, bytesPerSecond, tasks };

/// The name of a unit as messages carry it.
[[nodiscard]] std::string_view unitName(Unit unit) noexcept;

/// One measured value, with the topic that it belongs to.
struct Figure {
    std::string topic;
    Parameters parameters;
    Unit unit = Unit::percent;
    double value = 0;
    Dictionary details; ///< what the value was computed from
};

/// Something that can be measured again and again.
class FigureSource {
public:
    virtual ~FigureSource() = default;

    /// Measures everything at the moment `now`, in seconds on a clock that never jumps. What cannot be measured is left
    /// out, for this time or for good.
    [[nodiscard]] virtual std::vector<Figure> sample(double now) = 0;
};

} // namespace vexa::host
