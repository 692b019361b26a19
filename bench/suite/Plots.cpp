#include <bench/suite/Machine.hpp>
#include <bench/suite/Plots.hpp>
#include <bench/suite/Rows.hpp>

#include <boost/json/serialize.hpp>

#include <fmt/format.h>

#include <fstream>
#include <string>
#include <vector>

namespace vexa::bench {

namespace {

/// x, median, minimum, maximum.
void writeSweep(const Row& row, const Results& results, const std::filesystem::path& folder)
{
    std::ofstream file{folder / (row.name + ".data")};
    for (const Entry& entry : row.entries) {
        const Sample sample = results.of(entry);
        if (!sample.isEmpty()) {
            file << fmt::format("{} {} {} {}\n", entry.system, sample.median(), sample.minimum(), sample.maximum());
        }
    }
}

/// The share of messages that took at most so long, of the last run of each system.
void writeLatencies(const std::vector<Row>& rows, const Results& results, const std::filesystem::path& folder)
{
    for (const Row& row : rows) {
        if (row.name != "latency-p50") {
            continue;
        }
        for (const Entry& entry : row.entries) {
            const Value output = results.last(entry.command);
            if (output.is_null()) {
                continue;
            }
            std::string name = entry.system.substr(0, entry.system.find(','));
            std::ofstream file{folder / ("latency-" + name + (name == entry.system ? "" : "-blocking") + ".data")};
            for (const Value& point : output.at("curve").as_array()) {
                file << fmt::format("{} {}\n", point.as_array().at(1).to_number<double>(),
                                    point.as_array().at(0).to_number<double>());
            }
        }
    }
}

} // namespace

void writePlotData(const Programs& programs, const RunOptions& options, const std::filesystem::path& folder)
{
    std::filesystem::create_directories(folder);
    std::vector<Row> rows = plotRows();
    for (const Row& row : allRows()) {
        if (row.name == "latency-p50") {
            rows.push_back(row);
        }
    }
    const Results results = Results::measure(programs, rows, options);
    for (const Row& row : plotRows()) {
        writeSweep(row, results, folder);
    }
    writeLatencies(rows, results, folder);
    Dictionary document{{"machine", machine()}};
    document["rows"] = documentOf(rows, results);
    std::ofstream{folder / "plots.json"} << boost::json::serialize(document) << "\n";
}

} // namespace vexa::bench
