#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace vexa {

/// A piece of work on its way through a queue: one closure, called at most once, in one allocation with the link that
/// the queue needs.
class WorkItem {
public:
    WorkItem(const WorkItem&) = delete;
    WorkItem& operator=(const WorkItem&) = delete;

    /// Calls the closure and destroys it with all it owns, also when it throws.
    void run() { operate_(this, Operation::run); }

    /// Destroys the closure without calling it.
    void discard() noexcept { operate_(this, Operation::discard); }

    /// The item behind this one; whoever holds the item may use it.
    WorkItem* next = nullptr;

    /// Whether the closure returns promptly and runs no code of a host.
    bool isPrompt = false;

    enum class Operation { run, discard };
    using Operate = void (*)(WorkItem*, Operation);

    /// Whether `operate` is what the item was made with, which tells its kind.
    [[nodiscard]] bool isOperatedBy(Operate operate) const noexcept { return operate_ == operate; }

protected:
    explicit WorkItem(Operate operate) noexcept : operate_{operate} {}
    ~WorkItem() = default;

private:
    Operate operate_;
};

/// Owns a work item that waits to be run, and discards it if it never is.
struct WorkItemDiscarder {
    void operator()(WorkItem* item) const noexcept { item->discard(); }
};
using WorkItemPointer = std::unique_ptr<WorkItem, WorkItemDiscarder>;

template <class Closure>
class ClosureWorkItem final : public WorkItem {
public:
    template <class F>
        requires(!std::is_same_v<std::decay_t<F>, ClosureWorkItem>)
    explicit ClosureWorkItem(F&& closure) : WorkItem{&operate}, closure_(std::forward<F>(closure))
    {}

private:
    static void operate(WorkItem* item, Operation operation)
    {
        const std::unique_ptr<ClosureWorkItem> self{static_cast<ClosureWorkItem*>(item)};
        if (operation == Operation::run) {
            self->closure_();
        }
    }

    Closure closure_;
};

/// The closure as a work item.
template <class F>
[[nodiscard]] WorkItemPointer makeWorkItem(F&& closure)
{
    using Closure = std::decay_t<F>;
    static_assert(std::is_invocable_v<Closure&>, "a work item takes no arguments");
    return WorkItemPointer{new ClosureWorkItem<Closure>(std::forward<F>(closure))};
}

} // namespace vexa
