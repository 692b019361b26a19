#include <bench/suite/Comparison.hpp>
#include <bench/suite/Statistics.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string_view>
#include <utility>

namespace vexa::bench {

namespace {

/// One figure of two builds.
struct Pair {
    std::string name;
    Sample base;
    Sample changed;
};

/// What the two builds have measured, in the order in which it was asked for.
class Pairs {
public:
    void add(const std::string& name, bool isBase, double value)
    {
        const auto found =
            std::find_if(pairs_.begin(), pairs_.end(), [&](const Pair& pair) { return pair.name == name; });
        Pair& pair = found != pairs_.end() ? *found : pairs_.emplace_back(Pair{name, {}, {}});
        (isBase ? pair.base : pair.changed).add(value);
    }

    [[nodiscard]] std::string table() const
    {
        std::string table = fmt::format("{:<70}{:>24}{:>24}{:>8}\n", "", "base", "changed", "ratio");
        for (const Pair& pair : pairs_) {
            if (!pair.base.isEmpty() && !pair.changed.isEmpty()) {
                table += line(pair);
            }
        }
        return table;
    }

private:
    static std::string spread(const Sample& sample)
    {
        const Sample::Interval interval = sample.medianInterval();
        return fmt::format("{:.4g} [{:.4g} {:.4g}]", sample.median(), interval.low, interval.high);
    }

    static std::string line(const Pair& pair)
    {
        const Sample::Interval base = pair.base.medianInterval();
        const Sample::Interval changed = pair.changed.medianInterval();
        const double ratio = pair.changed.median() / pair.base.median();
        const bool overlaps = changed.low <= base.high && base.low <= changed.high;
        const bool isFar = std::abs(std::log(ratio)) > std::log1p(noiseThreshold);
        const std::string_view verdict = overlaps || !isFar ? "" : ratio > 1 ? "  SLOWER" : "  faster";
        return fmt::format("{:<70}{:>24}{:>24}{:>8.3f}{}\n", pair.name, spread(pair.base), spread(pair.changed), ratio,
                           verdict);
    }

    std::vector<Pair> pairs_;
};

void addBenchmarks(Pairs& pairs, const Value& output, bool isBase)
{
    for (const Value& benchmark : output.at("benchmarks").as_array()) {
        const Value* const time = benchmark.get_object().if_contains("cpu_time");
        if (time != nullptr) {
            pairs.add(std::string{benchmark.at("name").as_string()} + " (" +
                          std::string{benchmark.at("time_unit").as_string()} + ")",
                      isBase, time->to_number<double>());
        }
    }
}

bool isOurs(const Command& command)
{
    return command.program.ends_with("_vexa") || command.program == "road_reconnect_million";
}

} // namespace

std::string compare(const Programs& base, const Programs& changed, const std::vector<Row>& rows,
                    const RunOptions& options)
{
    std::vector<Command> commands;
    for (const std::string& program : changed.benchmarkPrograms()) {
        commands.push_back(
            {program, {"--benchmark_format=json", "--benchmark_min_time=0.2"}, {"--benchmark_min_time=0.001"}});
    }
    std::map<std::string, std::vector<std::pair<std::string, Figure>>> figures;
    for (const Row& row : rows) {
        for (const Entry& entry : row.entries) {
            if (!isOurs(entry.command)) {
                continue;
            }
            auto& known = figures[entry.command.text()];
            if (known.empty()) {
                commands.push_back(entry.command);
            }
            known.emplace_back(row.name + ", " + entry.system + " (" + row.unit + ")", entry.figure);
        }
    }
    Pairs pairs;
    for (std::size_t repeat = 0; repeat < (options.isBrief ? 1 : options.repeats); ++repeat) {
        for (const Command& command : commands) {
            if (!base.has(command) || !changed.has(command)) {
                continue;
            }
            fmt::print(stderr, "suite: {}\n", command.text());
            for (const bool isBase : {true, false}) {
                const Value output = (isBase ? base : changed).run(command, options.isBrief);
                if (output.get_object().contains("benchmarks")) {
                    addBenchmarks(pairs, output, isBase);
                    continue;
                }
                for (const auto& [name, figure] : figures[command.text()]) {
                    if (const auto value = numberIn(output, figure)) {
                        pairs.add(name, isBase, *value);
                    }
                }
            }
        }
    }
    return pairs.table();
}

} // namespace vexa::bench
