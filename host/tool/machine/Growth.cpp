#include <host/tool/machine/Growth.hpp>

namespace vexa::host {

double Growth::perSecond(double now, double counter)
{
    if (!readings_.empty() && counter < readings_.back().counter) {
        readings_.clear();
    }
    readings_.push_back({now, counter});
    while (readings_.size() > 2 && readings_[1].at <= now - window_) {
        readings_.pop_front();
    }
    const Reading& first = readings_.front();
    return now > first.at ? (counter - first.counter) / (now - first.at) : 0;
}

} // namespace vexa::host
