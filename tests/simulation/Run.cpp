#include "tests/simulation/Run.hpp"

#include "tests/model/Model.hpp"
#include "tests/simulation/World.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace vexa::simulation {

namespace {

/// How much of what came before a difference is shown.
constexpr std::size_t mostShown = 40;

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

std::optional<RunFailure> run(const RunPlan& plan, Coverage& coverage, const RunTrace& trace)
{
    model::Model model{coverage.rules};
    World world{plan.seed};
    world.recorder().corrupt = corruption(plan.plant);
    if (auto failure = follow(model, world.recorder(), trace)) {
        failure->event = "the construction";
        return failure;
    }
    std::optional<Event> before;
    for (const std::size_t number : plan.steps) {
        const World::Step step = world.step(number);
        const std::string name = eventTexts[static_cast<std::size_t>(step.event)];
        if (trace) {
            trace("step " + std::to_string(number) + ": " + name +
                  (step.wasPossible ? "" : ", which was not possible"));
        }
        if (auto failure = follow(model, world.recorder(), trace)) {
            failure->step = number;
            failure->event = name;
            return failure;
        }
        if (step.wasPossible) {
            coverage.note(before, step.event);
            before = step.event;
        }
    }
    world.finish();
    if (trace) {
        trace("the end of the run");
    }
    if (auto failure = follow(model, world.recorder(), trace)) {
        failure->step = plan.steps.empty() ? 0 : plan.steps.back() + 1;
        failure->event = "the end of the run";
        return failure;
    }
    return std::nullopt;
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
    std::string command = "simulate --from " + std::to_string(plan.seed) + " --seeds 1 --keep ";
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
    text += "  the model expects: " + failure.expected + "\n";
    text += "  the library:       " + failure.observed + "\n";
    text += "  seen in this step before and with that:\n";
    for (const std::string& each : failure.before) {
        text += "    " + each + "\n";
    }
    return text;
}

} // namespace vexa::simulation
