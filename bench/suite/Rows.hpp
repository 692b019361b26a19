#pragma once

#include <string>
#include <vector>

namespace vexa::bench {

/// A program of the suite, and what it is called with.
struct Command {
    std::string program;
    std::vector<std::string> arguments;
    std::vector<std::string> brief; ///< further arguments that make it short, where nothing is to be measured

    /// The command as one writes it.
    [[nodiscard]] std::string text() const;
};

/// Where a number stands in what a program prints.
struct Figure {
    std::string benchmark; ///< of a Google Benchmark program: the name of the benchmark; else empty
    std::string key;
    double scale = 1; ///< from the program's unit to that of the row
};

/// One of those that are compared in a row.
struct Entry {
    std::string system;
    Command command;
    Figure figure;
};

/// What the first entry of a row is to reach.
struct Goal {
    double limit = 0; ///< the most, in the row's unit, or as a multiple of `of`
    std::string of;   ///< the entry that is the measure; none when empty
};

/// One line of the table of figures.
struct Row {
    std::string name;
    std::string title;
    std::string unit;
    std::vector<Entry> entries; ///< ours first
    Goal goal;
};

/// All rows, in the order of the table.
[[nodiscard]] std::vector<Row> allRows();

/// What ./dev bench --plots draws.
[[nodiscard]] std::vector<Row> plotRows();

} // namespace vexa::bench
