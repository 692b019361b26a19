#include <bench/suite/Statistics.hpp>

#include <algorithm>
#include <cmath>

namespace vexa::bench {

namespace {

/// The chance that at most `most` of `count` tosses of a fair coin fall on one side.
double chanceOfAtMost(std::size_t most, std::size_t count)
{
    double term = std::pow(0.5, static_cast<double>(count));
    double chance = term;
    for (std::size_t heads = 1; heads <= most; ++heads) {
        term *= static_cast<double>(count - heads + 1) / static_cast<double>(heads);
        chance += term;
    }
    return chance;
}

} // namespace

std::vector<double> Sample::sorted() const
{
    std::vector<double> values = values_;
    std::sort(values.begin(), values.end());
    return values;
}

double Sample::median() const
{
    const std::vector<double> values = sorted();
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double Sample::minimum() const
{
    return *std::min_element(values_.begin(), values_.end());
}

double Sample::maximum() const
{
    return *std::max_element(values_.begin(), values_.end());
}

Sample::Interval Sample::medianInterval() const
{
    constexpr double mostOutside = 0.1;
    const std::vector<double> values = sorted();
    std::size_t left = 0;
    // Two sides, on each of which the median may lie outside.
    while (2 * (left + 1) < values.size() && 2 * chanceOfAtMost(left, values.size()) <= mostOutside) {
        if (2 * chanceOfAtMost(left + 1, values.size()) > mostOutside) {
            break;
        }
        ++left;
    }
    return {values[left], values[values.size() - 1 - left]};
}

} // namespace vexa::bench
