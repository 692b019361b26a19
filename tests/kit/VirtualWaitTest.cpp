#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <optional>

namespace vexa::testing {
namespace {

class VirtualWait : public ::testing::Test {
protected:
    VirtualPlatform platform;
    const SerialQueueHandle queue = platform.makeQueue("waited for");
    std::mutex mutex;
    std::condition_variable changed;
    bool isReady = false;

    bool wait(std::optional<double> seconds)
    {
        std::unique_lock lock{mutex};
        const bool answer = platform.wait(lock, changed, [this] { return isReady; }, seconds);
        EXPECT_TRUE(lock.owns_lock());
        return answer;
    }

    void becomeReady()
    {
        const std::lock_guard lock{mutex};
        isReady = true;
    }
};

TEST_F(VirtualWait, returnsAtOnceWhenTheConditionHolds)
{
    bool hasRun = false;
    queue->async([&] { hasRun = true; });
    isReady = true;
    EXPECT_TRUE(wait(std::nullopt));
    EXPECT_FALSE(hasRun);
}

TEST_F(VirtualWait, runsTheItemThatBringsTheConditionAbout)
{
    queue->async([this] { becomeReady(); });
    bool ranBehind = false;
    queue->async([&] { ranBehind = true; });
    EXPECT_TRUE(wait(std::nullopt));
    EXPECT_FALSE(ranBehind);
    EXPECT_EQ(platform.monotonicNow(), 0.0);
}

TEST_F(VirtualWait, letsTimePassUntilTheConditionHolds)
{
    queue->asyncAfter(30.0, [this] { becomeReady(); });
    queue->asyncAfter(60.0, [] { FAIL() << "beyond the end of the wait"; });
    EXPECT_TRUE(wait(std::nullopt));
    EXPECT_EQ(platform.monotonicNow(), 30.0);
}

TEST_F(VirtualWait, endsAtItsLimit)
{
    queue->asyncAfter(30.0, [this] { becomeReady(); });
    EXPECT_FALSE(wait(10.0));
    EXPECT_EQ(platform.monotonicNow(), 10.0);
    EXPECT_TRUE(wait(20.0));
    EXPECT_EQ(platform.monotonicNow(), 30.0);
}

TEST_F(VirtualWait, endsAtItsLimitWithNothingToRun)
{
    EXPECT_FALSE(wait(2.5));
    EXPECT_EQ(platform.monotonicNow(), 2.5);
    EXPECT_EQ(platform.now(), 1700000002.5);
}

TEST_F(VirtualWait, withoutTimeOnlyAsks)
{
    queue->async([this] { becomeReady(); });
    EXPECT_FALSE(wait(0.0));
    EXPECT_FALSE(wait(-1.0));
    platform.runUntilIdle();
    EXPECT_TRUE(wait(0.0));
}

TEST_F(VirtualWait, aJumpOfTheWallClockDoesNotShortenIt)
{
    queue->asyncAfter(1.0, [this] { platform.clock.jump(3600.0); });
    queue->asyncAfter(9.0, [this] { becomeReady(); });
    EXPECT_TRUE(wait(10.0));
    EXPECT_EQ(platform.monotonicNow(), 9.0);
}

TEST_F(VirtualWait, mayBeCalledInsideAnItem)
{
    const SerialQueueHandle waiting = platform.makeQueue("waiting");
    std::optional<bool> answer;
    waiting->async([&] { answer = wait(5.0); });
    queue->asyncAfter(1.0, [this] { becomeReady(); });
    platform.runUntilIdle();
    EXPECT_EQ(answer, true);
    EXPECT_EQ(platform.monotonicNow(), 1.0);
}

TEST_F(VirtualWait, aTimerBringsTheConditionAbout)
{
    int firings = 0;
    const auto timer = queue->startTimer({3.0, 3.0, 1.0}, [&] {
        if (++firings == 4) {
            becomeReady();
        }
    });
    EXPECT_TRUE(wait(std::nullopt));
    EXPECT_EQ(platform.monotonicNow(), 12.0);
    queue->sync([&] { timer->cancel(); });
}

TEST_F(VirtualWait, stopsTheProcessWhenItCanNeverEnd)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    queue->async([] {});
    EXPECT_DEATH(wait(std::nullopt), "VEXA: a wait on the virtual platform can never end");
}

} // namespace
} // namespace vexa::testing
