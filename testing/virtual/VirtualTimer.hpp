#pragma once

#include <testing/virtual/Nanoseconds.hpp>
#include <VexaClient/platform/SerialQueue.hpp>

#include <functional>
#include <memory>

namespace vexa::testing {

class VirtualEngine;
class VirtualQueue;

/// A repeating timer of the virtual platform.
class VirtualTimer final : public RepeatingTimer, public std::enable_shared_from_this<VirtualTimer> {
public:
    VirtualTimer(std::shared_ptr<VirtualEngine> engine, boost::intrusive_ptr<VirtualQueue> queue,
                 TimerSchedule schedule, std::function<void()> handler);

    void cancel() override;

    [[nodiscard]] Nanoseconds deadline() const noexcept { return deadline_; }
    [[nodiscard]] Nanoseconds leeway() const noexcept { return leeway_; }

    /// Puts one firing into the queue, unless one waits there, and moves the deadline behind `now` by whole intervals.
    void becomeDue(Nanoseconds now);

    /// Ends the timer without regard to where it is called: the platform goes away.
    void drop();

private:
    void fire();

    std::shared_ptr<VirtualEngine> engine_;
    boost::intrusive_ptr<VirtualQueue> queue_;
    Nanoseconds deadline_;
    Nanoseconds interval_;
    Nanoseconds leeway_;
    bool isQueued_ = false;
    bool isCancelled_ = false;
    std::function<void()> handler_;
};

} // namespace vexa::testing
