#pragma once

#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/platform/SerialQueue.hpp>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace vexa {

class DelayedWork;
class SystemPlatform;
class WorkerPool;

/// The serial queue of the system platform: a list without locks, and a token that says who runs it.
///
/// `incoming_` tells idle, taken, or taken with the newest item of a chain of new ones. Whoever turns it from idle to
/// taken owns the queue, and either runs it or parks it: a parked queue waits in the worker pool, and whoever claims it
/// first owns it again, be it a worker or a thread that waits in sync(). So a waiting thread needs no free worker.
class PooledSerialQueue final : public SerialQueue {
public:
    PooledSerialQueue(std::string label, QueueWork work, Platform& platform, WorkerPool& pool, DelayedWork& delayed);
    ~PooledSerialQueue() override;

    [[nodiscard]] std::shared_ptr<RepeatingTimer> startTimer(TimerSchedule schedule,
                                                             std::function<void()> handler) override;

    /// Adds an item, as async() does with its closure.
    void enqueue(WorkItemPointer item) { push(std::move(item)); }

    /// Runs waiting items on the calling worker, if no other thread runs them: a share of them, after which the queue
    /// goes to the back of the pool.
    void runOnWorker();

    /// The same on a thread that lends itself, until an item comes that is not prompt: the rest is left to the pool.
    void runPromptItems();

    /// What the items may do with the worker.
    [[nodiscard]] QueueWork work() const noexcept { return work_; }

protected:
    void push(WorkItemPointer item) override;
    void pushAfter(double seconds, WorkItemPointer item) override;
    [[nodiscard]] bool tryEnter() noexcept override;
    void leave() noexcept override;
    void pushAndWait(WorkItem& item) override;

private:
    class Waiter;

    enum class Token : std::uint8_t { owned, parked };
    enum class Turn : std::uint8_t { next, back };

    static constexpr std::uintptr_t idle = 0;
    static constexpr std::uintptr_t taken = 1;

    /// Links `item` into the new ones. Returns whether the queue was idle and is now the caller's.
    bool link(WorkItem& item) noexcept;

    // For the owner alone.
    void fetchIncoming() noexcept;
    [[nodiscard]] WorkItem* takeNextOrRelease() noexcept;
    void runItem(WorkItem& item) noexcept;
    void runUntilDone(const Waiter& waiter);
    [[nodiscard]] Waiter* firstWaiter() const noexcept;
    [[nodiscard]] bool tryRelease() noexcept;

    /// Parks a queue that was idle until the caller linked an item into it.
    void parkNew(Turn turn);

    /// Parks a queue that the caller has run, and wakes the first of the threads that wait for one of its items.
    void parkForOthers(Turn turn);

    [[nodiscard]] bool tryClaim() noexcept;
    void offerToPool(Turn turn);

    std::atomic<std::uintptr_t> incoming_{idle};
    std::atomic<Token> token_{Token::owned};
    std::atomic<bool> inPool_{false};
    const QueueWork work_;
    std::atomic<std::uint32_t> waiters_{0};

    /// The items that the owner has fetched, oldest first.
    WorkItem* first_ = nullptr;
    WorkItem* last_ = nullptr;

    Platform& platform_;
    WorkerPool& pool_;
    DelayedWork& delayed_;
};

} // namespace vexa
