#include "tests/simulation/Proof.hpp"

#include "tests/simulation/Run.hpp"

#include <cstdio>
#include <optional>

namespace vexa::simulation {

namespace {

/// The first seed that shows the fault.
std::optional<RunPlan> foundBy(const Options& options, Plant plant)
{
    for (std::uint64_t seed = options.from; seed < options.from + options.seeds; ++seed) {
        RunPlan plan{Profile::rules, seed, allSteps(options.steps), plant};
        Coverage ignored;
        if (run(plan, ignored)) {
            return plan;
        }
    }
    return std::nullopt;
}

/// The plan that a replay command asks for.
RunPlan reread(const std::string& command)
{
    std::vector<std::string> words;
    for (std::size_t begin = command.find(' ') + 1; begin != 0;) {
        const std::size_t end = command.find(' ', begin);
        words.push_back(command.substr(begin, end - begin));
        begin = end == std::string::npos ? 0 : end + 1;
    }
    const Options options = optionsFrom(words);
    return {options.profiles.front(), options.from, options.kept.value(), options.plant};
}

bool proves(const Options& options, Plant plant)
{
    const std::string name{plantNames.at(static_cast<std::size_t>(plant))};
    const std::optional<RunPlan> plan = foundBy(options, plant);
    if (!plan) {
        std::printf("%s: NOT FOUND\n", name.c_str());
        return false;
    }
    Coverage ignored;
    const auto first = run(*plan, ignored);
    const RunPlan shortest = shrunk(*plan);
    const auto again = run(reread(replayCommand(shortest)), ignored);
    RunPlan withoutFault = shortest;
    withoutFault.plant = Plant::none;
    const bool isClean = !run(withoutFault, ignored).has_value();
    const bool isProved = first && again && isClean && shortest.steps.size() < plan->steps.size();
    std::printf("%s: found by seed %llu at step %zu, shrunk from %zu steps to %zu%s\n", name.c_str(),
                static_cast<unsigned long long>(plan->seed), first ? first->step : 0, plan->steps.size(),
                shortest.steps.size(), isProved ? "" : ", but NOT REPEATED");
    return isProved;
}

} // namespace

bool proveItself(const Options& options)
{
    bool isProved = true;
    for (std::size_t i = 1; i < plantNames.size(); ++i) {
        isProved = proves(options, static_cast<Plant>(i)) && isProved;
    }
    return isProved;
}

} // namespace vexa::simulation
