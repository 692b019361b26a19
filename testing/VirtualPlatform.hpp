#pragma once

#include <testing/Seeds.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::testing {

class VirtualEngine;

/// The time of a VirtualPlatform: a wall clock, which may jump, and a monotonic clock, which delays and timers follow.
/// Both stand still until the test moves them. Times are kept in whole nanoseconds, so that steps add up exactly.
class VirtualClock {
public:
    /// What the wall clock shows at first, in seconds since 1970.
    static constexpr double start = 1700000000.0;

    /// Moves both clocks by `seconds`, from one due moment to the next, and runs all that is ready before, at and after
    /// each. Throws std::invalid_argument when `seconds` is negative, not finite or beyond the reach of the clocks.
    void advance(double seconds);

    /// Moves the wall clock alone by `seconds`, which may be negative. Nothing runs. Throws std::invalid_argument when
    /// that leads beyond the reach of the clock, some 190 years around 1970.
    void jump(double seconds);

    /// Sets the wall clock alone to `seconds` since 1970. Nothing runs. Throws as jump() does.
    void set(double seconds);

    /// The wall clock, in seconds since 1970.
    [[nodiscard]] double now() const;

    /// The seconds for which the clocks have been advanced, jumps of the wall clock apart.
    [[nodiscard]] double elapsed() const;

private:
    friend class VirtualPlatform;
    explicit VirtualClock(VirtualEngine& engine) noexcept : engine_{engine} {}

    VirtualEngine& engine_;
};

/// What can be chosen about a VirtualPlatform.
struct VirtualOptions {
    /// Whether the seed draws by how much of its leeway each firing of a timer is late. Otherwise timers fire exactly
    /// at their deadlines.
    bool drawLeeway = false;
};

/// What waits for its time on a VirtualPlatform.
struct PendingDelays {
    std::size_t items = 0;         ///< delayed work items
    std::size_t timers = 0;        ///< running timers
    std::optional<double> nextDue; ///< when the next of them is due, in seconds on the monotonic clock
};

/// A platform for tests: every queue runs on one thread, on virtual time, in an order drawn from a seed. The same seed
/// gives the same run.
///
/// Nothing runs by itself. Work runs in runOne(), runUntilIdle(), clock.advance() and wait(), and in sync(), which runs
/// first what waits in its queue. All of these may be called from inside a work item too; the queues on the stack of
/// the thread then rest, and synchronous work for one of them stops the process, since nothing else could finish it.
///
/// It belongs to the thread that made it, and stops the process with a message when another thread uses it. Exceptions
/// are log(), logLines(), takeLogLines(), HostCode and the labels and handles of queues: any thread may use them.
class VirtualPlatform final : public Platform {
public:
    explicit VirtualPlatform(std::uint64_t seed = defaultSeed(), VirtualOptions options = {});

    /// Drops what has not run.
    ~VirtualPlatform() override;

    VirtualPlatform(const VirtualPlatform&) = delete;
    VirtualPlatform& operator=(const VirtualPlatform&) = delete;

    [[nodiscard]] std::uint64_t seed() const noexcept { return seed_; }

    // How the test drives it.

    /// Runs one item of a ready queue, or one closure given to execute(). Returns whether there was any.
    bool runOne();

    /// Runs what is ready, and what that makes ready, until nothing is. Time stands still. Stops the process with a
    /// message when ten million items were not enough.
    void runUntilIdle();

    /// Whether nothing is ready. What waits for its time is not ready.
    [[nodiscard]] bool isIdle() const;

    [[nodiscard]] PendingDelays pendingDelays() const;

    /// The next draws of randomBits(), behind those given earlier; after them the seed draws again.
    void nextRandomBits(const std::vector<std::uint64_t>& draws);

    // What the test reads.

    /// The lines of the system log so far, whole. With VEXA_LOG=1 in the environment they go to standard error as well.
    [[nodiscard]] std::vector<std::string> logLines() const;

    /// The lines of the system log since the last call.
    std::vector<std::string> takeLogLines();

    /// Whether the thread runs code that was marked with HostCode.
    [[nodiscard]] bool isInHostCode() const;

    // Platform

    [[nodiscard]] SerialQueueHandle makeQueue(std::string label, QueueWork work = QueueWork::mayBlock) override;
    [[nodiscard]] double now() override;
    [[nodiscard]] double monotonicNow() override;
    [[nodiscard]] std::uint64_t randomBits() override;

    /// Runs what is ready, one thing after the other, and moves the clocks to the next due moment when nothing is,
    /// until `ready` holds or `seconds` have passed; none or fewer than none asks `ready` once. Stops the process with
    /// a message when there is no time limit and nothing is left that could bring `ready` about.
    bool wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, const std::function<bool()>& ready,
              std::optional<double> seconds) override;
    void enterHostCode() noexcept override;
    void leaveHostCode() noexcept override;

protected:
    void submit(WorkItemPointer item) override;
    void writeLogLine(std::string_view line) override;

private:
    std::uint64_t seed_;
    std::shared_ptr<VirtualEngine> engine_;
    int hostCodeDepth_ = 0;

    mutable std::mutex logMutex_;
    std::vector<std::string> logLines_;
    std::size_t takenLogLines_ = 0;
    bool echoesLog_;

public:
    VirtualClock clock;
};

} // namespace vexa::testing
