#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/platform/Random.hpp>

#include <cassert>

namespace vexa {

namespace {

struct Product {
    std::uint64_t high;
    std::uint64_t low;
};

/// The 128-bit product, from 32-bit halves.
Product multiply(std::uint64_t a, std::uint64_t b) noexcept
{
    constexpr std::uint64_t half = 0xFFFFFFFFU;
    const std::uint64_t lowLow = (a & half) * (b & half);
    const std::uint64_t highLow = (a >> 32U) * (b & half);
    const std::uint64_t lowHigh = (a & half) * (b >> 32U);
    const std::uint64_t middle = (lowLow >> 32U) + (highLow & half) + lowHigh;
    return {(a >> 32U) * (b >> 32U) + (highLow >> 32U) + (middle >> 32U), (middle << 32U) | (lowLow & half)};
}

} // namespace

std::uint64_t uniformBelow(Platform& platform, std::uint64_t bound)
{
    assert(bound > 0);
    const std::uint64_t threshold = (0 - bound) % bound;
    Product product = multiply(platform.randomBits(), bound);
    while (product.low < threshold) {
        product = multiply(platform.randomBits(), bound);
    }
    return product.high;
}

double uniformBetween(Platform& platform, double lower, double upper)
{
    for (;;) {
        const double fraction = static_cast<double>(platform.randomBits() >> 11U) * 0x1.0p-53;
        const double drawn = lower + (upper - lower) * fraction;
        if (drawn < upper) {
            return drawn;
        }
    }
}

} // namespace vexa
