#include <bench/suite/Results.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <utility>

namespace vexa::bench {

namespace {

/// The programs that rows need, each once, those of rows with the same measure next to each other.
std::vector<Command> commandsOf(const std::vector<Row>& rows)
{
    std::vector<Command> commands;
    for (const Row& row : rows) {
        for (const Entry& entry : row.entries) {
            const auto isKnown = [text = entry.command.text()](const Command& each) { return each.text() == text; };
            if (std::none_of(commands.begin(), commands.end(), isKnown)) {
                commands.push_back(entry.command);
            }
        }
    }
    return commands;
}

std::string number(double value)
{
    constexpr double few = 100;
    return value < few ? fmt::format("{:.3g}", value) : fmt::format("{:.0f}", value);
}

/// The median of the entry that a row's goal is measured by; nothing when there is none.
std::optional<double> measureOf(const Row& row, const Results& results)
{
    for (const Entry& entry : row.entries) {
        const Sample sample = results.of(entry);
        if (entry.system == row.goal.of && !sample.isEmpty()) {
            return sample.median();
        }
    }
    return std::nullopt;
}

std::string goalText(const Row& row)
{
    return row.goal.of.empty() ? number(row.goal.limit) : fmt::format("{} x {}", number(row.goal.limit), row.goal.of);
}

/// Whether our median reaches the goal; nothing when that cannot be said.
std::optional<bool> isReached(const Row& row, const Results& results)
{
    const Sample ours = results.of(row.entries.front());
    const auto measure = row.goal.of.empty() ? std::optional{1.0} : measureOf(row, results);
    if (ours.isEmpty() || !measure) {
        return std::nullopt;
    }
    return ours.median() <= row.goal.limit * *measure;
}

} // namespace

Results Results::measure(const Programs& programs, const std::vector<Row>& rows, const RunOptions& options)
{
    Results results;
    const std::vector<Command> commands = commandsOf(rows);
    for (std::size_t repeat = 0; repeat < (options.isBrief ? 1 : options.repeats); ++repeat) {
        for (const Command& command : commands) {
            if (programs.has(command)) {
                fmt::print(stderr, "suite: {}\n", command.text());
                results.outputs_[command.text()].push_back(programs.run(command, options.isBrief));
            }
        }
    }
    return results;
}

Sample Results::of(const Entry& entry) const
{
    Sample sample;
    const auto found = outputs_.find(entry.command.text());
    if (found != outputs_.end()) {
        for (const Value& output : found->second) {
            if (const auto value = numberIn(output, entry.figure)) {
                sample.add(*value);
            }
        }
    }
    return sample;
}

Value Results::last(const Command& command) const
{
    const auto found = outputs_.find(command.text());
    return found == outputs_.end() ? Value(nullptr) : found->second.back();
}

std::string tableOf(const std::vector<Row>& rows, const Results& results)
{
    std::string table;
    for (const Row& row : rows) {
        const auto measure = measureOf(row, results);
        table += fmt::format("\n{}: {}\n  {:<22}{:>10}{:>10}{:>10}{:>8}   {}\n", row.name, row.title, row.unit,
                             "median", "minimum", "maximum", "ratio", "goal");
        for (const Entry& entry : row.entries) {
            const Sample sample = results.of(entry);
            if (sample.isEmpty()) {
                continue;
            }
            std::string goal;
            if (&entry == &row.entries.front()) {
                const auto reached = isReached(row, results);
                goal = goalText(row) + (!reached ? "" : *reached ? ": reached" : ": MISSED");
            }
            table +=
                fmt::format("  {:<22}{:>10}{:>10}{:>10}{:>8}   {}\n", entry.system, number(sample.median()),
                            number(sample.minimum()), number(sample.maximum()),
                            measure && *measure > 0 ? fmt::format("{:.2f}", sample.median() / *measure) : "", goal);
        }
    }
    return table;
}

List documentOf(const std::vector<Row>& rows, const Results& results)
{
    List list;
    for (const Row& row : rows) {
        List entries;
        for (const Entry& entry : row.entries) {
            const Sample sample = results.of(entry);
            if (sample.isEmpty()) {
                continue;
            }
            Dictionary each{{"system", entry.system},
                            {"command", entry.command.text()},
                            {"median", sample.median()},
                            {"minimum", sample.minimum()},
                            {"maximum", sample.maximum()}};
            each["values"] = List(sample.values().begin(), sample.values().end());
            entries.emplace_back(std::move(each));
        }
        Dictionary dictionary{{"name", row.name}, {"title", row.title}, {"unit", row.unit}};
        dictionary["entries"] = std::move(entries);
        dictionary["goal"] = goalText(row);
        const auto reached = isReached(row, results);
        dictionary["isReached"] = reached ? Value(*reached) : Value(nullptr);
        list.emplace_back(std::move(dictionary));
    }
    return list;
}

} // namespace vexa::bench
