#include "tests/simulation/Coverage.hpp"

#include <cstdio>

namespace vexa::simulation {

namespace {

void appendRow(std::string& table, std::uint64_t count, const char* text)
{
    std::array<char, 160> row{};
    std::snprintf(row.data(), row.size(), "%14llu  %s\n", static_cast<unsigned long long>(count), text);
    table += row.data();
}

} // namespace

void Coverage::note(std::optional<Event> before, Event event) noexcept
{
    const auto index = static_cast<std::size_t>(event);
    ++events_[index];
    if (before) {
        ++pairs_[static_cast<std::size_t>(*before)][index];
    }
}

void Coverage::add(const Coverage& other) noexcept
{
    rules.add(other.rules);
    for (std::size_t i = 0; i < eventCount; ++i) {
        events_[i] += other.events_[i];
        for (std::size_t j = 0; j < eventCount; ++j) {
            pairs_[i][j] += other.pairs_[i][j];
        }
    }
}

std::vector<std::string> Coverage::missingPairs() const
{
    std::vector<std::string> missing;
    for (std::size_t i = 0; i < eventCount; ++i) {
        for (std::size_t j = 0; j < eventCount; ++j) {
            if (pairs_[i][j] == 0) {
                missing.push_back(std::string{eventTexts[i]} + ", then " + eventTexts[j]);
            }
        }
    }
    return missing;
}

std::vector<std::string> Coverage::gaps() const
{
    std::vector<std::string> gaps;
    for (std::size_t i = 0; i < model::ruleCount; ++i) {
        if (rules.of(i) == 0) {
            gaps.push_back(std::string{"rule: "} + model::ruleTexts[i]);
        }
    }
    for (std::size_t i = 0; i < eventCount; ++i) {
        if (events_[i] == 0) {
            gaps.push_back(std::string{"event: "} + eventTexts[i]);
        }
    }
    for (const std::string& pair : missingPairs()) {
        gaps.push_back("pair: " + pair);
    }
    return gaps;
}

std::string Coverage::table() const
{
    std::string table = "Rules of the model\n";
    for (std::size_t i = 0; i < model::ruleCount; ++i) {
        appendRow(table, rules.of(i), model::ruleTexts[i]);
    }
    table += "Events\n";
    for (std::size_t i = 0; i < eventCount; ++i) {
        appendRow(table, events_[i], eventTexts[i]);
    }
    const std::vector<std::string> missing = missingPairs();
    constexpr std::size_t pairCount = eventCount * eventCount;
    table += "Pairs of events, one right after the other: " + std::to_string(pairCount - missing.size()) + " of " +
             std::to_string(pairCount) + "\n";
    return table;
}

} // namespace vexa::simulation
