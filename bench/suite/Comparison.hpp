#pragma once

#include <bench/suite/Programs.hpp>
#include <bench/suite/Results.hpp>
#include <bench/suite/Rows.hpp>

#include <string>
#include <vector>

namespace vexa::bench {

/// How far two medians must be apart to count as different, beside their intervals not overlapping.
inline constexpr double noiseThreshold = 0.05;

/// Runs what both builds have, in turn, and returns a table: each benchmark of Google Benchmark, by its processor time,
/// and our own entries of the rows. Two figures differ when the intervals of their medians do not overlap and the
/// medians are further apart than the threshold; everything else is noise.
[[nodiscard]] std::string compare(const Programs& base, const Programs& changed, const std::vector<Row>& rows,
                                  const RunOptions& options);

} // namespace vexa::bench
