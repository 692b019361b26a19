#pragma once

#include <deque>

namespace vexa::host {

/// How fast a counter grows, measured over the last stretch of time, since counters of the kernel move in steps that
/// are coarse for a shorter one.
class Growth {
public:
    /// \param window  the stretch, in seconds.
    explicit Growth(double window = 1.0) noexcept : window_{window} {}

    /// Takes the counter's state at the moment `now` in seconds, and gives its growth for each second since the start
    /// of the stretch: 0 at first, and after the counter fell, as it does when its device is taken away and comes back.
    [[nodiscard]] double perSecond(double now, double counter);

private:
    struct Reading {
        double at;
        double counter;
    };

    double window_;
    std::deque<Reading> readings_;
};

} // namespace vexa::host
