#include <host/service/DelayHistogram.hpp>

#include <algorithm>
#include <cmath>

namespace vexa::host {

namespace {

constexpr double smallest = 1e-4;

/// The upper end of a class; the last one has none, but for the largest delay that came.
double upperEnd(std::size_t place) noexcept
{
    return smallest * std::exp2(static_cast<double>(place) / 2);
}

} // namespace

void DelayHistogram::add(double delay) noexcept
{
    if (!std::isfinite(delay)) {
        return;
    }
    minimum_ = count_ == 0 ? delay : std::min(minimum_, delay);
    maximum_ = count_ == 0 ? delay : std::max(maximum_, delay);
    sum_ += delay;
    ++count_;
    std::size_t place = 0;
    if (delay > smallest) {
        place = static_cast<std::size_t>(std::ceil(2 * std::log2(delay / smallest)));
    }
    ++classes_[std::min(place, classCount - 1)];
}

DelayFigures DelayHistogram::figures() const noexcept
{
    if (count_ == 0) {
        return {};
    }
    return {count_, sum_ / static_cast<double>(count_), minimum_, maximum_, quantile(0.5), quantile(0.99)};
}

double DelayHistogram::quantile(double fraction) const noexcept
{
    const double wanted = fraction * static_cast<double>(count_);
    double below = 0;
    for (std::size_t place = 0; place < classCount; ++place) {
        const auto within = static_cast<double>(classes_[place]);
        if (within > 0 && below + within >= wanted) {
            const double low = place == 0 ? minimum_ : upperEnd(place - 1);
            const double high = place == classCount - 1 ? maximum_ : upperEnd(place);
            return std::clamp(low + (high - low) * (wanted - below) / within, minimum_, maximum_);
        }
        below += within;
    }
    return maximum_;
}

} // namespace vexa::host
