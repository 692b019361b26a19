#include <VexaClient/platform/system/DelayedWork.hpp>
#include <VexaClient/platform/system/WorkerPool.hpp>

#include <boost/asio/post.hpp>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace vexa {

namespace {

/// How many queues in a row a worker runs because one made the next ready, before others have their turn.
constexpr int queuesInARow = 64;

/// For how long ready work may find no worker before one is added, in seconds.
constexpr double patience = 0.01;

/// For how long a temporary worker stays without work.
constexpr std::chrono::seconds temporaryStay{1};

} // namespace

/// What a thread of the pool keeps while it runs a task.
struct WorkerPool::Worker {
    explicit Worker(WorkerPool& owner) noexcept : pool{owner}, outer{std::exchange(current_, this)} {}
    ~Worker() { current_ = outer; }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    WorkerPool& pool;
    Worker* outer;
    boost::intrusive_ptr<PooledSerialQueue> next; ///< made ready by what the worker runs; runs when that ends
    int hostCodeDepth = 0;                        ///< greater than 0 while what runs may block
    bool isLent = false;                          ///< it is none of the pool's threads, and is in a burst
};

/// What a thread in a burst holds back until the end.
struct WorkerPool::Held {
    std::vector<boost::intrusive_ptr<PooledSerialQueue>> queues; ///< to be given to the pool
    std::vector<WorkItemPointer> submitted;                      ///< to be given to the pool
    std::vector<WorkItemPointer> atEnd;                          ///< to be run
};

/// A thread in a burst.
struct WorkerPool::Lent : Worker {
    explicit Lent(WorkerPool& owner) noexcept : Worker{owner} { isLent = true; }

    Held held;
};

constinit thread_local WorkerPool::Worker* WorkerPool::current_ = nullptr;
thread_local std::optional<WorkerPool::Lent> WorkerPool::lent_;

WorkerPool::WorkerPool(std::size_t workers, Platform& platform, DelayedWork& delayed)
    : platform_{platform}, delayed_{delayed}
{
    for (std::size_t i = 0; i < workers; ++i) {
        addPermanentWorker();
    }
}

WorkerPool::~WorkerPool()
{
    stop();
}

void WorkerPool::stop()
{
    {
        const std::lock_guard lock{mutex_};
        stopped_ = true;
    }
    context_.stop();
    for (Thread& thread : threads_) {
        if (thread.thread.joinable()) {
            thread.thread.join();
        }
    }
}

WorkerPool::Worker* WorkerPool::worker() noexcept
{
    return current_ != nullptr && &current_->pool == this ? current_ : nullptr;
}

void WorkerPool::scheduleNext(boost::intrusive_ptr<PooledSerialQueue> queue)
{
    Worker* const self = worker();
    if (self != nullptr && self->hostCodeDepth == 0 && self->next == nullptr) {
        self->next = std::move(queue);
        return;
    }
    scheduleLast(std::move(queue));
}

void WorkerPool::scheduleLast(boost::intrusive_ptr<PooledSerialQueue> queue)
{
    if (Lent* const lent = lentThread()) {
        lent->held.queues.push_back(std::move(queue));
        return;
    }
    post([this, queue = std::move(queue)]() mutable { runQueue(std::move(queue)); });
}

void WorkerPool::submit(WorkItemPointer item)
{
    if (Lent* const lent = lentThread()) {
        lent->held.submitted.push_back(std::move(item));
        return;
    }
    post([this, item = std::move(item)]() mutable {
        Worker self{*this};
        self.hostCodeDepth = 1;
        runItem(*item.release());
    });
}

template <class Task>
void WorkerPool::post(Task&& task)
{
    ready_.fetch_add(1);
    boost::asio::post(context_, [this, task = std::forward<Task>(task)]() mutable {
        busy_.fetch_add(1);
        ready_.fetch_sub(1);
        started_.fetch_add(1);
        task();
        busy_.fetch_sub(1);
    });
    watchIfShort();
}

void WorkerPool::runQueue(boost::intrusive_ptr<PooledSerialQueue> queue)
{
    Worker self{*this};
    for (int n = 0; queue != nullptr; ++n) {
        self.hostCodeDepth = queue->work() == QueueWork::mayBlock ? 1 : 0;
        queue->runOnWorker();
        queue = std::move(self.next);
        if (queue != nullptr && n >= queuesInARow) {
            scheduleLast(std::move(queue));
            return;
        }
    }
}

void WorkerPool::runItem(WorkItem& item) noexcept
{
    try {
        item.run();
    } catch (...) {
        platform_.logEscapedException("a closure given to the platform");
    }
}

void WorkerPool::enterHostCode() noexcept
{
    Worker* const self = worker();
    if (self == nullptr) {
        return;
    }
    ++self->hostCodeDepth;
    if (self->next != nullptr) {
        scheduleLast(std::move(self->next));
    }
    if (self->isLent) {
        // What was to run here later is left to the pool too: the caller may hold a lock that it needs.
        Held held = std::exchange(lent_->held, {});
        std::ranges::move(held.atEnd, std::back_inserter(held.submitted));
        held.atEnd.clear();
        release(std::move(held));
    }
}

void WorkerPool::leaveHostCode() noexcept
{
    if (Worker* const self = worker()) {
        --self->hostCodeDepth;
    }
}

WorkerPool::Lent* WorkerPool::lentThread() noexcept
{
    Worker* const self = worker();
    return self != nullptr && self->isLent && self->hostCodeDepth == 0 ? &*lent_ : nullptr;
}

bool WorkerPool::isInBurst() noexcept
{
    return lentThread() != nullptr;
}

bool WorkerPool::beginBurst() noexcept
{
    if (current_ != nullptr) {
        return false;
    }
    lent_.emplace(*this);
    return true;
}

void WorkerPool::runInBurst() noexcept
{
    Lent& lent = *lent_;
    for (int n = 0; lent.next != nullptr; ++n) {
        const auto queue = std::move(lent.next);
        if (n >= queuesInARow) {
            scheduleLast(queue);
            return;
        }
        queue->runPromptItems();
    }
}

void WorkerPool::endBurst() noexcept
{
    runInBurst();
    Held held = std::move(lent_->held);
    lent_.reset();
    release(std::move(held));
}

void WorkerPool::release(Held held) noexcept
{
    for (auto& queue : held.queues) {
        scheduleLast(std::move(queue));
    }
    for (auto& item : held.submitted) {
        submit(std::move(item));
    }
    for (auto& item : held.atEnd) {
        runItem(*item.release());
    }
}

void WorkerPool::addToBurst(WorkItemPointer item)
{
    lent_->held.atEnd.push_back(std::move(item));
}

void WorkerPool::addPermanentWorker()
{
    const std::lock_guard lock{mutex_};
    workers_.fetch_add(1);
    threads_.emplace_back().thread = std::thread{[this] { context_.run(); }};
}

void WorkerPool::addTemporaryWorker()
{
    const std::lock_guard lock{mutex_};
    if (stopped_) {
        return;
    }
    Thread& thread = threads_.emplace_back();
    workers_.fetch_add(1);
    try {
        thread.thread = std::thread{[this, &thread] {
            while (context_.run_one_for(temporaryStay) > 0) {
            }
            workers_.fetch_sub(1);
            // Work may have come that counted on this worker.
            watchIfShort();
            {
                const std::lock_guard finishing{mutex_};
                thread.finished = true;
            }
            delayed_.callAfter(0.0, makeWorkItem([this] { removeFinishedThreads(); }));
        }};
    } catch (const std::system_error& error) {
        workers_.fetch_sub(1);
        threads_.pop_back();
        platform_.log(std::string{"no further thread can be started: "} + error.what());
    }
}

void WorkerPool::removeFinishedThreads()
{
    std::list<Thread> finished;
    {
        const std::lock_guard lock{mutex_};
        for (auto each = threads_.begin(); each != threads_.end();) {
            const auto following = std::next(each);
            if (each->finished) {
                finished.splice(finished.end(), threads_, each);
            }
            each = following;
        }
    }
    for (Thread& thread : finished) {
        thread.thread.join();
    }
}

bool WorkerPool::isShortOfWorkers() const noexcept
{
    return ready_.load() > 0 && ready_.load() + busy_.load() > workers_.load();
}

void WorkerPool::watchIfShort()
{
    if (isShortOfWorkers() && !watching_.exchange(true)) {
        watch();
    }
}

void WorkerPool::watch()
{
    delayed_.callAfter(patience, makeWorkItem([this, startedBefore = started_.load()] { lookAgain(startedBefore); }));
}

void WorkerPool::lookAgain(std::uint64_t startedBefore)
{
    if (!isShortOfWorkers()) {
        watching_ = false;
        watchIfShort();
        return;
    }
    if (started_.load() == startedBefore) {
        addTemporaryWorker();
    }
    watch();
}

} // namespace vexa
