#include "tests/simulation/Run.hpp"

#include "tests/model/Model.hpp"
#include "tests/simulation/ServiceWorld.hpp"
#include "tests/simulation/World.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace vexa::simulation {

namespace {

/// How much of what came before a difference is shown.
constexpr std::size_t mostShown = 40;

std::string stepLine(std::size_t number, const char* event, bool wasPossible)
{
    return "step " + std::to_string(number) + ": " + event + (wasPossible ? "" : ", which was not possible");
}

/// The number that stands for the end of the run.
std::size_t stepAfter(const RunPlan& plan)
{
    return plan.steps.empty() ? 0 : plan.steps.back() + 1;
}

/// Lets the model follow what was recorded. Returns how it failed, if it did.
std::optional<RunFailure> follow(model::Model& model, Recorder& recorder, const RunTrace& trace)
{
    const std::vector<Observation>& seen = recorder.observations();
    if (trace) {
        for (const Observation& each : seen) {
            trace("    " + model::display(each));
        }
    }
    std::optional<RunFailure> failure;
    try {
        model.follow(seen);
    } catch (const model::Difference& difference) {
        failure.emplace(RunFailure{0, {}, difference.expected, difference.observed, {}});
        const std::size_t end = std::min(seen.size(), difference.position + 1);
        for (std::size_t i = end - std::min(end, mostShown); i < end; ++i) {
            failure->before.push_back(model::display(seen[i]));
        }
    }
    recorder.clear();
    return failure;
}

} // namespace

std::vector<std::size_t> allSteps(std::size_t count)
{
    std::vector<std::size_t> steps(count);
    std::iota(steps.begin(), steps.end(), std::size_t{0});
    return steps;
}

namespace {

std::optional<RunFailure> runRules(const RunPlan& plan, Coverage& coverage, const RunTrace& trace)
{
    model::Model model{coverage.rules};
    World world{plan.seed};
    world.recorder().corrupt = corruption(plan.plant);
    if (auto failure = follow(model, world.recorder(), trace)) {
        failure->event = "the construction";
        return failure;
    }
    std::optional<std::size_t> before;
    for (const std::size_t number : plan.steps) {
        const World::Step step = world.step(number);
        const auto event = static_cast<std::size_t>(step.event);
        if (trace) {
            trace(stepLine(number, eventTexts[event], step.wasPossible));
        }
        if (auto failure = follow(model, world.recorder(), trace)) {
            failure->step = number;
            failure->event = eventTexts[event];
            return failure;
        }
        if (step.wasPossible) {
            coverage.events.note(before, event);
            before = event;
        }
    }
    world.finish();
    if (trace) {
        trace("the end of the run");
    }
    if (auto failure = follow(model, world.recorder(), trace)) {
        failure->step = stepAfter(plan);
        failure->event = "the end of the run";
        return failure;
    }
    return std::nullopt;
}

std::optional<RunFailure> runWithService(const RunPlan& plan, Coverage& coverage, const RunTrace& trace)
{
    ServiceWorld world{plan.seed, coverage};
    std::optional<std::size_t> before;
    for (const std::size_t number : plan.steps) {
        try {
            const ServiceWorld::Step step = world.step(number);
            const auto event = static_cast<std::size_t>(step.event);
            if (trace) {
                trace(stepLine(number, serviceEventTexts[event], step.wasPossible));
            }
            if (step.wasPossible) {
                coverage.serviceEvents.note(before, event);
                before = event;
            }
        } catch (const model::Difference& difference) {
            return RunFailure{number, "a step with the service", difference.expected, difference.observed, {}};
        }
    }
    try {
        world.finish();
    } catch (const model::Difference& difference) {
        return RunFailure{stepAfter(plan), "the end of the run", difference.expected, difference.observed, {}};
    }
    return std::nullopt;
}

} // namespace

std::optional<RunFailure> run(const RunPlan& plan, Coverage& coverage, const RunTrace& trace)
{
    return plan.profile == Profile::rules ? runRules(plan, coverage, trace) : runWithService(plan, coverage, trace);
}

RunPlan shrunk(RunPlan plan)
{
    const auto fails = [](const RunPlan& each) {
        Coverage ignored;
        return run(each, ignored).has_value();
    };
    for (std::size_t part = std::max<std::size_t>(1, plan.steps.size() / 2); part > 0;) {
        bool hasShrunk = false;
        for (std::size_t begin = 0; begin < plan.steps.size();) {
            RunPlan shorter = plan;
            const auto first = shorter.steps.begin() + static_cast<std::ptrdiff_t>(begin);
            const auto last = first + static_cast<std::ptrdiff_t>(std::min(part, shorter.steps.size() - begin));
            shorter.steps.erase(first, last);
            if (fails(shorter)) {
                plan = std::move(shorter);
                hasShrunk = true;
            } else {
                begin += part;
            }
        }
        if (!hasShrunk || part > plan.steps.size()) {
            part /= 2;
        }
    }
    return plan;
}

std::string replayCommand(const RunPlan& plan)
{
    std::string command = "simulate --profile " + std::string{profileNames.at(static_cast<std::size_t>(plan.profile))};
    command += " --from " + std::to_string(plan.seed) + " --seeds 1 --keep ";
    for (std::size_t i = 0; i < plan.steps.size(); ++i) {
        command += (i == 0 ? "" : ",") + std::to_string(plan.steps[i]);
    }
    if (plan.steps.empty()) {
        command += "none";
    }
    if (plan.plant != Plant::none) {
        command += " --plant " + std::string{plantNames.at(static_cast<std::size_t>(plan.plant))};
    }
    return command;
}

std::string display(const RunFailure& failure)
{
    std::string text = "step " + std::to_string(failure.step) + " (" + failure.event + ")\n";
    text += "  expected: " + failure.expected + "\n";
    text += "  observed: " + failure.observed + "\n";
    if (!failure.before.empty()) {
        text += "  seen in this step before and with that:\n";
    }
    for (const std::string& each : failure.before) {
        text += "    " + each + "\n";
    }
    return text;
}

} // namespace vexa::simulation
