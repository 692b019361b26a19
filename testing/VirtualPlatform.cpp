#include <testing/virtual/Nanoseconds.hpp>
#include <testing/virtual/VirtualEngine.hpp>
#include <testing/virtual/VirtualQueue.hpp>
#include <testing/VirtualPlatform.hpp>

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace vexa::testing {

namespace {

bool environmentWantsLog()
{
    const char* variable = std::getenv("VEXA_LOG"); // NOLINT(concurrency-mt-unsafe): nothing here sets it
    return variable != nullptr && std::string_view{variable} == "1";
}

} // namespace

void VirtualClock::advance(double seconds)
{
    engine_.requireUse("clock.advance()");
    if (seconds < 0.0) {
        throw std::invalid_argument{"the virtual clock cannot be advanced by a negative time"};
    }
    engine_.advance(toNanoseconds(seconds));
}

void VirtualClock::jump(double seconds)
{
    engine_.requireUse("clock.jump()");
    engine_.setWall(checkedSum(engine_.wall(), toNanoseconds(seconds)));
}

void VirtualClock::set(double seconds)
{
    engine_.requireUse("clock.set()");
    engine_.setWall(toNanoseconds(seconds));
}

double VirtualClock::now() const
{
    engine_.requireUse("clock.now()");
    return toSeconds(engine_.wall());
}

double VirtualClock::elapsed() const
{
    engine_.requireUse("clock.elapsed()");
    return toSeconds(engine_.monotonic());
}

VirtualPlatform::VirtualPlatform(std::uint64_t seed, VirtualOptions options)
    : seed_{seed},
      engine_{std::make_shared<VirtualEngine>(*this, seed, options)},
      echoesLog_{environmentWantsLog()},
      clock{*engine_}
{}

VirtualPlatform::~VirtualPlatform()
{
    engine_->requireUse("its destruction");
    engine_->stop();
}

bool VirtualPlatform::runOne()
{
    engine_->requireUse("runOne()");
    return engine_->runOne();
}

void VirtualPlatform::runUntilIdle()
{
    engine_->requireUse("runUntilIdle()");
    engine_->runUntilIdle();
}

bool VirtualPlatform::isIdle() const
{
    engine_->requireUse("isIdle()");
    return engine_->isIdle();
}

PendingDelays VirtualPlatform::pendingDelays() const
{
    engine_->requireUse("pendingDelays()");
    return engine_->pendingDelays();
}

void VirtualPlatform::nextRandomBits(const std::vector<std::uint64_t>& draws)
{
    engine_->requireUse("nextRandomBits()");
    engine_->nextRandomBits(draws);
}

std::vector<std::string> VirtualPlatform::logLines() const
{
    const std::lock_guard lock{logMutex_};
    return logLines_;
}

std::vector<std::string> VirtualPlatform::takeLogLines()
{
    const std::lock_guard lock{logMutex_};
    const auto first = logLines_.begin() + static_cast<std::ptrdiff_t>(takenLogLines_);
    takenLogLines_ = logLines_.size();
    return {first, logLines_.end()};
}

bool VirtualPlatform::isInHostCode() const
{
    engine_->requireUse("isInHostCode()");
    return hostCodeDepth_ > 0;
}

SerialQueueHandle VirtualPlatform::makeQueue(std::string label, QueueWork /*work*/)
{
    engine_->requireUse("makeQueue()");
    return SerialQueueHandle{new VirtualQueue{std::move(label), engine_}};
}

double VirtualPlatform::now()
{
    return clock.now();
}

double VirtualPlatform::monotonicNow()
{
    return clock.elapsed();
}

std::uint64_t VirtualPlatform::randomBits()
{
    engine_->requireUse("randomBits()");
    return engine_->randomBits();
}

bool VirtualPlatform::wait(std::unique_lock<std::mutex>& lock, std::condition_variable& /*changed*/,
                           const std::function<bool()>& ready, std::optional<double> seconds)
{
    engine_->requireUse("wait()");
    if (!seconds) {
        return engine_->driveUntil(lock, ready, std::nullopt);
    }
    const Nanoseconds limit = delayNanoseconds(*seconds);
    return limit == 0 ? ready() : engine_->driveUntil(lock, ready, engine_->monotonic() + limit);
}

void VirtualPlatform::enterHostCode() noexcept
{
    if (engine_->isOwnThread()) {
        ++hostCodeDepth_;
    }
}

void VirtualPlatform::leaveHostCode() noexcept
{
    if (engine_->isOwnThread()) {
        --hostCodeDepth_;
    }
}

void VirtualPlatform::submit(WorkItemPointer item)
{
    engine_->requireUse("execute()");
    engine_->submit(std::move(item));
}

void VirtualPlatform::writeLogLine(std::string_view line)
{
    const std::lock_guard lock{logMutex_};
    logLines_.emplace_back(line);
    if (echoesLog_) {
        std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
    }
}

} // namespace vexa::testing
