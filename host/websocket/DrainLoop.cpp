#include <host/websocket/DrainLoop.hpp>

#include <boost/asio/post.hpp>

#include <utility>

namespace vexa::host {

namespace {

/// A loop that is never done must not hold anything back for long.
constexpr int handlersPerBurst = 128;

} // namespace

DrainLoop::~DrainLoop()
{
    while (takeFirst() != nullptr) {
    }
}

void DrainLoop::add(WorkItemPointer item)
{
    WorkItem* added = item.release();
    added->next = nullptr;
    (last_ != nullptr ? last_->next : first_) = added;
    last_ = added;
    if (!isRunning_ && !isScheduled_) {
        schedule();
    }
}

void DrainLoop::run(WorkItemPointer first)
{
    // An exception that escapes a handler goes on to whoever runs the io_context, as it would without this loop.
    struct Running {
        explicit Running(DrainLoop& running) noexcept : loop{running} { loop.isRunning_ = true; }
        ~Running()
        {
            loop.isRunning_ = false;
            if (loop.first_ != nullptr && !loop.isScheduled_) {
                loop.schedule();
            }
        }
        DrainLoop& loop;
    };
    const Running running{*this};
    Burst burst{platform_};
    int handlers = 0;
    for (WorkItemPointer item = std::move(first); item != nullptr; item = takeFirst()) {
        item.release()->run();
        burst.run();
        if (++handlers % handlersPerBurst == 0) {
            burst.renew();
        }
    }
}

WorkItemPointer DrainLoop::takeFirst() noexcept
{
    WorkItem* taken = first_;
    if (taken != nullptr) {
        first_ = taken->next;
        last_ = first_ != nullptr ? last_ : nullptr;
    }
    return WorkItemPointer{taken};
}

void DrainLoop::schedule()
{
    isScheduled_ = true;
    boost::asio::post(context_, [this] {
        isScheduled_ = false;
        run(takeFirst());
    });
}

} // namespace vexa::host
