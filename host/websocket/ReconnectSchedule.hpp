#pragma once

#include <VexaClient/platform/Platform.hpp>

#include <optional>

namespace vexa::host {

/// When a client that has lost its connection tries again; in seconds.
struct ReconnectOptions {
    double firstCeiling = 0.5; ///< the longest delay before the second try; each further try doubles it
    double lastCeiling = 30;   ///< up to this
    double stableAfter = 10;   ///< a connection that was open for so long counts as a good one
};

/// The delays between the tries of a client that reconnects for ever: capped exponential backoff with full jitter
/// (M. Brooker, Exponential Backoff And Jitter, 2015), so that clients that were cut off together do not come back
/// together. The first try after a good connection comes at once, since most cuts are short. For one thread at a time.
class ReconnectSchedule {
public:
    explicit ReconnectSchedule(const ReconnectOptions& options) noexcept : options_{options} {}

    /// The connection has opened at the moment `now` of the monotonic clock.
    void opened(double now) noexcept { openedAt_ = now; }

    /// The connection was lost, or a try has failed, at the moment `now`: how long to wait before the next try. Takes
    /// its random bits from `platform`.
    [[nodiscard]] double nextDelay(double now, Platform& platform);

private:
    ReconnectOptions options_;
    std::optional<double> openedAt_;
    int failures_ = 0;
};

} // namespace vexa::host
