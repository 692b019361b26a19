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

template <std::size_t N>
void appendEvents(std::string& table, const PairCounts<N>& events, const std::array<const char*, N>& names)
{
    table += "Events\n";
    for (std::size_t i = 0; i < N; ++i) {
        appendRow(table, events.of(i), names[i]);
    }
    table += "Pairs of events, one right after the other: " + std::to_string(events.pairsReached()) + " of " +
             std::to_string(N * N) + "\n";
}

} // namespace

void Coverage::add(const Coverage& other) noexcept
{
    rules.add(other.rules);
    events.add(other.events);
    serviceEvents.add(other.serviceEvents);
    for (std::size_t i = 0; i < serviceFactCount; ++i) {
        serviceFacts_[i] += other.serviceFacts_[i];
    }
}

std::vector<std::string> Coverage::gapsInRules() const
{
    std::vector<std::string> gaps = events.gaps(eventTexts);
    for (std::size_t i = 0; i < model::ruleCount; ++i) {
        if (rules.of(i) == 0) {
            gaps.push_back(std::string{"rule: "} + model::ruleTexts[i]);
        }
    }
    return gaps;
}

std::vector<std::string> Coverage::gapsWithService() const
{
    std::vector<std::string> gaps = serviceEvents.gaps(serviceEventTexts);
    for (std::size_t i = 0; i < serviceFactCount; ++i) {
        if (serviceFacts_[i] == 0) {
            gaps.push_back(std::string{"fact: "} + serviceFactTexts[i]);
        }
    }
    return gaps;
}

std::string Coverage::tableOfRules() const
{
    std::string table = "Rules of the model\n";
    for (std::size_t i = 0; i < model::ruleCount; ++i) {
        appendRow(table, rules.of(i), model::ruleTexts[i]);
    }
    appendEvents(table, events, eventTexts);
    return table;
}

std::string Coverage::tableWithService() const
{
    std::string table = "Facts with the real service\n";
    for (std::size_t i = 0; i < serviceFactCount; ++i) {
        appendRow(table, serviceFacts_[i], serviceFactTexts[i]);
    }
    appendEvents(table, serviceEvents, serviceEventTexts);
    return table;
}

} // namespace vexa::simulation
