#include "tests/simulation/Options.hpp"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <stdexcept>
#include <string_view>

namespace vexa::simulation {

namespace {

std::uint64_t numberOf(std::string_view option, std::string_view text)
{
    std::uint64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) {
        throw std::invalid_argument{std::string{option} + " takes a number, not " + std::string{text}};
    }
    return number;
}

std::vector<std::size_t> numbersOf(std::string_view option, std::string_view text)
{
    std::vector<std::size_t> numbers;
    if (text == "none") {
        return numbers;
    }
    while (!text.empty()) {
        const std::size_t comma = std::min(text.find(','), text.size());
        numbers.push_back(static_cast<std::size_t>(numberOf(option, text.substr(0, comma))));
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return numbers;
}

Plant plantOf(std::string_view text)
{
    const auto found = std::ranges::find(plantNames, text);
    if (found == plantNames.end()) {
        throw std::invalid_argument{"there is no plant " + std::string{text}};
    }
    return static_cast<Plant>(found - plantNames.begin());
}

Profile profileOf(std::string_view text)
{
    const auto found = std::ranges::find(profileNames, text);
    if (found == profileNames.end()) {
        throw std::invalid_argument{"there is no profile " + std::string{text}};
    }
    return static_cast<Profile>(found - profileNames.begin());
}

/// The first of the seeds that belong to today's date.
std::uint64_t seedOfToday()
{
    constexpr std::time_t secondsInDay = 86400;
    constexpr std::uint64_t seedsInDay = 1'000'000;
    return static_cast<std::uint64_t>(std::time(nullptr) / secondsInDay) * seedsInDay;
}

} // namespace

Options optionsFrom(const std::vector<std::string>& arguments)
{
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& option = arguments[i];
        const auto value = [&]() -> const std::string& {
            if (i + 1 == arguments.size()) {
                throw std::invalid_argument{option + " takes a value"};
            }
            return arguments[++i];
        };
        if (option == "--seeds") {
            options.seeds = numberOf(option, value());
        } else if (option == "--from") {
            const std::string& from = value();
            options.from = from == "today" ? seedOfToday() : numberOf(option, from);
        } else if (option == "--steps") {
            options.steps = static_cast<std::size_t>(numberOf(option, value()));
        } else if (option == "--threads") {
            options.threads = std::max<std::size_t>(1, static_cast<std::size_t>(numberOf(option, value())));
        } else if (option == "--keep") {
            options.kept = numbersOf(option, value());
        } else if (option == "--profile") {
            options.profiles = {profileOf(value())};
        } else if (option == "--plant") {
            options.plant = plantOf(value());
        } else if (option == "--trace") {
            options.showsTrace = true;
        } else if (option == "--coverage") {
            options.showsCoverage = true;
        } else if (option == "--prove-itself") {
            options.provesItself = true;
        } else if (option == "--help" || option == "-h") {
            options.asksForHelp = true;
        } else {
            throw std::invalid_argument{"there is no option " + option};
        }
    }
    return options;
}

std::string usage()
{
    std::string text = R"(usage: simulate [OPTIONS]

Runs the library on virtual time, with everything that happens drawn from a seed: against a model of its rules, with a
service that is made up and does anything, and against its promises from end to end, with the real service.

  --seeds N       how many seeds (1000)
  --from S        the first seed (1); "today" for one that changes with the date
  --steps K       how many steps each seed takes (80)
  --threads T     how many threads share the seeds (1)
  --profile NAME  one of the two only: rules or service
  --keep A,B,...  runs these steps of a seed only; "none" for none
  --trace         prints everything that happens
  --coverage      prints how often each rule, event and pair of events came about
  --plant NAME    plants a fault into what is observed, which must be found
  --prove-itself  plants each fault in turn and shows that it is found, repeated and shrunk

A difference ends the program with 1, after the shortest sequence of steps that leads to it. So does a run of 2000
seeds or more that never reached something that the model knows.

Faults that can be planted:)";
    for (const std::string_view name : plantNames) {
        if (name != "none") {
            text += " " + std::string{name};
        }
    }
    return text + "\n";
}

} // namespace vexa::simulation
