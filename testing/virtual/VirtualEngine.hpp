#pragma once

#include <testing/virtual/Nanoseconds.hpp>
#include <testing/virtual/VirtualQueue.hpp>
#include <testing/virtual/VirtualTimer.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace vexa::testing {

/// What a virtual platform, its queues and its timers share: time, what is ready, and what waits for its time.
class VirtualEngine {
public:
    VirtualEngine(Platform& platform, std::uint64_t seed, VirtualOptions options);

    /// Stops the process when the calling thread is not the one that made the platform, or the platform is gone.
    void requireUse(std::string_view what) const;

    /// Whether the calling thread is the one that made the platform.
    [[nodiscard]] bool isOwnThread() const noexcept { return std::this_thread::get_id() == thread_; }

    /// Whether new work is taken: not while the platform is being destroyed.
    [[nodiscard]] bool takesWork() const noexcept { return state_ == State::running; }

    // Time.

    [[nodiscard]] Nanoseconds wall() const noexcept { return wall_; }
    [[nodiscard]] Nanoseconds monotonic() const noexcept { return monotonic_; }
    void setWall(Nanoseconds moment) noexcept { wall_ = moment; }
    void advance(Nanoseconds span);

    // What is ready.

    void makeReady(boost::intrusive_ptr<VirtualQueue> queue);
    void makeUnready(const VirtualQueue& queue);
    void submit(WorkItemPointer closure);
    bool runOne();
    void runUntilIdle();
    [[nodiscard]] bool isIdle() const noexcept { return ready_.empty() && closures_.empty(); }
    [[nodiscard]] bool driveUntil(std::unique_lock<std::mutex>& lock, const std::function<bool()>& isMet,
                                  std::optional<Nanoseconds> limit);

    /// Runs an item of the queue `label`; what escapes it is logged.
    void runItem(WorkItem& item, std::string_view label) noexcept;

    // What waits for its time.

    void addDelayed(Nanoseconds delay, boost::intrusive_ptr<VirtualQueue> queue, WorkItemPointer item);
    void addTimer(std::shared_ptr<VirtualTimer> timer);
    void removeTimer(const VirtualTimer& timer);
    [[nodiscard]] PendingDelays pendingDelays() const;

    // Chance.

    [[nodiscard]] std::uint64_t randomBits();
    void nextRandomBits(const std::vector<std::uint64_t>& draws);

    /// Drops everything; the platform goes away.
    void stop();

private:
    enum class State { running, stopping, gone };

    /// A delayed item with its queue, or a timer.
    struct Scheduled {
        boost::intrusive_ptr<VirtualQueue> queue;
        WorkItemPointer item;
        std::shared_ptr<VirtualTimer> timer;
    };

    /// The moment when something is due, then the order in which it was scheduled.
    using Due = std::pair<Nanoseconds, std::uint64_t>;

    [[nodiscard]] std::uint64_t draw(std::uint64_t bound) { return order_() % bound; }
    void runClosure(WorkItem& closure) noexcept;
    void moveTo(Nanoseconds moment) noexcept;

    /// Moves the clocks to the next due moment, unless that is later than `limit`, and hands over what is due then.
    /// Returns whether it did.
    bool stepWithin(std::optional<Nanoseconds> limit);
    void handOverWhatIsDue();
    static void drop(Scheduled& scheduled);

    Platform& platform_;
    const VirtualOptions options_;
    const std::thread::id thread_ = std::this_thread::get_id();
    State state_ = State::running;
    std::size_t depth_ = 0; ///< of items on the stack

    Nanoseconds wall_;
    Nanoseconds monotonic_ = 0;

    std::vector<boost::intrusive_ptr<VirtualQueue>> ready_;
    std::vector<WorkItemPointer> closures_;
    std::map<Due, Scheduled> schedule_;
    std::uint64_t nextSequence_ = 0;

    // Apart from each other, so that a scripted draw leaves the order of events as it was.
    std::mt19937_64 order_;
    std::mt19937_64 bits_;
    std::deque<std::uint64_t> scriptedBits_;
};

} // namespace vexa::testing
