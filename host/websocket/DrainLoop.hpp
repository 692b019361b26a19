#pragma once

#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/platform/WorkItem.hpp>

#include <boost/asio/execution/blocking.hpp>
#include <boost/asio/execution/context.hpp>
#include <boost/asio/io_context.hpp>

#include <type_traits>
#include <utility>

namespace vexa::host {

/// Runs handlers that follow from one another without going back to the io_context in between.
///
/// An io_context asks the operating system for events between any two handlers. With thousands of small messages in one
/// read, each handled and followed by the next, that question costs far more than the messages. Handlers that are
/// bound to the executor of this loop run one behind the other until none is left, all within one handler of the
/// io_context. They belong to the thread that runs the io_context, which must be one thread.
class DrainLoop {
public:
    class Executor;

    /// \param platform  what the handlers hand over to its queues, they hand over in one burst.
    DrainLoop(boost::asio::io_context& context, Platform& platform) noexcept : context_{context}, platform_{platform} {}
    ~DrainLoop();
    DrainLoop(const DrainLoop&) = delete;
    DrainLoop& operator=(const DrainLoop&) = delete;

    [[nodiscard]] Executor executor() noexcept;

private:
    void add(WorkItemPointer item);

    /// Runs `first`, then all that waits and what that adds.
    void run(WorkItemPointer first);

    /// The first of those that wait; nothing when none does.
    [[nodiscard]] WorkItemPointer takeFirst() noexcept;

    /// Has the io_context run what waits.
    void schedule();

    boost::asio::io_context& context_;
    Platform& platform_;
    WorkItem* first_ = nullptr;
    WorkItem* last_ = nullptr;
    bool isRunning_ = false;
    bool isScheduled_ = false;
};

/// The executor of a DrainLoop, as Boost.Asio requires one. Posted work runs behind what waits in the loop, dispatched
/// work at once.
class DrainLoop::Executor {
public:
    using Blocking = boost::asio::execution::blocking_t;

    [[nodiscard]] boost::asio::execution_context& query(boost::asio::execution::context_t /*property*/) const noexcept
    {
        return loop_->context_;
    }

    [[nodiscard]] Blocking query(Blocking /*property*/) const noexcept
    {
        return mayRunAtOnce_ ? Blocking{Blocking::possibly} : Blocking{Blocking::never};
    }

    [[nodiscard]] Executor require(Blocking::possibly_t /*property*/) const noexcept { return Executor{*loop_, true}; }
    [[nodiscard]] Executor require(Blocking::never_t /*property*/) const noexcept { return Executor{*loop_, false}; }

    template <class F>
    void execute(F&& work) const
    {
        if (!mayRunAtOnce_) {
            loop_->add(makeWorkItem(std::forward<F>(work)));
        } else if (loop_->isRunning_) {
            std::decay_t<F> now{std::forward<F>(work)};
            now();
        } else {
            loop_->run(makeWorkItem(std::forward<F>(work)));
        }
    }

    friend bool operator==(const Executor& one, const Executor& other) noexcept = default;

private:
    friend class DrainLoop;
    Executor(DrainLoop& loop, bool mayRunAtOnce) noexcept : loop_{&loop}, mayRunAtOnce_{mayRunAtOnce} {}

    DrainLoop* loop_;
    bool mayRunAtOnce_;
};

inline DrainLoop::Executor DrainLoop::executor() noexcept
{
    return Executor{*this, true};
}

} // namespace vexa::host
