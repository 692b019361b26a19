#include <host/tool/demo/DemoPlan.hpp>

#include <algorithm>

namespace vexa::host {

DemoPlan planFor(double duration)
{
    constexpr double shortestCut = 0.5;
    constexpr double longestCut = 5;
    DemoPlan plan;
    plan.duration = duration;
    plan.echoAt = 0.1 * duration;
    plan.lateStreamAt = 0.25 * duration;
    plan.cutAt = 0.5 * duration;
    plan.reopenAt = plan.cutAt + std::clamp(0.15 * duration, shortestCut, longestCut);
    plan.endTopicAt = 0.85 * duration;
    return plan;
}

} // namespace vexa::host
