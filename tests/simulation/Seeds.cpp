#include "tests/simulation/Seeds.hpp"

#include "tests/simulation/Run.hpp"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <thread>
#include <utility>

namespace vexa::simulation {

namespace {

/// From how many seeds on everything has to be reached.
constexpr std::uint64_t seedsThatReachAll = 2000;

/// What the threads have found together.
struct Findings {
    std::mutex mutex;
    Coverage coverage;
    std::optional<std::pair<RunPlan, RunFailure>> first; ///< the failure of the lowest seed
    std::uint64_t steps = 0;
};

RunPlan planOf(const Options& options, Profile profile, std::uint64_t seed)
{
    return {profile, seed, options.kept ? *options.kept : allSteps(options.steps), options.plant};
}

void printLine(const std::string& line)
{
    std::printf("%s\n", line.c_str());
}

/// Takes seeds until there are none left or one has failed.
void work(const Options& options, std::atomic<std::uint64_t>& next, Findings& findings)
{
    Coverage coverage;
    std::uint64_t steps = 0;
    for (std::uint64_t index = next++; index < options.seeds; index = next++) {
        for (const Profile profile : options.profiles) {
            const RunPlan plan = planOf(options, profile, options.from + index);
            const RunTrace trace = options.showsTrace ? RunTrace{printLine} : RunTrace{};
            steps += plan.steps.size();
            if (auto failure = run(plan, coverage, trace)) {
                next = options.seeds;
                const std::lock_guard lock{findings.mutex};
                if (!findings.first || plan.seed < findings.first->first.seed) {
                    findings.first.emplace(plan, std::move(*failure));
                }
            }
        }
    }
    const std::lock_guard lock{findings.mutex};
    findings.coverage.add(coverage);
    findings.steps += steps;
}

void printFailure(const RunPlan& plan, const RunFailure& failure)
{
    std::printf("DIFFERENCE at seed %llu, %s", static_cast<unsigned long long>(plan.seed), display(failure).c_str());
    std::printf("replay: %s\n", replayCommand(plan).c_str());
    const RunPlan shortest = shrunk(plan);
    Coverage ignored;
    std::printf("\nThe shortest sequence that still differs has %zu of %zu steps:\n", shortest.steps.size(),
                plan.steps.size());
    const auto last = run(shortest, ignored, [](const std::string& line) {
        if (!line.starts_with(' ')) {
            printLine("  " + line);
        }
    });
    if (last) {
        std::printf("%s", display(*last).c_str());
    }
    std::printf("replay: %s\n", replayCommand(shortest).c_str());
}

} // namespace

bool runSeeds(const Options& options)
{
    const auto started = std::chrono::steady_clock::now();
    Findings findings;
    std::atomic<std::uint64_t> next{0};
    if (options.threads == 1) {
        work(options, next, findings);
    } else {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < options.threads; ++i) {
            threads.emplace_back([&] { work(options, next, findings); });
        }
    }
    if (findings.first) {
        printFailure(findings.first->first, findings.first->second);
        return false;
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - started;
    const double processor = static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
    std::printf("%llu seeds from %llu, %llu steps: no difference. %.1f s, %.0f steps a second; %.1f s on processors.\n",
                static_cast<unsigned long long>(options.seeds), static_cast<unsigned long long>(options.from),
                static_cast<unsigned long long>(findings.steps), took.count(),
                static_cast<double>(findings.steps) / took.count(), processor);
    std::vector<std::string> gaps;
    for (const Profile profile : options.profiles) {
        const bool isRules = profile == Profile::rules;
        const Coverage& reached = findings.coverage;
        if (options.showsCoverage) {
            std::fputs((isRules ? reached.tableOfRules() : reached.tableWithService()).c_str(), stdout);
        }
        const std::vector<std::string> more = isRules ? reached.gapsInRules() : reached.gapsWithService();
        gaps.insert(gaps.end(), more.begin(), more.end());
    }
    const bool hasToReachAll = options.seeds >= seedsThatReachAll && !options.kept;
    if (hasToReachAll || options.showsCoverage) {
        for (const std::string& gap : gaps) {
            std::printf("never reached: %s\n", gap.c_str());
        }
    }
    return gaps.empty() || !hasToReachAll;
}

} // namespace vexa::simulation
