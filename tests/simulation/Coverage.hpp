#pragma once

#include "tests/model/Rules.hpp"
#include "tests/simulation/Events.hpp"
#include "tests/simulation/PairCounts.hpp"
#include "tests/simulation/ServiceEvents.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vexa::simulation {

/// What a simulation has reached.
class Coverage {
public:
    model::RuleCounts rules;
    PairCounts<eventCount> events;
    PairCounts<serviceEventCount> serviceEvents;

    void note(ServiceFact fact) noexcept { ++serviceFacts_[static_cast<std::size_t>(fact)]; }

    void add(const Coverage& other) noexcept;

    // What was never reached, by the names that the tables give it.
    [[nodiscard]] std::vector<std::string> gapsInRules() const;
    [[nodiscard]] std::vector<std::string> gapsWithService() const;

    // How often each rule, fact and event came about.
    [[nodiscard]] std::string tableOfRules() const;
    [[nodiscard]] std::string tableWithService() const;

private:
    std::array<std::uint64_t, serviceFactCount> serviceFacts_{};
};

} // namespace vexa::simulation
