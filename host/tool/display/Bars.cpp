#include <host/tool/display/Bars.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace vexa::host {

namespace {

constexpr std::array<std::string_view, 9> columnsInEighths{" ", "▏", "▎", "▍", "▌", "▋", "▊", "▉", "█"};
constexpr std::array<std::string_view, 9> heightsInEighths{" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array<std::string_view, 9> plainHeights{" ", ".", ".", "-", "-", "=", "=", "#", "#"};
constexpr double eighths = 8;

double between0And1(double share)
{
    return std::isfinite(share) ? std::clamp(share, 0.0, 1.0) : 0;
}

} // namespace

std::string bar(double share, std::size_t width, bool hasUnicode)
{
    const double filled = between0And1(share) * static_cast<double>(width);
    std::string drawing;
    for (std::size_t column = 0; column < width; ++column) {
        const double part = std::clamp(filled - static_cast<double>(column), 0.0, 1.0);
        if (hasUnicode) {
            drawing += columnsInEighths[static_cast<std::size_t>(std::lround(part * eighths))];
        } else {
            drawing += part >= 0.5 ? '#' : '.';
        }
    }
    return drawing;
}

std::string sparkLine(const std::vector<double>& values, std::size_t width, bool hasUnicode)
{
    const auto shown = static_cast<std::ptrdiff_t>(std::min(values.size(), width));
    const auto first = values.end() - shown;
    const double highest = shown > 0 ? *std::max_element(first, values.end()) : 0;
    const auto& heights = hasUnicode ? heightsInEighths : plainHeights;
    std::string drawing(width - static_cast<std::size_t>(shown), ' ');
    for (auto value = first; value != values.end(); ++value) {
        const double share = highest > 0 ? between0And1(*value / highest) : 0;
        // A mark of its own for the smallest, so that a quiet topic differs from one without values.
        drawing += heights[std::max<std::size_t>(1, static_cast<std::size_t>(std::lround(share * eighths)))];
    }
    return drawing;
}

} // namespace vexa::host
