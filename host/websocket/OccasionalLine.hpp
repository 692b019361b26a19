#pragma once

#include <cstdint>
#include <optional>
#include <utility>

namespace vexa::host {

/// Keeps something that may happen at any rate from filling a log: it is worth a line when it has not had one for a
/// while. For one thread at a time.
class OccasionalLine {
public:
    /// \param interval  the least time between two lines, in seconds.
    explicit OccasionalLine(double interval) noexcept : interval_{interval} {}

    /// It has happened once more, at the moment `now` of the monotonic clock. Answers how often since the last line
    /// when it is time for another, else nothing.
    [[nodiscard]] std::optional<std::uint64_t> happened(double now) noexcept
    {
        ++count_;
        if (lastLine_ && now - *lastLine_ < interval_) {
            return std::nullopt;
        }
        lastLine_ = now;
        return std::exchange(count_, 0);
    }

private:
    double interval_;
    std::optional<double> lastLine_;
    std::uint64_t count_ = 0;
};

} // namespace vexa::host
