#pragma once

#include <bench/suite/Rows.hpp>
#include <VexaClient/platform/Json.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vexa::bench {

/// The programs of one build.
class Programs {
public:
    explicit Programs(std::filesystem::path folder) : folder_{std::move(folder)} {}

    [[nodiscard]] bool has(const Command& command) const;

    /// Runs a program and returns the JSON that it prints. Throws std::runtime_error when it fails, prints no JSON or
    /// does not end for long.
    [[nodiscard]] Value run(const Command& command, bool isBrief) const;

    /// The names of the benchmarks of a Google Benchmark program.
    [[nodiscard]] std::vector<std::string> benchmarks(const std::string& program) const;

    /// The Google Benchmark programs of the build that need no server.
    [[nodiscard]] std::vector<std::string> benchmarkPrograms() const;

private:
    [[nodiscard]] std::string output(const std::vector<std::string>& words) const;

    std::filesystem::path folder_;
};

/// The number that a figure stands for in a program's output; nothing when it is not there.
[[nodiscard]] std::optional<double> numberIn(const Value& output, const Figure& figure);

} // namespace vexa::bench
