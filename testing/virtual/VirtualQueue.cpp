#include <testing/virtual/VirtualEngine.hpp>
#include <testing/virtual/VirtualQueue.hpp>

#include <utility>

namespace vexa::testing {

VirtualQueue::VirtualQueue(std::string label, std::shared_ptr<VirtualEngine> engine)
    : SerialQueue{std::move(label)}, engine_{std::move(engine)}
{}

VirtualQueue::~VirtualQueue() = default;

std::shared_ptr<RepeatingTimer> VirtualQueue::startTimer(TimerSchedule schedule, std::function<void()> handler)
{
    engine_->requireUse(label());
    auto timer =
        std::make_shared<VirtualTimer>(engine_, boost::intrusive_ptr<VirtualQueue>{this}, schedule, std::move(handler));
    if (engine_->takesWork()) {
        engine_->addTimer(timer);
    } else {
        timer->drop();
    }
    return timer;
}

void VirtualQueue::push(WorkItemPointer item)
{
    engine_->requireUse(label());
    if (!engine_->takesWork()) {
        dropHere([&item] { item.reset(); });
        return;
    }
    WorkItem*& place = waiting_.emplace_back();
    place = item.release();
    if (waiting_.size() == 1 && !running_) {
        engine_->makeReady(boost::intrusive_ptr<VirtualQueue>{this});
    }
}

void VirtualQueue::pushAfter(double seconds, WorkItemPointer item)
{
    const Nanoseconds delay = delayNanoseconds(seconds);
    if (delay == 0 || !engine_->takesWork()) {
        push(std::move(item));
        return;
    }
    engine_->requireUse(label());
    engine_->addDelayed(delay, boost::intrusive_ptr<VirtualQueue>{this}, std::move(item));
}

bool VirtualQueue::tryEnter() noexcept
{
    engine_->requireUse(label());
    if (running_ || !waiting_.empty()) {
        return false;
    }
    running_ = true;
    return true;
}

void VirtualQueue::leave() noexcept
{
    running_ = false;
    becomeReadyAgain();
}

void VirtualQueue::pushAndWait(WorkItem& item)
{
    engine_->makeUnready(*this);
    waiting_.push_back(&item);
    running_ = true;
    while (runFirst() != &item) {
    }
    leave();
}

void VirtualQueue::runOldest()
{
    running_ = true;
    runFirst();
    leave();
}

const WorkItem* VirtualQueue::runFirst()
{
    WorkItem* const item = waiting_.front();
    waiting_.pop_front();
    const Frame frame{*this};
    engine_->runItem(*item, label());
    return item;
}

void VirtualQueue::becomeReadyAgain()
{
    if (!waiting_.empty()) {
        engine_->makeReady(boost::intrusive_ptr<VirtualQueue>{this});
    }
}

void VirtualQueue::dropAll()
{
    const Frame frame{*this};
    while (!waiting_.empty()) {
        WorkItem* const item = waiting_.front();
        waiting_.pop_front();
        item->discard();
    }
}

void VirtualQueue::dropHere(const std::function<void()>& drop)
{
    const Frame frame{*this};
    drop();
}

} // namespace vexa::testing
