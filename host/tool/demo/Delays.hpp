#pragma once

#include <cstddef>
#include <deque>
#include <optional>

namespace vexa::host {

/// How long messages took, of which the newest ones are kept.
class Delays {
public:
    void add(double seconds)
    {
        if (delays_.size() == capacity) {
            delays_.pop_front();
        }
        delays_.push_back(seconds);
    }

    /// The delay, in seconds, that the part `share`, from 0 to 1, of the messages did not exceed; nothing without
    /// messages.
    [[nodiscard]] std::optional<double> quantile(double share) const;

private:
    static constexpr std::size_t capacity = 100'000;

    std::deque<double> delays_;
};

} // namespace vexa::host
