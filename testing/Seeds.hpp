#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vexa::testing {

/// The seed in the environment variable VEXA_SEED, a decimal number; 1 when it is absent or is none. Any thread.
[[nodiscard]] std::uint64_t defaultSeed();

/// The seeds of a run that tries many orders of events: `count` of them from 1 on, or VEXA_SEED alone when that is set,
/// so that a failing run can be repeated by itself. Any thread.
[[nodiscard]] std::vector<std::uint64_t> seeds(std::size_t count);

/// "VEXA_SEED=17": what a failing run prints, to be put before the command that repeats it.
[[nodiscard]] std::string replayHint(std::uint64_t seed);

} // namespace vexa::testing
