#include <bench/suite/Comparison.hpp>
#include <bench/suite/Machine.hpp>
#include <bench/suite/Plots.hpp>
#include <bench/suite/Programs.hpp>
#include <bench/suite/Results.hpp>
#include <bench/suite/Rows.hpp>

#include <boost/json/serialize.hpp>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace vexa::bench;

struct SuiteOptions {
    std::vector<std::string> names;
    RunOptions run;
    std::string base;
    std::string folder = "results";
    bool isList = false;
    bool arePlots = false;
};

/// The rows with these names, or whose names begin so; all when there are no names.
std::vector<Row> rowsNamed(const std::vector<std::string>& names)
{
    std::vector<Row> rows = allRows();
    if (names.empty()) {
        return rows;
    }
    for (const std::string& name : names) {
        if (std::none_of(rows.begin(), rows.end(), [&](const Row& row) { return row.name.starts_with(name); })) {
            throw std::invalid_argument{"there is no row '" + name + "'; --list prints all"};
        }
    }
    std::erase_if(rows, [&](const Row& row) {
        return std::none_of(names.begin(), names.end(),
                            [&](const std::string& name) { return row.name.starts_with(name); });
    });
    return rows;
}

/// Whether two rows read what the same program prints.
bool shareAProgram(const Row& one, const Row& other)
{
    return std::any_of(one.entries.begin(), one.entries.end(), [&other](const Entry& entry) {
        return std::any_of(other.entries.begin(), other.entries.end(),
                           [&entry](const Entry& each) { return each.command.text() == entry.command.text(); });
    });
}

/// Rows next to each other that share programs, and so are measured together.
std::vector<std::vector<Row>> groupsOf(const std::vector<Row>& rows)
{
    std::vector<std::vector<Row>> groups;
    for (const Row& row : rows) {
        const auto isRelated = [&row](const Row& each) { return shareAProgram(row, each); };
        if (groups.empty() || std::none_of(groups.back().begin(), groups.back().end(), isRelated)) {
            groups.emplace_back();
        }
        groups.back().push_back(row);
    }
    return groups;
}

/// Prints and writes each group as soon as it is measured: all of them take their time.
void measureAll(const Programs& programs, const std::vector<Row>& rows, const SuiteOptions& options)
{
    vexa::List list;
    for (const std::vector<Row>& group : groupsOf(rows)) {
        const Results results = Results::measure(programs, group, options.run);
        fmt::print("{}", tableOf(group, results));
        std::fflush(stdout);
        for (vexa::Value& row : documentOf(group, results)) {
            list.push_back(std::move(row));
        }
        vexa::Dictionary document{{"machine", machine()}, {"repeats", options.run.repeats}};
        document["rows"] = list;
        std::ofstream{std::filesystem::path{options.folder} / "figures.json"} << boost::json::serialize(document)
                                                                              << "\n";
    }
}

void run(const SuiteOptions& options)
{
    const std::vector<Row> rows = rowsNamed(options.names);
    if (options.isList) {
        for (const Row& row : rows) {
            fmt::print("{:<18}{}\n", row.name, row.title);
        }
        return;
    }
    const Programs programs{std::filesystem::read_symlink("/proc/self/exe").parent_path()};
    std::filesystem::create_directories(options.folder);
    if (options.arePlots) {
        writePlotData(programs, options.run, options.folder);
    } else if (!options.base.empty()) {
        const std::string table = compare(Programs{options.base}, programs, rows, options.run);
        std::ofstream{std::filesystem::path{options.folder} / "comparison.txt"} << table;
        fmt::print("{}", table);
    } else {
        measureAll(programs, rows, options);
    }
}

} // namespace

int main(int count, char** words)
{
    SuiteOptions options;
    CLI::App application{"Runs the programs of the benchmark suite in turn, and prints the table of their figures."};
    application.add_option("rows", options.names, "The rows to measure, by name or its beginning; all by default");
    application.add_option("--repeats", options.run.repeats, "How often each program is run")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    application.add_flag("--brief", options.run.isBrief, "Run each program once and shortly, to see that it works");
    application.add_flag("--list", options.isList, "Print the names of the rows");
    application.add_option("--results", options.folder, "Where the results are written")->capture_default_str();
    application.add_option("--compare", options.base,
                           "Compare with the programs in this folder, those of an earlier build");
    application.add_flag("--plots", options.arePlots, "Measure what the plots show");
    CLI11_PARSE(application, count, words);
    try {
        run(options);
        return 0;
    } catch (const std::exception& error) {
        fmt::print(stderr, "suite: {}\n", error.what());
        return 1;
    }
}
