#pragma once

#include <bench/suite/Programs.hpp>
#include <bench/suite/Rows.hpp>
#include <bench/suite/Statistics.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace vexa::bench {

/// How rows are measured.
struct RunOptions {
    std::size_t repeats = 5;
    bool isBrief = false; ///< each program once and shortly, to see that it works
};

/// What the programs of some rows have printed, time after time.
class Results {
public:
    /// Runs the programs of the rows in turn, so that what the machine does beside them hits all alike, and tells of
    /// each on standard error. Programs that this build does not have are left out. Throws std::runtime_error when one
    /// fails.
    [[nodiscard]] static Results measure(const Programs& programs, const std::vector<Row>& rows,
                                         const RunOptions& options);

    /// The numbers of an entry; empty when there are none.
    [[nodiscard]] Sample of(const Entry& entry) const;

    /// What a program printed the last time; null when it did not run.
    [[nodiscard]] Value last(const Command& command) const;

private:
    std::map<std::string, std::vector<Value>> outputs_; ///< by command
};

/// The rows as a table for people: for each entry the median, the extremes, the ratio of the medians to the row's
/// measure, and whether the goal is reached.
[[nodiscard]] std::string tableOf(const std::vector<Row>& rows, const Results& results);

/// The same for programs, with every number: one dictionary for each row.
[[nodiscard]] List documentOf(const std::vector<Row>& rows, const Results& results);

} // namespace vexa::bench
