#include <host/tool/top/ShortNumbers.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace vexa::host {

namespace {

constexpr double thousand = 1000;
constexpr double minute = 60;
constexpr double hour = 60 * minute;
constexpr double day = 24 * hour;

/// The number of thousands, and how often it was divided, so that the text never reads 1000 of anything.
struct Scaled {
    double value;
    std::size_t times;
};

Scaled scaled(double value, std::size_t most)
{
    Scaled result{value, 0};
    while (result.value >= thousand - 0.5 && result.times < most) {
        result.value /= thousand;
        ++result.times;
    }
    return result;
}

/// One digit behind the point below ten, which would otherwise be coarse.
std::string threeDigits(double value)
{
    return fmt::format("{:.{}f}", value, value < 9.95 ? 1 : 0);
}

} // namespace

std::string shortCount(std::uint64_t count)
{
    constexpr std::uint64_t written = 100'000;
    constexpr std::array<std::string_view, 7> units{"", "k", "M", "G", "T", "P", "E"};
    if (count < written) {
        return fmt::format("{}", count);
    }
    const Scaled number = scaled(static_cast<double>(count), units.size() - 1);
    return fmt::format("{}{}", threeDigits(number.value), units[number.times]);
}

std::string shortRate(double perSecond)
{
    constexpr double coarse = 99.95;
    constexpr double largest = 1e18;
    if (!(perSecond > 0)) {
        return "0";
    }
    if (perSecond < coarse) {
        // What happens hardly ever is not nothing.
        return fmt::format("{:.1f}", std::max(perSecond, 0.1));
    }
    return shortCount(static_cast<std::uint64_t>(std::min(std::round(perSecond), largest)));
}

std::string shortBytes(double bytes)
{
    constexpr std::array<std::string_view, 6> units{"B", "kB", "MB", "GB", "TB", "PB"};
    const Scaled number = scaled(std::max(bytes, 0.0), units.size() - 1);
    return fmt::format("{:.{}f} {}", number.value, number.times == 0 ? 0 : 1, units[number.times]);
}

std::string shortDelay(const std::optional<double>& seconds)
{
    if (!seconds || !std::isfinite(*seconds)) {
        return "-";
    }
    const double size = std::abs(*seconds);
    const double milliseconds = *seconds * thousand;
    if (size < 0.00995) {
        return fmt::format("{:.1f}ms", milliseconds);
    }
    if (size < 0.9995) {
        return fmt::format("{:.0f}ms", milliseconds);
    }
    return fmt::format("{:.{}f}s", *seconds, size < 99.95 ? 1 : 0);
}

std::string shortAge(const std::optional<double>& seconds)
{
    if (!seconds || !std::isfinite(*seconds)) {
        return "-";
    }
    // Clocks that differ a little make no message come from the future.
    const double age = std::floor(std::max(*seconds, 0.0));
    if (age < minute) {
        return fmt::format("{:.0f}s", age);
    }
    if (age < hour) {
        return fmt::format("{:.0f}m", std::floor(age / minute));
    }
    if (age < day) {
        return fmt::format("{:.0f}h", std::floor(age / hour));
    }
    return fmt::format("{:.0f}d", std::floor(age / day));
}

std::string spanText(double seconds)
{
    const double span = std::isfinite(seconds) ? std::floor(std::max(seconds, 0.0)) : 0;
    if (span < minute) {
        return fmt::format("{:.0f} s", span);
    }
    if (span < hour) {
        return fmt::format("{:.0f} min {:.0f} s", std::floor(span / minute), std::fmod(span, minute));
    }
    if (span < day) {
        return fmt::format("{:.0f} h {:.0f} min", std::floor(span / hour), std::floor(std::fmod(span, hour) / minute));
    }
    return fmt::format("{:.0f} d {:.0f} h", std::floor(span / day), std::floor(std::fmod(span, day) / hour));
}

} // namespace vexa::host
