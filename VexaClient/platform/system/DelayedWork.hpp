#pragma once

#include <VexaClient/platform/SerialQueue.hpp>
#include <VexaClient/platform/WorkItem.hpp>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace vexa {

class PooledSerialQueue;

/// Everything that waits for its time: delayed items in a heap, and the repeating timers. One thread with one timer of
/// Boost.Asio sleeps until the earliest of them and hands what is due to its queue. It runs no code of a host, so time
/// goes on whatever the workers do.
class DelayedWork {
public:
    DelayedWork();
    ~DelayedWork();
    DelayedWork(const DelayedWork&) = delete;
    DelayedWork& operator=(const DelayedWork&) = delete;

    /// Hands `item` to `queue` once `seconds` have passed.
    void add(double seconds, boost::intrusive_ptr<PooledSerialQueue> queue, WorkItemPointer item);

    /// Calls `closure` on the thread of this object once `seconds` have passed; it must return at once.
    void callAfter(double seconds, WorkItemPointer closure);

    [[nodiscard]] std::shared_ptr<RepeatingTimer> startTimer(boost::intrusive_ptr<PooledSerialQueue> queue,
                                                             TimerSchedule schedule, std::function<void()> handler);

    /// Ends the thread: nothing becomes due any more.
    void stop();

    /// Drops what has not become due. Call it when time and the queues stand still.
    void clear();

private:
    class PooledTimer;
    using Clock = std::chrono::steady_clock;

    struct Entry {
        Clock::time_point deadline;
        std::uint64_t sequence; ///< keeps what is due at one moment in the order in which it was added
        boost::intrusive_ptr<PooledSerialQueue> queue;
        WorkItemPointer item;
    };
    struct Later {
        bool operator()(const Entry& a, const Entry& b) const noexcept
        {
            return a.deadline != b.deadline ? a.deadline > b.deadline : a.sequence > b.sequence;
        }
    };

    void insert(double seconds, boost::intrusive_ptr<PooledSerialQueue> queue, WorkItemPointer item);
    void forget(const PooledTimer& timer);
    void wakeNoLaterThan(Clock::time_point moment);
    [[nodiscard]] Clock::time_point nextWakeUp() const;
    void sleep();
    void handOver();

    std::mutex mutex_;
    std::vector<Entry> heap_;
    std::vector<std::shared_ptr<PooledTimer>> timers_;
    std::uint64_t nextSequence_ = 0;
    Clock::time_point wakeUp_ = Clock::time_point::max();
    bool stopped_ = false;

    boost::asio::io_context context_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard_{context_.get_executor()};
    boost::asio::steady_timer timer_{context_};
    std::thread thread_;
};

} // namespace vexa
