#include <host/embedded/LossRule.hpp>

#include <random>

namespace vexa::host {

LossRule loseNext(std::size_t count)
{
    return [left = count](const Dictionary&) mutable {
        const bool isLost = left > 0;
        left -= isLost ? 1 : 0;
        return isLost;
    };
}

LossRule loseFraction(double fraction, std::uint64_t seed)
{
    return [fraction, bits = std::mt19937_64{seed}](const Dictionary&) mutable {
        // Not a distribution of the standard library, whose results differ from one library to the next.
        return static_cast<double>(bits() >> 11U) * 0x1.0p-53 < fraction;
    };
}

} // namespace vexa::host
