#pragma once

#include <testing/VirtualPlatform.hpp>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexa::testing {

/// A virtual platform seen through a window that knows its queues, and so can tell on which of them something runs.
class QueueWatch final : public Platform {
public:
    explicit QueueWatch(VirtualPlatform& inner) noexcept : inner_{inner} {}

    /// The labels of the queues that are running an item now, in the order in which the queues were made.
    [[nodiscard]] std::vector<std::string> running() const
    {
        std::vector<std::string> labels;
        for (const SerialQueueHandle& queue : queues_) {
            if (queue->isCurrent()) {
                labels.push_back(queue->label());
            }
        }
        return labels;
    }

    /// The log lines so far, each with the queues that ran when it was written.
    [[nodiscard]] const std::vector<std::pair<std::string, std::vector<std::string>>>& lines() const noexcept
    {
        return lines_;
    }

    [[nodiscard]] SerialQueueHandle makeQueue(std::string label, QueueWork work = QueueWork::mayBlock) override
    {
        queues_.push_back(inner_.makeQueue(std::move(label), work));
        return queues_.back();
    }
    [[nodiscard]] double now() override { return inner_.now(); }
    [[nodiscard]] double monotonicNow() override { return inner_.monotonicNow(); }
    [[nodiscard]] std::uint64_t randomBits() override { return inner_.randomBits(); }
    bool wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, const std::function<bool()>& ready,
              std::optional<double> seconds) override
    {
        return inner_.wait(lock, changed, ready, seconds);
    }
    void enterHostCode() noexcept override { inner_.enterHostCode(); }
    void leaveHostCode() noexcept override { inner_.leaveHostCode(); }

protected:
    void submit(WorkItemPointer item) override
    {
        inner_.execute([owned = std::move(item)]() mutable { owned.release()->run(); });
    }
    void writeLogLine(std::string_view line) override { lines_.emplace_back(line, running()); }

private:
    VirtualPlatform& inner_;
    std::vector<SerialQueueHandle> queues_;
    std::vector<std::pair<std::string, std::vector<std::string>>> lines_;
};

} // namespace vexa::testing
