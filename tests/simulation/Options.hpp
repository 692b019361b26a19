#pragma once

#include "tests/simulation/Plant.hpp"
#include "tests/simulation/Profile.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vexa::simulation {

/// What the program was asked to do.
struct Options {
    std::vector<Profile> profiles = {Profile::rules, Profile::service};
    std::uint64_t seeds = 1000;
    std::uint64_t from = 1;
    std::size_t steps = 80;
    std::size_t threads = 1;
    std::optional<std::vector<std::size_t>> kept; ///< the only steps to run
    Plant plant = Plant::none;
    bool showsTrace = false;
    bool showsCoverage = false;
    bool provesItself = false;
    bool asksForHelp = false;
};

/// Reads the command line. Throws std::invalid_argument, with a sentence for people, for what it cannot read.
[[nodiscard]] Options optionsFrom(const std::vector<std::string>& arguments);

/// What the program can be asked to do, for people.
[[nodiscard]] std::string usage();

} // namespace vexa::simulation
