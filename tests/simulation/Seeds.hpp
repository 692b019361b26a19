#pragma once

#include "tests/simulation/Options.hpp"

namespace vexa::simulation {

/// Runs the seeds that the options ask for, and prints what came of it. Returns whether the library and the model
/// agreed and, in a long run, nothing that the model knows was left out.
[[nodiscard]] bool runSeeds(const Options& options);

} // namespace vexa::simulation
