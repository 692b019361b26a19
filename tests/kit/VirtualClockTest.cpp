#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <vector>

namespace vexa::testing {
namespace {

class VirtualClockTest : public ::testing::Test {
protected:
    VirtualPlatform platform;
    const SerialQueueHandle queue = platform.makeQueue("clock");
};

TEST_F(VirtualClockTest, timeStandsStillUntilItIsAdvanced)
{
    EXPECT_EQ(platform.now(), 1700000000.0);
    EXPECT_EQ(platform.monotonicNow(), 0.0);
    queue->async([] {});
    platform.runUntilIdle();
    EXPECT_EQ(platform.clock.now(), 1700000000.0);
    EXPECT_EQ(platform.clock.elapsed(), 0.0);
}

TEST_F(VirtualClockTest, stepsAddUpExactly)
{
    platform.clock.advance(3.0);
    EXPECT_EQ(platform.now(), 1700000003.0);
    platform.clock.advance(3.0);
    EXPECT_EQ(platform.now(), 1700000006.0);
    EXPECT_EQ(platform.monotonicNow(), 6.0);
    for (int i = 0; i < 10; ++i) {
        platform.clock.advance(0.1);
    }
    EXPECT_EQ(platform.now(), 1700000007.0);
    EXPECT_EQ(platform.monotonicNow(), 7.0);
    platform.clock.advance(0.25);
    EXPECT_EQ(platform.now(), 1700000007.25);
}

TEST_F(VirtualClockTest, theWallClockJumpsAlone)
{
    platform.clock.advance(10.0);
    platform.clock.jump(-3600.0);
    EXPECT_EQ(platform.now(), 1699996410.0);
    platform.clock.set(5.5);
    EXPECT_EQ(platform.now(), 5.5);
    platform.clock.jump(-10.0);
    EXPECT_EQ(platform.now(), -4.5);
    EXPECT_EQ(platform.monotonicNow(), 10.0);
    platform.clock.advance(1.0);
    EXPECT_EQ(platform.now(), -3.5);
    EXPECT_EQ(platform.monotonicNow(), 11.0);
}

TEST_F(VirtualClockTest, delaysFollowTheMonotonicClock)
{
    bool hasRun = false;
    queue->asyncAfter(10.0, [&] { hasRun = true; });
    platform.clock.jump(3600.0);
    platform.runUntilIdle();
    EXPECT_FALSE(hasRun);
    platform.clock.set(0.0);
    platform.clock.advance(10.0);
    EXPECT_TRUE(hasRun);
}

TEST_F(VirtualClockTest, eachDueItemSeesItsOwnMoment)
{
    std::vector<double> moments;
    for (const double delay : {2.5, 0.001, 60.0, 0.1, 2.5}) {
        queue->asyncAfter(delay, [&] { moments.push_back(platform.monotonicNow()); });
    }
    platform.clock.advance(59.0);
    EXPECT_EQ(moments, (std::vector<double>{0.001, 0.1, 2.5, 2.5}));
    EXPECT_EQ(platform.monotonicNow(), 59.0);
    platform.clock.advance(1.0);
    EXPECT_EQ(moments.back(), 60.0);
}

TEST_F(VirtualClockTest, whatIsReadyRunsBeforeTimePasses)
{
    double ranAt = -1.0;
    queue->async([&] { ranAt = platform.monotonicNow(); });
    platform.clock.advance(5.0);
    EXPECT_EQ(ranAt, 0.0);
}

TEST_F(VirtualClockTest, whatADueItemSchedulesRunsInTheSameAdvance)
{
    std::vector<double> moments;
    queue->asyncAfter(1.0, [&] {
        queue->async([&] { moments.push_back(platform.monotonicNow()); });
        queue->asyncAfter(1.0, [&] { moments.push_back(platform.monotonicNow()); });
        queue->asyncAfter(1.5, [&] { moments.push_back(platform.monotonicNow()); });
    });
    platform.clock.advance(2.0);
    EXPECT_EQ(moments, (std::vector<double>{1.0, 2.0}));
}

TEST_F(VirtualClockTest, anItemMayAdvanceTheClock)
{
    std::vector<double> moments;
    const SerialQueueHandle other = platform.makeQueue("other");
    other->asyncAfter(2.0, [&] { moments.push_back(platform.monotonicNow()); });
    queue->asyncAfter(1.0, [&] {
        platform.clock.advance(10.0);
        moments.push_back(platform.monotonicNow());
    });
    platform.clock.advance(5.0);
    EXPECT_EQ(moments, (std::vector<double>{2.0, 11.0}));
    EXPECT_EQ(platform.monotonicNow(), 11.0);
}

TEST_F(VirtualClockTest, timesThatNoClockCanShowAreRefused)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW(platform.clock.advance(-1.0), std::invalid_argument);
    for (const double bad : {infinity, notANumber, 1e10}) {
        EXPECT_THROW(platform.clock.advance(bad), std::invalid_argument);
        EXPECT_THROW(platform.clock.jump(bad), std::invalid_argument);
        EXPECT_THROW(platform.clock.jump(-bad), std::invalid_argument);
        EXPECT_THROW(platform.clock.set(bad), std::invalid_argument);
    }
    EXPECT_THROW(platform.clock.jump(5.9e9), std::invalid_argument);
    EXPECT_THROW(platform.clock.advance(5.9e9), std::invalid_argument);
    EXPECT_EQ(platform.now(), 1700000000.0);
    EXPECT_EQ(platform.monotonicNow(), 0.0);
}

TEST_F(VirtualClockTest, whatWaitsForItsTimeIsCounted)
{
    EXPECT_FALSE(platform.pendingDelays().nextDue);
    queue->asyncAfter(7.0, [] {});
    queue->asyncAfter(5.0, [] {});
    const auto timer = queue->startTimer({6.0, 6.0, 1.0}, [] {});
    const PendingDelays pending = platform.pendingDelays();
    EXPECT_EQ(pending.items, 2U);
    EXPECT_EQ(pending.timers, 1U);
    EXPECT_EQ(pending.nextDue, 5.0);
    platform.clock.advance(10.0);
    EXPECT_EQ(platform.pendingDelays().items, 0U);
    EXPECT_EQ(platform.pendingDelays().nextDue, 12.0);
    queue->sync([&] { timer->cancel(); });
    EXPECT_EQ(platform.pendingDelays().timers, 0U);
}

} // namespace
} // namespace vexa::testing
