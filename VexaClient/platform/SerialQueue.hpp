#pragma once

#include <VexaClient/platform/WorkItem.hpp>

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace vexa {

/// When a repeating timer fires, in seconds on the monotonic clock.
struct TimerSchedule {
    double deadline; ///< from now to the first firing
    double interval; ///< between two firings after that, without drift
    double leeway;   ///< by how much a firing may be late, so that timers can share one wake-up
};

/// A repeating timer whose handler runs on the queue that made it. A firing that comes while an earlier one still waits
/// in the queue adds nothing.
class RepeatingTimer {
public:
    virtual ~RepeatingTimer() = default;

    /// Ends the timer: the handler never runs again and is destroyed with all it owns. Call it on the timer's queue.
    virtual void cancel() = 0;
};

class SerialQueue;

/// A counted reference to a queue. A queue lives until its last reference is gone and its last item has run.
using SerialQueueHandle = boost::intrusive_ptr<SerialQueue>;

/// A labelled queue that runs work items one at a time, in the order in which they came.
///
/// A closure that owns the last reference to something destroys it on the queue. Delayed work and timers land in the
/// queue like any other item. An exception that escapes an item is written to the system log and the queue goes on.
/// Every operation may be called on any thread.
class SerialQueue : public boost::intrusive_ref_counter<SerialQueue, boost::thread_safe_counter> {
public:
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;
    virtual ~SerialQueue() = default;

    [[nodiscard]] const std::string& label() const noexcept { return label_; }

    /// Whether the calling thread is running an item of this queue.
    [[nodiscard]] bool isCurrent() const noexcept;

    /// Adds a closure behind the items that wait, and returns at once. The closure never runs inside this call.
    template <class F>
    void async(F&& closure)
    {
        push(makeWorkItem(std::forward<F>(closure)));
    }

    /// As async(), for a closure that returns promptly and runs no code of a host but what is written to the log: a
    /// thread that lends itself to the library (see Burst) may run it.
    template <class F>
    void asyncPrompt(F&& closure)
    {
        WorkItemPointer item = makeWorkItem(std::forward<F>(closure));
        item->isPrompt = true;
        push(std::move(item));
    }

    /// Runs a closure behind the items that wait, and returns what it returned or throws what it threw.
    ///
    /// An idle queue runs it on the calling thread at once. On a busy one the caller waits, and runs the waiting items
    /// itself as long as no other thread does: it never depends on a free thread. Calling it from the queue itself
    /// stops the process with a message that names the queue.
    template <class F>
    std::invoke_result_t<F&> sync(F&& closure);

    /// Adds a closure once `seconds` have passed on the monotonic clock; none or fewer than none means at once. What is
    /// due at the same moment is added in the order of these calls.
    template <class F>
    void asyncAfter(double seconds, F&& closure)
    {
        pushAfter(seconds, makeWorkItem(std::forward<F>(closure)));
    }

    /// Starts a timer that runs `handler` on this queue until it is cancelled. The running timer keeps the handler
    /// alive, whether or not anyone holds what this returns.
    [[nodiscard]] virtual std::shared_ptr<RepeatingTimer> startTimer(TimerSchedule schedule,
                                                                     std::function<void()> handler) = 0;

protected:
    explicit SerialQueue(std::string label) : label_{std::move(label)} {}

    /// Marks the calling thread as running the items of a queue, for as long as it lives.
    class Frame {
    public:
        explicit Frame(const SerialQueue& queue) noexcept;
        ~Frame();
        Frame(const Frame&) = delete;
        Frame& operator=(const Frame&) = delete;

    private:
        friend class SerialQueue;
        const SerialQueue* queue_;
        Frame* outer_;

        /// The innermost frame of each thread.
        static constinit thread_local Frame* innermost_;
    };

    virtual void push(WorkItemPointer item) = 0;
    virtual void pushAfter(double seconds, WorkItemPointer item) = 0;

    /// Takes the queue for the calling thread if it is idle; leave() gives it back.
    [[nodiscard]] virtual bool tryEnter() noexcept = 0;
    virtual void leave() noexcept = 0;

    /// Adds `item`, which lives on the caller's stack, and returns when it has run.
    virtual void pushAndWait(WorkItem& item) = 0;

private:
    /// Stops the process when the calling thread is inside this queue.
    void refuseOwnThread() const noexcept;

    /// A closure on its caller's stack, with what becomes of it.
    template <class F>
    class SyncItem final : public WorkItem {
    public:
        using Result = std::invoke_result_t<F&>;

        explicit SyncItem(F& closure) noexcept : WorkItem{&operate}, closure_{closure} {}

        Result take()
        {
            if (error_ != nullptr) {
                std::rethrow_exception(error_);
            }
            if constexpr (!std::is_void_v<Result>) {
                return std::move(*result_);
            }
        }

    private:
        static void operate(WorkItem* item, Operation operation)
        {
            auto* self = static_cast<SyncItem*>(item);
            if (operation != Operation::run) {
                return;
            }
            try {
                if constexpr (std::is_void_v<Result>) {
                    self->closure_();
                } else {
                    self->result_.emplace(self->closure_());
                }
            } catch (...) {
                self->error_ = std::current_exception();
            }
        }

        struct Nothing {};

        F& closure_;
        std::exception_ptr error_;
        std::optional<std::conditional_t<std::is_void_v<Result>, Nothing, Result>> result_;
    };

    std::string label_;
};

template <class F>
std::invoke_result_t<F&> SerialQueue::sync(F&& closure)
{
    refuseOwnThread();
    // The closure may drop the caller's reference.
    const SerialQueueHandle alive{this};
    if (tryEnter()) {
        struct Leave {
            SerialQueue& queue;
            ~Leave() { queue.leave(); }
        };
        const Leave leave{*this};
        const Frame frame{*this};
        return closure();
    }
    SyncItem<std::remove_reference_t<F>> item{closure};
    pushAndWait(item);
    return item.take();
}

} // namespace vexa
