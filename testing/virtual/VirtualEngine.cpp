#include <testing/virtual/VirtualEngine.hpp>
#include <VexaClient/platform/Fatal.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <cstddef>

namespace vexa::testing {

namespace {

/// How much runUntilIdle() runs before it takes the work for endless.
constexpr std::size_t mostItems = 10'000'000;

} // namespace

VirtualEngine::VirtualEngine(Platform& platform, std::uint64_t seed, VirtualOptions options)
    : platform_{platform}, options_{options}, wall_{toNanoseconds(VirtualClock::start)}, order_{seed}, bits_{~seed}
{}

void VirtualEngine::requireUse(std::string_view what) const
{
    if (!isOwnThread()) {
        fatal(joined({"the virtual platform was used by another thread than the one that made it: ", what}));
    }
    if (state_ == State::gone) {
        fatal(joined({"the virtual platform was used after its end: ", what}));
    }
}

void VirtualEngine::advance(Nanoseconds span)
{
    const Nanoseconds target = checkedSum(monotonic_, span);
    static_cast<void>(checkedSum(wall_, span));
    do {
        runUntilIdle();
    } while (stepWithin(target));
    moveTo(std::max(monotonic_, target));
}

void VirtualEngine::makeReady(boost::intrusive_ptr<VirtualQueue> queue)
{
    ready_.push_back(std::move(queue));
}

void VirtualEngine::makeUnready(const VirtualQueue& queue)
{
    std::erase_if(ready_, [&queue](const auto& each) { return each.get() == &queue; });
}

void VirtualEngine::submit(WorkItemPointer closure)
{
    if (takesWork()) {
        closures_.push_back(std::move(closure));
    }
}

bool VirtualEngine::runOne()
{
    if (isIdle()) {
        return false;
    }
    const std::uint64_t chosen = draw(ready_.size() + closures_.size());
    if (chosen < ready_.size()) {
        const auto place = ready_.begin() + static_cast<std::ptrdiff_t>(chosen);
        const boost::intrusive_ptr<VirtualQueue> queue = std::move(*place);
        ready_.erase(place);
        queue->runOldest();
        return true;
    }
    const auto place = closures_.begin() + static_cast<std::ptrdiff_t>(chosen - ready_.size());
    WorkItemPointer closure = std::move(*place);
    closures_.erase(place);
    runClosure(*closure.release());
    return true;
}

void VirtualEngine::runUntilIdle()
{
    for (std::size_t n = 0; n < mostItems; ++n) {
        if (!runOne()) {
            return;
        }
    }
    fatal("the virtual platform does not become idle: ten million items have run at one moment");
}

bool VirtualEngine::driveUntil(std::unique_lock<std::mutex>& lock, const std::function<bool()>& isMet,
                               std::optional<Nanoseconds> limit)
{
    while (!isMet()) {
        lock.unlock();
        bool isOver = false;
        if (!runOne() && !stepWithin(limit)) {
            if (!limit) {
                fatal("a wait on the virtual platform can never end: nothing is left to run, now or later");
            }
            moveTo(std::max(monotonic_, *limit));
            isOver = true;
        }
        lock.lock();
        if (isOver) {
            return isMet();
        }
    }
    return true;
}

void VirtualEngine::runItem(WorkItem& item, std::string_view label) noexcept
{
    ++depth_;
    try {
        item.run();
    } catch (...) {
        platform_.logEscapedException(joined({"a work item of the queue \"", label, "\""}));
    }
    --depth_;
}

void VirtualEngine::runClosure(WorkItem& closure) noexcept
{
    ++depth_;
    try {
        closure.run();
    } catch (...) {
        platform_.logEscapedException("a closure given to the platform");
    }
    --depth_;
}

void VirtualEngine::addDelayed(Nanoseconds delay, boost::intrusive_ptr<VirtualQueue> queue, WorkItemPointer item)
{
    const Due due{monotonic_ + delay, nextSequence_++};
    schedule_.emplace(due, Scheduled{std::move(queue), std::move(item), nullptr});
}

void VirtualEngine::addTimer(std::shared_ptr<VirtualTimer> timer)
{
    Nanoseconds lateness = 0;
    if (options_.drawLeeway) {
        lateness = static_cast<Nanoseconds>(draw(static_cast<std::uint64_t>(timer->leeway()) + 1));
    }
    const Due due{std::max(monotonic_, timer->deadline() + lateness), nextSequence_++};
    schedule_.emplace(due, Scheduled{nullptr, nullptr, std::move(timer)});
}

void VirtualEngine::removeTimer(const VirtualTimer& timer)
{
    std::erase_if(schedule_, [&timer](const auto& each) { return each.second.timer.get() == &timer; });
}

PendingDelays VirtualEngine::pendingDelays() const
{
    PendingDelays pending;
    for (const auto& [due, scheduled] : schedule_) {
        ++(scheduled.timer != nullptr ? pending.timers : pending.items);
    }
    if (!schedule_.empty()) {
        pending.nextDue = toSeconds(schedule_.begin()->first.first);
    }
    return pending;
}

void VirtualEngine::moveTo(Nanoseconds moment) noexcept
{
    wall_ += moment - monotonic_;
    monotonic_ = moment;
}

bool VirtualEngine::stepWithin(std::optional<Nanoseconds> limit)
{
    if (schedule_.empty()) {
        return false;
    }
    const Nanoseconds due = schedule_.begin()->first.first;
    if (limit && due > *limit) {
        return false;
    }
    // An item that moves the clocks itself may have gone past the moment.
    moveTo(std::max(monotonic_, due));
    handOverWhatIsDue();
    return true;
}

void VirtualEngine::handOverWhatIsDue()
{
    // A timer comes back into the schedule with a deadline later than now, so this ends.
    while (!schedule_.empty() && schedule_.begin()->first.first <= monotonic_) {
        Scheduled scheduled = std::move(schedule_.extract(schedule_.begin()).mapped());
        if (scheduled.timer != nullptr) {
            scheduled.timer->becomeDue(monotonic_);
            addTimer(std::move(scheduled.timer));
        } else {
            scheduled.queue->enqueue(std::move(scheduled.item));
        }
    }
}

std::uint64_t VirtualEngine::randomBits()
{
    if (scriptedBits_.empty()) {
        return bits_();
    }
    const std::uint64_t bits = scriptedBits_.front();
    scriptedBits_.pop_front();
    return bits;
}

void VirtualEngine::nextRandomBits(const std::vector<std::uint64_t>& draws)
{
    scriptedBits_.insert(scriptedBits_.end(), draws.begin(), draws.end());
}

void VirtualEngine::drop(Scheduled& scheduled)
{
    if (scheduled.timer != nullptr) {
        scheduled.timer->drop();
    } else {
        scheduled.queue->dropHere([&scheduled] { scheduled.item.reset(); });
    }
}

void VirtualEngine::stop()
{
    if (depth_ != 0) {
        fatal("the virtual platform was destroyed by one of its own work items");
    }
    state_ = State::stopping;
    for (const auto& queue : std::exchange(ready_, {})) {
        queue->dropAll();
    }
    std::exchange(closures_, {}).clear();
    for (auto& [due, scheduled] : std::exchange(schedule_, {})) {
        drop(scheduled);
    }
    state_ = State::gone;
}

} // namespace vexa::testing
