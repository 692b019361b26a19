#include <host/tool/client/Duration.hpp>

#include <array>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

namespace vexa::host {

std::optional<double> readDuration(std::string_view text) noexcept
{
    static constexpr std::array<std::pair<std::string_view, double>, 6> units{
        {{"", 1}, {"ms", 0.001}, {"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}}};
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    if (error != std::errc{} || std::signbit(number)) {
        return std::nullopt;
    }
    const std::string_view unit{stop, static_cast<std::size_t>(end - stop)};
    for (const auto& [name, seconds] : units) {
        if (unit == name) {
            const double duration = number * seconds;
            return std::isfinite(duration) ? std::optional{duration} : std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace vexa::host
