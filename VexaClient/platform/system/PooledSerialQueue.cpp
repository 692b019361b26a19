#include <VexaClient/platform/system/DelayedWork.hpp>
#include <VexaClient/platform/system/PooledSerialQueue.hpp>
#include <VexaClient/platform/system/WorkerPool.hpp>
#include <VexaClient/platform/Text.hpp>

#include <cassert>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace vexa {

namespace {

/// How many items a worker runs before the other ready queues have their turn.
constexpr int itemsPerTurn = 64;

std::uintptr_t address(WorkItem& item) noexcept
{
    return reinterpret_cast<std::uintptr_t>(&item); // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
}

} // namespace

/// An item whose caller waits for it, on that caller's stack.
class PooledSerialQueue::Waiter final : public WorkItem {
public:
    explicit Waiter(WorkItem& item) noexcept : WorkItem{&operate}, item_{item} {}

    static bool isWaiter(const WorkItem& item) noexcept { return item.isOperatedBy(&operate); }

    /// For the thread that waits: sleeps until the item has run or the queue has been left for others to claim.
    void sleep()
    {
        std::unique_lock lock{mutex_};
        wakeUp_.wait(lock, [this] { return done_ || offered_; });
        offered_ = false;
    }

    /// Whether the item has run. Under the lock, so that whoever ran it is past it once this is seen.
    bool isDone()
    {
        const std::lock_guard lock{mutex_};
        return done_;
    }

    /// For the owner: parks the queue and wakes this waiter, who cannot leave before it is done.
    template <class Park>
    void offer(Park&& parkQueue)
    {
        const std::lock_guard lock{mutex_};
        parkQueue();
        offered_ = true;
        wakeUp_.notify_one();
    }

private:
    static void operate(WorkItem* item, Operation operation)
    {
        if (operation != Operation::run) {
            return;
        }
        auto* self = static_cast<Waiter*>(item);
        self->item_.run();
        const std::lock_guard lock{self->mutex_};
        self->done_ = true;
        self->wakeUp_.notify_one();
    }

    WorkItem& item_;
    std::mutex mutex_;
    std::condition_variable wakeUp_;
    bool done_ = false;
    bool offered_ = false;
};

PooledSerialQueue::PooledSerialQueue(std::string label, QueueWork work, Platform& platform, WorkerPool& pool,
                                     DelayedWork& delayed)
    : SerialQueue{std::move(label)}, work_{work}, platform_{platform}, pool_{pool}, delayed_{delayed}
{}

PooledSerialQueue::~PooledSerialQueue()
{
    if (incoming_.load() > taken) {
        fetchIncoming();
    }
    while (first_ != nullptr) {
        WorkItem* item = std::exchange(first_, first_->next);
        item->discard();
    }
}

bool PooledSerialQueue::link(WorkItem& item) noexcept
{
    std::uintptr_t seen = incoming_.load(std::memory_order_relaxed);
    do {
        item.next = seen <= taken ? nullptr : reinterpret_cast<WorkItem*>(seen); // NOLINT(performance-no-int-to-ptr)
    } while (
        !incoming_.compare_exchange_weak(seen, address(item), std::memory_order_seq_cst, std::memory_order_relaxed));
    return seen == idle;
}

void PooledSerialQueue::push(WorkItemPointer item)
{
    if (link(*item.release())) {
        parkNew(Turn::next);
    }
}

void PooledSerialQueue::pushAfter(double seconds, WorkItemPointer item)
{
    delayed_.add(seconds, boost::intrusive_ptr<PooledSerialQueue>{this}, std::move(item));
}

std::shared_ptr<RepeatingTimer> PooledSerialQueue::startTimer(TimerSchedule schedule, std::function<void()> handler)
{
    return delayed_.startTimer(boost::intrusive_ptr<PooledSerialQueue>{this}, schedule, std::move(handler));
}

void PooledSerialQueue::runOnWorker()
{
    // Cleared before the claim: whoever parks the queue from here on puts it into the pool again.
    inPool_.store(false);
    if (!tryClaim()) {
        return;
    }
    const Frame frame{*this};
    for (int n = 0; n < itemsPerTurn; ++n) {
        WorkItem* item = takeNextOrRelease();
        if (item == nullptr) {
            return;
        }
        runItem(*item);
    }
    parkForOthers(Turn::back);
}

void PooledSerialQueue::runPromptItems()
{
    inPool_.store(false);
    if (!tryClaim()) {
        return;
    }
    const Frame frame{*this};
    for (int n = 0; n < itemsPerTurn; ++n) {
        if (first_ == nullptr) {
            if (tryRelease()) {
                return;
            }
            fetchIncoming();
        }
        if (!first_->isPrompt) {
            break;
        }
        runItem(*std::exchange(first_, first_->next));
    }
    parkForOthers(Turn::back);
}

bool PooledSerialQueue::tryEnter() noexcept
{
    std::uintptr_t expected = idle;
    return incoming_.compare_exchange_strong(expected, taken, std::memory_order_seq_cst, std::memory_order_relaxed);
}

void PooledSerialQueue::leave() noexcept
{
    if (!tryRelease()) {
        parkForOthers(Turn::next);
    }
}

bool PooledSerialQueue::tryRelease() noexcept
{
    std::uintptr_t expected = taken;
    return first_ == nullptr &&
           incoming_.compare_exchange_strong(expected, idle, std::memory_order_seq_cst, std::memory_order_relaxed);
}

void PooledSerialQueue::pushAndWait(WorkItem& item)
{
    // What this thread made ready must not wait for it.
    const HostCode scope{platform_};
    Waiter waiter{item};
    // Counted before it is linked, so that an owner who parks the queue either sees it or is seen to have parked.
    waiters_.fetch_add(1);
    bool owner = link(waiter);
    while (!owner && !waiter.isDone()) {
        owner = tryClaim();
        if (!owner) {
            waiter.sleep();
        }
    }
    if (owner) {
        // The earlier owner may have run the item just before it parked the queue.
        if (waiter.isDone()) {
            leave();
        } else {
            runUntilDone(waiter);
        }
    }
    waiters_.fetch_sub(1);
}

void PooledSerialQueue::runUntilDone(const Waiter& waiter)
{
    const Frame frame{*this};
    for (;;) {
        WorkItem* item = takeNextOrRelease();
        assert(item != nullptr && "the owner's own item is among those that wait");
        const bool last = item == &waiter;
        runItem(*item);
        if (last) {
            break;
        }
    }
    leave();
}

void PooledSerialQueue::fetchIncoming() noexcept
{
    std::uintptr_t newest = incoming_.exchange(taken, std::memory_order_seq_cst);
    if (newest <= taken) {
        return;
    }
    auto* item = reinterpret_cast<WorkItem*>(newest); // NOLINT(performance-no-int-to-ptr)
    WorkItem* oldest = nullptr;
    WorkItem* const last = item;
    while (item != nullptr) {
        WorkItem* older = std::exchange(item->next, oldest);
        oldest = item;
        item = older;
    }
    (first_ != nullptr ? last_->next : first_) = oldest;
    last_ = last;
}

WorkItem* PooledSerialQueue::takeNextOrRelease() noexcept
{
    if (first_ == nullptr) {
        if (tryRelease()) {
            return nullptr;
        }
        fetchIncoming();
    }
    return std::exchange(first_, first_->next);
}

void PooledSerialQueue::runItem(WorkItem& item) noexcept
{
    try {
        item.run();
    } catch (...) {
        platform_.logEscapedException(joined({"a work item of the queue \"", label(), "\""}));
    }
}

PooledSerialQueue::Waiter* PooledSerialQueue::firstWaiter() const noexcept
{
    if (waiters_.load() == 0) {
        return nullptr;
    }
    for (WorkItem* item = first_; item != nullptr; item = item->next) {
        if (Waiter::isWaiter(*item)) {
            return static_cast<Waiter*>(item);
        }
    }
    return nullptr;
}

void PooledSerialQueue::parkNew(Turn turn)
{
    // The item may own the last reference to the queue, and has perhaps run before this returns.
    const boost::intrusive_ptr<PooledSerialQueue> alive{this};
    token_.store(Token::parked);
    offerToPool(turn);
    // A waiter that was linked before the queue was parked may have gone to sleep; it must hear of the parking.
    if (waiters_.load() != 0 && tryClaim()) {
        parkForOthers(turn);
    }
}

void PooledSerialQueue::parkForOthers(Turn turn)
{
    for (;;) {
        fetchIncoming();
        if (Waiter* waiter = firstWaiter()) {
            waiter->offer([this] { token_.store(Token::parked); });
        } else {
            token_.store(Token::parked);
        }
        offerToPool(turn);
        if (waiters_.load() == 0 || incoming_.load() == taken || !tryClaim()) {
            return;
        }
    }
}

bool PooledSerialQueue::tryClaim() noexcept
{
    Token expected = Token::parked;
    return token_.compare_exchange_strong(expected, Token::owned);
}

void PooledSerialQueue::offerToPool(Turn turn)
{
    if (!inPool_.exchange(true)) {
        boost::intrusive_ptr<PooledSerialQueue> self{this};
        if (turn == Turn::next) {
            pool_.scheduleNext(std::move(self));
        } else {
            pool_.scheduleLast(std::move(self));
        }
    }
}

} // namespace vexa
