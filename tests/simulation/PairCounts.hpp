#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vexa::simulation {

/// How often each of `N` events came about, and how often each one right after each other.
template <std::size_t N>
class PairCounts {
public:
    /// \param before  the event before, by its index; none for the first.
    void note(std::optional<std::size_t> before, std::size_t event) noexcept
    {
        ++events_[event];
        if (before) {
            ++pairs_[*before][event];
        }
    }

    void add(const PairCounts& others) noexcept
    {
        for (std::size_t i = 0; i < N; ++i) {
            events_[i] += others.events_[i];
            for (std::size_t j = 0; j < N; ++j) {
                pairs_[i][j] += others.pairs_[i][j];
            }
        }
    }

    [[nodiscard]] std::uint64_t of(std::size_t event) const noexcept { return events_[event]; }

    /// What never came about, by these names.
    [[nodiscard]] std::vector<std::string> gaps(const std::array<const char*, N>& names) const
    {
        std::vector<std::string> missing;
        for (std::size_t i = 0; i < N; ++i) {
            if (events_[i] == 0) {
                missing.push_back(std::string{"event: "} + names[i]);
            }
            for (std::size_t j = 0; j < N; ++j) {
                if (pairs_[i][j] == 0) {
                    missing.push_back(std::string{"pair: "} + names[i] + ", then " + names[j]);
                }
            }
        }
        return missing;
    }

    /// How many pairs came about.
    [[nodiscard]] std::size_t pairsReached() const noexcept
    {
        std::size_t reached = 0;
        for (const auto& row : pairs_) {
            for (const std::uint64_t count : row) {
                reached += count != 0 ? 1U : 0U;
            }
        }
        return reached;
    }

private:
    std::array<std::uint64_t, N> events_{};
    std::array<std::array<std::uint64_t, N>, N> pairs_{};
};

} // namespace vexa::simulation
