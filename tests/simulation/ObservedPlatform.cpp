#include "tests/simulation/ObservedPlatform.hpp"

#include <memory>
#include <utility>

namespace vexa::simulation {

namespace {

using model::ItemKind;

/// A queue that passes all work on to another one, and tells when that runs it.
class ObservedQueue final : public SerialQueue {
    /// The time for which an item runs.
    class Watched {
    public:
        Watched(ObservedQueue& queue, ItemKind kind) : queue_{queue}, frame_{queue}
        {
            Observation begins;
            begins.what = Happening::itemBegins;
            begins.text = queue.label();
            begins.number = static_cast<std::int64_t>(kind);
            queue.recorder_.add(std::move(begins));
        }
        ~Watched()
        {
            Observation ends;
            ends.what = Happening::itemEnds;
            ends.text = queue_.label();
            queue_.recorder_.add(std::move(ends));
        }
        Watched(const Watched&) = delete;
        Watched& operator=(const Watched&) = delete;

    private:
        ObservedQueue& queue_;
        Frame frame_;
    };

    auto watchedItem(ItemKind kind, WorkItemPointer item)
    {
        return [self = boost::intrusive_ptr<ObservedQueue>{this}, kind, item = std::move(item)]() mutable {
            const Watched watched{*self, kind};
            item.release()->run();
        };
    }

public:
    ObservedQueue(SerialQueueHandle inner, Recorder& recorder)
        : SerialQueue{inner->label()}, inner_{std::move(inner)}, recorder_{recorder}
    {}

    std::shared_ptr<RepeatingTimer> startTimer(TimerSchedule schedule, std::function<void()> handler) override
    {
        return inner_->startTimer(schedule,
                                  [self = boost::intrusive_ptr<ObservedQueue>{this}, handler = std::move(handler)] {
                                      const Watched watched{*self, ItemKind::timer};
                                      handler();
                                  });
    }

protected:
    void push(WorkItemPointer item) override { inner_->async(watchedItem(ItemKind::asynchronous, std::move(item))); }

    void pushAfter(double seconds, WorkItemPointer item) override
    {
        inner_->asyncAfter(seconds, watchedItem(ItemKind::delayed, std::move(item)));
    }

    // The inner queue knows whether it is idle, and does without a second item when it is.
    bool tryEnter() noexcept override { return false; }
    void leave() noexcept override {}

    void pushAndWait(WorkItem& item) override
    {
        inner_->sync([this, &item] {
            const Watched watched{*this, ItemKind::synchronous};
            item.run();
        });
    }

private:
    const SerialQueueHandle inner_;
    Recorder& recorder_;
};

} // namespace

ObservedPlatform::ObservedPlatform(std::uint64_t seed, testing::VirtualOptions options)
    : virtually{seed, options}, recorder{virtually}
{}

SerialQueueHandle ObservedPlatform::makeQueue(std::string label, QueueWork work)
{
    return SerialQueueHandle{new ObservedQueue{virtually.makeQueue(std::move(label), work), recorder}};
}

void ObservedPlatform::submit(WorkItemPointer item)
{
    virtually.execute([item = std::move(item)]() mutable { item.release()->run(); });
}

void ObservedPlatform::writeLogLine(std::string_view line)
{
    Observation written;
    written.what = Happening::logLine;
    written.text = line;
    recorder.add(std::move(written));
}

} // namespace vexa::simulation
