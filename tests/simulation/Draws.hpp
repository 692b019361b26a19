#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace vexa::simulation {

/// The two numbers made into one that looks like neither.
[[nodiscard]] constexpr std::uint64_t mixed(std::uint64_t a, std::uint64_t b) noexcept
{
    std::uint64_t x = a * 0x9E3779B97F4A7C15U + b + 0x632BE59BD9B4E019U;
    x = (x ^ (x >> 30U)) * 0xBF58476D1CE4E5B9U;
    x = (x ^ (x >> 27U)) * 0x94D049BB133111EBU;
    return x ^ (x >> 31U);
}

/// Chance from a seed: always the same draws for the same seed (the generator SplitMix64, G. Steele, D. Lea,
/// C. Flood, Fast splittable pseudorandom number generators, 2014).
class Draws {
public:
    explicit Draws(std::uint64_t seed) noexcept : state_{seed} {}

    /// A number from 0 to `bound` - 1. The bias is of no account for what a simulation draws.
    [[nodiscard]] std::size_t below(std::size_t bound) noexcept { return static_cast<std::size_t>(bits() % bound); }

    /// Whether something comes about that does so once in `odds` times.
    [[nodiscard]] bool oneIn(std::size_t odds) noexcept { return below(odds) == 0; }

    /// One of the elements, of which there must be some.
    template <class Elements>
    [[nodiscard]] auto& oneOf(Elements& elements) noexcept
    {
        return *std::next(std::begin(elements), static_cast<std::ptrdiff_t>(below(std::size(elements))));
    }

    [[nodiscard]] std::uint64_t bits() noexcept
    {
        state_ += 0x9E3779B97F4A7C15U;
        return mixed(state_, 0);
    }

private:
    std::uint64_t state_;
};

} // namespace vexa::simulation
