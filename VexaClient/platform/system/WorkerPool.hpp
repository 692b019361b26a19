#pragma once

#include <VexaClient/platform/system/PooledSerialQueue.hpp>
#include <VexaClient/platform/WorkItem.hpp>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <thread>

namespace vexa {

class DelayedWork;

/// The threads that run the ready queues.
///
/// A queue that a worker makes ready runs next on that worker, without waking another, unless the worker has one to run
/// already or is inside code of the host. When ready work has found no worker for a while because all of them are held
/// up by host code, another worker is added; it leaves when it has had nothing to do for a second.
class WorkerPool {
public:
    WorkerPool(std::size_t workers, Platform& platform, DelayedWork& delayed);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// Runs a ready queue, on the calling worker as soon as that is free if it may.
    void scheduleNext(boost::intrusive_ptr<PooledSerialQueue> queue);

    /// Runs a ready queue when all that is ready now has had its turn.
    void scheduleLast(boost::intrusive_ptr<PooledSerialQueue> queue);

    /// Runs an item that may block.
    void submit(WorkItemPointer item);

    void enterHostCode() noexcept;
    void leaveHostCode() noexcept;

    // The calling thread's burst. A thread of the pool has none: it runs what it makes ready anyway.
    [[nodiscard]] bool isInBurst() noexcept;
    bool beginBurst() noexcept;
    void runInBurst() noexcept;
    void endBurst() noexcept;

    /// Has `item` run on the calling thread when its burst ends.
    void addToBurst(WorkItemPointer item);

    /// Ends the threads, once each has returned from the item that it runs.
    void stop();

private:
    struct Worker;
    struct Held;
    struct Lent;

    struct Thread {
        std::thread thread;
        bool finished = false;
    };

    template <class Task>
    void post(Task&& task);
    void runQueue(boost::intrusive_ptr<PooledSerialQueue> queue);
    void runItem(WorkItem& item) noexcept;
    [[nodiscard]] Worker* worker() noexcept;

    /// The calling thread as one that lends itself; null when it does not, or is in code of the host.
    [[nodiscard]] Lent* lentThread() noexcept;
    void release(Held held) noexcept;

    void addPermanentWorker();
    void addTemporaryWorker();
    void removeFinishedThreads();

    // How ready work that finds no worker is noticed.
    [[nodiscard]] bool isShortOfWorkers() const noexcept;
    void watchIfShort();
    void watch();
    void lookAgain(std::uint64_t startedBefore);

    static constinit thread_local Worker* current_;
    static thread_local std::optional<Lent> lent_;

    Platform& platform_;
    DelayedWork& delayed_;
    boost::asio::io_context context_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard_{context_.get_executor()};

    std::atomic<std::size_t> workers_{0}; ///< threads that live
    std::atomic<std::size_t> ready_{0};   ///< tasks that no worker has begun
    std::atomic<std::size_t> busy_{0};    ///< workers that run a task
    std::atomic<std::uint64_t> started_{0};
    std::atomic<bool> watching_{false};

    std::mutex mutex_;
    std::list<Thread> threads_;
    bool stopped_ = false;
};

} // namespace vexa
