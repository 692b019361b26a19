#include <testing/Seeds.hpp>
#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace vexa::testing {
namespace {

/// A timer that keeps the moments of its firings.
class Recorded {
public:
    Recorded(VirtualPlatform& platform, TimerSchedule schedule)
        : queue{platform.makeQueue("timers")},
          timer{queue->startTimer(schedule, [this, &platform] { moments.push_back(platform.monotonicNow()); })}
    {}

    std::vector<double> moments;
    SerialQueueHandle queue;
    std::shared_ptr<RepeatingTimer> timer;
};

TEST(VirtualTimers, fireExactlyAtTheirDeadlines)
{
    VirtualPlatform platform;
    const Recorded recorded{platform, {3.0, 3.0, 1.0}};
    platform.clock.advance(2.999999999);
    EXPECT_TRUE(recorded.moments.empty());
    platform.clock.advance(12.1);
    EXPECT_EQ(recorded.moments, (std::vector<double>{3.0, 6.0, 9.0, 12.0, 15.0}));
}

TEST(VirtualTimers, theFirstDeadlineMayDifferFromTheInterval)
{
    VirtualPlatform platform;
    const Recorded recorded{platform, {0.5, 2.0, 0.0}};
    platform.clock.advance(5.0);
    EXPECT_EQ(recorded.moments, (std::vector<double>{0.5, 2.5, 4.5}));
}

TEST(VirtualTimers, aDeadlineOfNowFiresWhenTimeIsNextAdvanced)
{
    VirtualPlatform platform;
    const Recorded recorded{platform, {0.0, 2.0, 0.0}};
    EXPECT_TRUE(recorded.moments.empty());
    platform.clock.advance(0.0);
    EXPECT_EQ(recorded.moments, std::vector<double>{0.0});
}

TEST(VirtualTimers, doNotDriftWhenTheQueueIsLate)
{
    VirtualPlatform platform;
    const Recorded recorded{platform, {3.0, 3.0, 0.0}};
    recorded.queue->asyncAfter(2.0, [&] { platform.clock.advance(2.0); });
    platform.clock.advance(10.0);
    EXPECT_EQ(recorded.moments, (std::vector<double>{4.0, 6.0, 9.0}));
}

TEST(VirtualTimers, firingsThatWaitCountAsOne)
{
    VirtualPlatform platform;
    const Recorded recorded{platform, {1.0, 1.0, 0.0}};
    recorded.queue->async([&] { platform.clock.advance(5.5); });
    platform.runUntilIdle();
    EXPECT_EQ(recorded.moments, std::vector<double>{5.5});
    platform.clock.advance(0.5);
    EXPECT_EQ(recorded.moments, (std::vector<double>{5.5, 6.0}));
}

TEST(VirtualTimers, aFiringAddsToTheQueueInTheOrderOfDeadlines)
{
    VirtualPlatform platform;
    std::vector<int> order;
    const SerialQueueHandle queue = platform.makeQueue("timers");
    queue->asyncAfter(1.0, [&] { order.push_back(1); });
    const auto timer = queue->startTimer({1.0, 60.0, 0.0}, [&] { order.push_back(2); });
    queue->asyncAfter(1.0, [&] { order.push_back(3); });
    queue->asyncAfter(0.5, [&] { order.push_back(0); });
    queue->sync([&] { platform.clock.advance(1.0); });
    platform.runUntilIdle();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
}

TEST(VirtualTimers, aSeedDrawsTheLatenessWithinTheLeeway)
{
    bool wasLate = false;
    for (const std::uint64_t seed : seeds(20)) {
        VirtualPlatform platform{seed, {.drawLeeway = true}};
        const Recorded recorded{platform, {3.0, 3.0, 1.0}};
        platform.clock.advance(30.5);
        ASSERT_GE(recorded.moments.size(), 9U) << replayHint(seed);
        for (std::size_t i = 0; i < recorded.moments.size(); ++i) {
            const double lateness = recorded.moments[i] - 3.0 * static_cast<double>(i + 1);
            EXPECT_GE(lateness, 0.0) << replayHint(seed);
            EXPECT_LE(lateness, 1.0) << replayHint(seed);
            wasLate = wasLate || lateness > 0.1;
        }
    }
    EXPECT_TRUE(wasLate);
}

TEST(VirtualTimers, timesBeyondAllMeasureAreTaken)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    VirtualPlatform platform{1, {.drawLeeway = true}};
    const Recorded recorded{platform, {infinity, infinity, infinity}};
    platform.clock.advance(1e6);
    EXPECT_TRUE(recorded.moments.empty());
    EXPECT_EQ(platform.pendingDelays().timers, 1U);
}

TEST(VirtualTimers, mayBeCancelledOnTheirQueueAlone)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    VirtualPlatform platform;
    const auto timer = platform.makeQueue("scores")->startTimer({1.0, 1.0, 0.0}, [] {});
    EXPECT_DEATH(timer->cancel(), "VEXA: a timer of the queue \"scores\" was cancelled outside that queue");
}

} // namespace
} // namespace vexa::testing
