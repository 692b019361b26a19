#include <host/tool/display/Numbers.hpp>

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace vexa::host {

namespace {

std::string bytesPerSecond(double value)
{
    constexpr double step = 1000;
    constexpr std::array<std::string_view, 5> prefixes{"", "k", "M", "G", "T"};
    std::size_t prefix = 0;
    // Half a unit of the last digit below the step, so that nothing is rounded up to 1000.0.
    while (value >= step - 0.05 && prefix + 1 < prefixes.size()) {
        value /= step;
        ++prefix;
    }
    return fmt::format("{:.{}f} {}B/s", value, prefix == 0 ? 0 : 1, prefixes[prefix]);
}

} // namespace

std::string displayed(double value, Unit unit)
{
    switch (unit) {
    case Unit::percent:
        return fmt::format("{:.1f} %", value);
    case Unit::bytesPerSecond:
        return bytesPerSecond(value);
    case Unit::tasks:
        return fmt::format("{:.2f}", value);
    }
    return {};
}

} // namespace vexa::host
