#include <host/websocket/ReconnectSchedule.hpp>
#include <VexaClient/platform/Random.hpp>

#include <algorithm>
#include <cmath>

namespace vexa::host {

namespace {

// Any ceiling has reached any cap by then.
constexpr int mostDoublings = 1000;

} // namespace

double ReconnectSchedule::nextDelay(double now, Platform& platform)
{
    const bool wasStable = openedAt_ && now - *openedAt_ >= options_.stableAfter;
    openedAt_.reset();
    if (wasStable) {
        failures_ = 0;
        return 0;
    }
    const double ceiling = std::min(options_.lastCeiling, std::ldexp(options_.firstCeiling, failures_));
    failures_ = std::min(failures_ + 1, mostDoublings);
    return ceiling > 0 ? uniformBetween(platform, 0, ceiling) : 0;
}

} // namespace vexa::host
