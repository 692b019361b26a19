#include <host/tool/demo/Delays.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace vexa::host {

std::optional<double> Delays::quantile(double share) const
{
    if (delays_.empty()) {
        return std::nullopt;
    }
    std::vector<double> sorted(delays_.begin(), delays_.end());
    const double rank = std::ceil(std::clamp(share, 0.0, 1.0) * static_cast<double>(sorted.size()));
    const auto place = static_cast<std::ptrdiff_t>(std::max(rank, 1.0)) - 1;
    std::nth_element(sorted.begin(), sorted.begin() + place, sorted.end());
    return sorted[static_cast<std::size_t>(place)];
}

} // namespace vexa::host
