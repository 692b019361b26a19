#include <VexaClient/platform/system/DelayedWork.hpp>
#include <VexaClient/platform/system/PooledSerialQueue.hpp>

#include <boost/asio/post.hpp>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

namespace vexa {

namespace {

/// `seconds` as a span of the clock; what the clock cannot hold becomes the longest span that it can add to now.
std::chrono::steady_clock::duration span(double seconds)
{
    using Duration = std::chrono::steady_clock::duration;
    constexpr double longest = 100.0 * 365.0 * 24.0 * 3600.0;
    if (!(seconds > 0.0)) {
        return Duration::zero();
    }
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>{std::min(seconds, longest)});
}

} // namespace

/// A repeating timer of the system platform.
class DelayedWork::PooledTimer final : public RepeatingTimer, public std::enable_shared_from_this<PooledTimer> {
public:
    PooledTimer(DelayedWork& owner, boost::intrusive_ptr<PooledSerialQueue> queue, TimerSchedule schedule,
                std::function<void()> handler)
        : owner_{owner},
          queue_{std::move(queue)},
          deadline_{Clock::now() + span(schedule.deadline)},
          interval_{std::max(span(schedule.interval), Clock::duration{1})},
          leeway_{span(schedule.leeway)},
          handler_{std::move(handler)}
    {}

    void cancel() override
    {
        cancelled_ = true;
        owner_.forget(*this);
        // Destroyed here, on the queue; a handler that cancels its own timer is kept by fire() until it returns.
        const auto handler = std::exchange(handler_, nullptr);
    }

    [[nodiscard]] Clock::time_point latest() const noexcept { return deadline_ + leeway_; }
    [[nodiscard]] bool isDue(Clock::time_point now) const noexcept { return deadline_ <= now; }

    /// Moves the deadline behind `now`, whole intervals at a time.
    void advance(Clock::time_point now) { deadline_ += ((now - deadline_) / interval_ + 1) * interval_; }

    /// Puts one firing into the queue, unless one waits there.
    void enqueue()
    {
        if (!queued_.exchange(true)) {
            queue_->async([self = shared_from_this()] { self->fire(); });
        }
    }

private:
    void fire()
    {
        queued_ = false;
        if (cancelled_) {
            return;
        }
        auto handler = std::move(handler_);
        struct PutBack {
            PooledTimer& timer;
            std::function<void()>& handler;
            ~PutBack()
            {
                if (!timer.cancelled_) {
                    timer.handler_ = std::move(handler);
                }
            }
        };
        const PutBack putBack{*this, handler};
        handler();
    }

    DelayedWork& owner_;
    boost::intrusive_ptr<PooledSerialQueue> queue_;

    // Of the owner, under its mutex.
    Clock::time_point deadline_;
    Clock::duration interval_;
    Clock::duration leeway_;

    std::atomic<bool> queued_{false};

    // Of the queue.
    bool cancelled_ = false;
    std::function<void()> handler_;
};

DelayedWork::DelayedWork() : thread_{[this] { context_.run(); }} {}

DelayedWork::~DelayedWork()
{
    stop();
    clear();
}

void DelayedWork::stop()
{
    {
        const std::lock_guard lock{mutex_};
        stopped_ = true;
    }
    if (thread_.joinable()) {
        context_.stop();
        thread_.join();
    }
}

void DelayedWork::clear()
{
    std::vector<Entry> heap;
    std::vector<std::shared_ptr<PooledTimer>> timers;
    {
        const std::lock_guard lock{mutex_};
        heap.swap(heap_);
        timers.swap(timers_);
    }
    for (const auto& timer : timers) {
        // A handler may own what holds the timer.
        timer->cancel();
    }
}

void DelayedWork::add(double seconds, boost::intrusive_ptr<PooledSerialQueue> queue, WorkItemPointer item)
{
    if (!(seconds > 0.0)) {
        queue->enqueue(std::move(item));
        return;
    }
    insert(seconds, std::move(queue), std::move(item));
}

void DelayedWork::callAfter(double seconds, WorkItemPointer closure)
{
    insert(seconds, nullptr, std::move(closure));
}

void DelayedWork::insert(double seconds, boost::intrusive_ptr<PooledSerialQueue> queue, WorkItemPointer item)
{
    const Clock::time_point deadline = Clock::now() + span(seconds);
    const std::lock_guard lock{mutex_};
    if (stopped_) {
        return;
    }
    heap_.push_back(Entry{deadline, nextSequence_++, std::move(queue), std::move(item)});
    std::ranges::push_heap(heap_, Later{});
    wakeNoLaterThan(deadline);
}

std::shared_ptr<RepeatingTimer> DelayedWork::startTimer(boost::intrusive_ptr<PooledSerialQueue> queue,
                                                        TimerSchedule schedule, std::function<void()> handler)
{
    auto timer = std::make_shared<PooledTimer>(*this, std::move(queue), schedule, std::move(handler));
    {
        const std::lock_guard lock{mutex_};
        if (!stopped_) {
            timers_.push_back(timer);
            wakeNoLaterThan(timer->latest());
            return timer;
        }
    }
    timer->cancel();
    return timer;
}

void DelayedWork::forget(const PooledTimer& timer)
{
    const std::lock_guard lock{mutex_};
    std::erase_if(timers_, [&timer](const auto& each) { return each.get() == &timer; });
}

void DelayedWork::wakeNoLaterThan(Clock::time_point moment)
{
    if (moment < wakeUp_) {
        wakeUp_ = moment;
        boost::asio::post(context_, [this] { sleep(); });
    }
}

DelayedWork::Clock::time_point DelayedWork::nextWakeUp() const
{
    Clock::time_point moment = heap_.empty() ? Clock::time_point::max() : heap_.front().deadline;
    for (const auto& timer : timers_) {
        moment = std::min(moment, timer->latest());
    }
    return moment;
}

void DelayedWork::sleep()
{
    {
        const std::lock_guard lock{mutex_};
        wakeUp_ = nextWakeUp();
        if (wakeUp_ == Clock::time_point::max()) {
            timer_.cancel();
            return;
        }
        timer_.expires_at(wakeUp_);
    }
    timer_.async_wait([this](boost::system::error_code error) {
        if (!error) {
            handOver();
        }
    });
}

void DelayedWork::handOver()
{
    std::vector<Entry> due;
    std::vector<std::shared_ptr<PooledTimer>> firing;
    const Clock::time_point now = Clock::now();
    {
        const std::lock_guard lock{mutex_};
        while (!heap_.empty() && heap_.front().deadline <= now) {
            std::ranges::pop_heap(heap_, Later{});
            due.push_back(std::move(heap_.back()));
            heap_.pop_back();
        }
        if (heap_.empty()) {
            heap_.shrink_to_fit();
        }
        for (const auto& timer : timers_) {
            if (timer->isDue(now)) {
                timer->advance(now);
                firing.push_back(timer);
            }
        }
    }
    // Handing over may ask for a delay of its own, so it cannot be done under the mutex.
    for (const auto& timer : firing) {
        timer->enqueue();
    }
    for (Entry& entry : due) {
        if (entry.queue != nullptr) {
            entry.queue->enqueue(std::move(entry.item));
        } else {
            entry.item.release()->run();
        }
    }
    sleep();
}

} // namespace vexa
