#pragma once

#include "Waiting.hpp"
#include <host/broker/Broker.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {

/// A receiver that keeps all it hears. Any thread may ask it.
class CollectingReceiver final : public BrokerReceiver {
public:
    void subscribed() override { note("subscribed"); }

    void refused(ServiceError reason) override { note("refused: " + reason.error); }

    void received(std::vector<Delivery> deliveries) override
    {
        const std::lock_guard lock{mutex_};
        if (steps_.empty() || steps_.back() != "received") {
            steps_.emplace_back("received");
        }
        for (Delivery& delivery : deliveries) {
            deliveries_.push_back(std::move(delivery));
        }
        changed_.notify_all();
    }

    /// Whether the subscription comes to stand.
    [[nodiscard]] bool awaitSubscribed()
    {
        std::unique_lock lock{mutex_};
        return changed_.wait_for(lock, patience, [&] { return !steps_.empty(); }) && steps_.front() == "subscribed";
    }

    /// The deliveries, once there are `count` of them, or those that came until patience ended.
    [[nodiscard]] std::vector<Delivery> await(std::size_t count)
    {
        std::unique_lock lock{mutex_};
        changed_.wait_for(lock, patience, [&] { return deliveries_.size() >= count; });
        return deliveries_;
    }

    [[nodiscard]] std::vector<Delivery> deliveries() const
    {
        const std::lock_guard lock{mutex_};
        return deliveries_;
    }

    /// Whether the newest delivery has this number.
    [[nodiscard]] bool isNewest(std::int64_t number) const
    {
        const std::lock_guard lock{mutex_};
        const Value* const newest = deliveries_.empty() ? nullptr : deliveries_.back().payload->if_contains("number");
        return newest != nullptr && newest->is_int64() && newest->get_int64() == number;
    }

    /// What was called, in order; deliveries one after the other count once.
    [[nodiscard]] std::vector<std::string> steps() const
    {
        const std::lock_guard lock{mutex_};
        return steps_;
    }

private:
    void note(std::string step)
    {
        const std::lock_guard lock{mutex_};
        steps_.push_back(std::move(step));
        changed_.notify_all();
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> steps_;
    std::vector<Delivery> deliveries_;
};

/// A payload that can be told from others.
[[nodiscard]] inline Dictionary numbered(std::int64_t number)
{
    Dictionary payload;
    payload["number"] = number;
    return payload;
}

[[nodiscard]] inline std::vector<Dictionary> numberedFrom(std::int64_t first, std::int64_t count)
{
    std::vector<Dictionary> payloads;
    for (std::int64_t i = 0; i < count; ++i) {
        payloads.push_back(numbered(first + i));
    }
    return payloads;
}

[[nodiscard]] inline std::vector<std::int64_t> numbersOf(const std::vector<Delivery>& deliveries)
{
    std::vector<std::int64_t> numbers;
    for (const Delivery& delivery : deliveries) {
        const Value* const number = delivery.payload->if_contains("number");
        numbers.push_back(number != nullptr && number->is_int64() ? number->get_int64() : -1);
    }
    return numbers;
}

[[nodiscard]] inline std::vector<double> timesOf(const std::vector<Delivery>& deliveries)
{
    std::vector<double> times;
    for (const Delivery& delivery : deliveries) {
        times.push_back(doubleAt(*delivery.payload, "updatedAt").value_or(0));
    }
    return times;
}

[[nodiscard]] inline std::vector<bool> replayMarksOf(const std::vector<Delivery>& deliveries)
{
    std::vector<bool> marks;
    for (const Delivery& delivery : deliveries) {
        marks.push_back(delivery.isReplayed);
    }
    return marks;
}

/// The numbers from `first` to `last`.
[[nodiscard]] inline std::vector<std::int64_t> numbersFrom(std::int64_t first, std::int64_t last)
{
    std::vector<std::int64_t> numbers;
    for (std::int64_t number = first; number <= last; ++number) {
        numbers.push_back(number);
    }
    return numbers;
}

/// Whether each time is later than the one before it.
[[nodiscard]] inline bool isRising(const std::vector<double>& times)
{
    for (std::size_t i = 1; i < times.size(); ++i) {
        if (times[i] <= times[i - 1]) {
            return false;
        }
    }
    return true;
}

} // namespace vexa::host
