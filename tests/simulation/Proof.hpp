#pragma once

#include "tests/simulation/Options.hpp"

namespace vexa::simulation {

/// Plants each fault in turn. Returns whether each was found within the seeds that the options ask for, again by its
/// replay, and shrunk to a shorter sequence that still shows it.
[[nodiscard]] bool proveItself(const Options& options);

} // namespace vexa::simulation
