#pragma once

#include "tests/simulation/Coverage.hpp"
#include "tests/simulation/Plant.hpp"
#include "tests/simulation/Profile.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vexa::simulation {

/// Which run of the simulation is meant.
struct RunPlan {
    Profile profile = Profile::rules;
    std::uint64_t seed = 1;
    std::vector<std::size_t> steps; ///< the numbers of the steps, in order
    Plant plant = Plant::none;
};

/// Where a run went wrong.
struct RunFailure {
    std::size_t step; ///< the number of the step; one more than the last for the end of the run
    std::string event;
    std::string expected;
    std::string observed;
    std::vector<std::string> before; ///< what was observed in the step up to there
};

/// Told what happens in a run, a line at a time.
using RunTrace = std::function<void(const std::string& line)>;

/// Steps 0 to `count` - 1.
[[nodiscard]] std::vector<std::size_t> allSteps(std::size_t count);

/// Runs a simulation. Returns nothing when the library kept to the model, or to its promises, to the end.
[[nodiscard]] std::optional<RunFailure> run(const RunPlan& plan, Coverage& coverage, const RunTrace& trace = {});

/// The plan with as few steps as still fail, found by leaving out ever smaller parts of them (A. Zeller,
/// R. Hildebrandt, Simplifying and isolating failure-inducing input, 2002).
[[nodiscard]] RunPlan shrunk(RunPlan plan);

/// The command that repeats the plan.
[[nodiscard]] std::string replayCommand(const RunPlan& plan);

/// The failure as text for people.
[[nodiscard]] std::string display(const RunFailure& failure);

} // namespace vexa::simulation
