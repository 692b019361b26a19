#pragma once

#include <VexaClient/platform/SerialQueue.hpp>

#include <deque>
#include <functional>
#include <memory>
#include <string>

namespace vexa::testing {

class VirtualEngine;

/// A serial queue of the virtual platform. Whatever runs it stands on the one thread's stack, inside a frame of it.
class VirtualQueue final : public SerialQueue {
public:
    VirtualQueue(std::string label, std::shared_ptr<VirtualEngine> engine);
    ~VirtualQueue() override;

    [[nodiscard]] std::shared_ptr<RepeatingTimer> startTimer(TimerSchedule schedule,
                                                             std::function<void()> handler) override;

    /// Adds an item, as async() does with its closure.
    void enqueue(WorkItemPointer item) { push(std::move(item)); }

    /// Runs the oldest item. There is one, and the queue is not running.
    void runOldest();

    /// Destroys what waits, on the queue.
    void dropAll();

    /// Calls `drop`, which destroys something, on the queue.
    void dropHere(const std::function<void()>& drop);

protected:
    void push(WorkItemPointer item) override;
    void pushAfter(double seconds, WorkItemPointer item) override;
    [[nodiscard]] bool tryEnter() noexcept override;
    void leave() noexcept override;
    void pushAndWait(WorkItem& item) override;

private:
    /// Takes the oldest item out and runs it. Returns which it was.
    const WorkItem* runFirst();
    void becomeReadyAgain();

    std::shared_ptr<VirtualEngine> engine_;
    std::deque<WorkItem*> waiting_;
    bool running_ = false;
};

} // namespace vexa::testing
