#pragma once

#include <bench/suite/Programs.hpp>
#include <bench/suite/Results.hpp>

#include <filesystem>

namespace vexa::bench {

/// Measures what the plots show and writes it into a folder, as columns of numbers that gnuplot reads and as JSON.
void writePlotData(const Programs& programs, const RunOptions& options, const std::filesystem::path& folder);

} // namespace vexa::bench
