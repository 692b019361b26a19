#pragma once

#include "SubscriberConnection.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vexa::host {

/// When the events of a load happened, in seconds since a moment that can be set anew. For one thread at a time.
class EventTimes {
public:
    /// Forgets all that happened, and counts time from now on.
    void restart()
    {
        for (auto& each : times_) {
            each.clear();
        }
        start_ = std::chrono::steady_clock::now();
    }

    void happened(LoadEvent event) { times_.at(static_cast<std::size_t>(event)).push_back(now()); }

    [[nodiscard]] double now() const
    {
        return std::chrono::duration<double>{std::chrono::steady_clock::now() - start_}.count();
    }

    [[nodiscard]] std::size_t count(LoadEvent event) const { return of(event).size(); }
    [[nodiscard]] double first(LoadEvent event) const { return of(event).empty() ? 0 : of(event).front(); }
    [[nodiscard]] double last(LoadEvent event) const { return of(event).empty() ? 0 : of(event).back(); }

    /// How many of an event happened in each stretch of so many seconds.
    [[nodiscard]] std::vector<std::uint64_t> histogram(LoadEvent event, double stretch) const
    {
        std::vector<std::uint64_t> counts;
        for (const double time : of(event)) {
            const auto place = static_cast<std::size_t>(time / stretch);
            counts.resize(std::max(counts.size(), place + 1));
            ++counts[place];
        }
        return counts;
    }

private:
    [[nodiscard]] const std::vector<double>& of(LoadEvent event) const
    {
        return times_.at(static_cast<std::size_t>(event));
    }

    std::array<std::vector<double>, loadEventCount> times_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace vexa::host
