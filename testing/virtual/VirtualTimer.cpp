#include <testing/virtual/VirtualEngine.hpp>
#include <testing/virtual/VirtualQueue.hpp>
#include <testing/virtual/VirtualTimer.hpp>
#include <VexaClient/platform/Fatal.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <utility>

namespace vexa::testing {

VirtualTimer::VirtualTimer(std::shared_ptr<VirtualEngine> engine, boost::intrusive_ptr<VirtualQueue> queue,
                           TimerSchedule schedule, std::function<void()> handler)
    : engine_{std::move(engine)},
      queue_{std::move(queue)},
      deadline_{engine_->monotonic() + delayNanoseconds(schedule.deadline)},
      interval_{std::max<Nanoseconds>(1, delayNanoseconds(schedule.interval))},
      leeway_{delayNanoseconds(schedule.leeway)},
      handler_{std::move(handler)}
{}

void VirtualTimer::cancel()
{
    if (engine_->takesWork() && !queue_->isCurrent()) {
        fatal(joined({"a timer of the queue \"", queue_->label(), "\" was cancelled outside that queue"}));
    }
    isCancelled_ = true;
    engine_->removeTimer(*this);
    // Destroyed here, on the queue; a handler that cancels its own timer is kept by fire() until it returns.
    const auto handler = std::exchange(handler_, nullptr);
}

void VirtualTimer::becomeDue(Nanoseconds now)
{
    deadline_ += ((now - deadline_) / interval_ + 1) * interval_;
    if (!std::exchange(isQueued_, true)) {
        queue_->enqueue(makeWorkItem([self = shared_from_this()] { self->fire(); }));
    }
}

void VirtualTimer::drop()
{
    isCancelled_ = true;
    queue_->dropHere([this] { const auto handler = std::exchange(handler_, nullptr); });
}

void VirtualTimer::fire()
{
    isQueued_ = false;
    if (isCancelled_) {
        return;
    }
    auto handler = std::move(handler_);
    struct PutBack {
        VirtualTimer& timer;
        std::function<void()>& handler;
        ~PutBack()
        {
            if (!timer.isCancelled_) {
                timer.handler_ = std::move(handler);
            }
        }
    };
    const PutBack putBack{*this, handler};
    handler();
}

} // namespace vexa::testing
