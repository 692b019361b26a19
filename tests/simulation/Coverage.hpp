#pragma once

#include "tests/model/Rules.hpp"
#include "tests/simulation/Events.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vexa::simulation {

/// What a simulation has reached.
class Coverage {
public:
    model::RuleCounts rules;

    /// Counts an event that was possible, and the pair of it and the one before.
    void note(std::optional<Event> before, Event event) noexcept;

    void add(const Coverage& other) noexcept;

    /// What was never reached, by the names that the table gives it.
    [[nodiscard]] std::vector<std::string> gaps() const;

    /// All of it as a table: how often each rule and each event came about, and the pairs of events that did not.
    [[nodiscard]] std::string table() const;

private:
    [[nodiscard]] std::vector<std::string> missingPairs() const;

    std::array<std::uint64_t, eventCount> events_{};
    std::array<std::array<std::uint32_t, eventCount>, eventCount> pairs_{};
};

} // namespace vexa::simulation
