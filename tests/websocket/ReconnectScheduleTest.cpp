#include <host/websocket/ReconnectSchedule.hpp>
#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace vexa::host {
namespace {

constexpr std::uint64_t halfway = std::uint64_t{1} << 63U;
constexpr std::uint64_t highest = std::numeric_limits<std::uint64_t>::max();

class ReconnectScheduleTest : public ::testing::Test {
protected:
    /// The delays after `draws.size()` failures in a row, each drawn from the next of `draws`.
    std::vector<double> delays(const std::vector<std::uint64_t>& draws)
    {
        platform.nextRandomBits(draws);
        std::vector<double> drawn;
        for (std::size_t i = 0; i < draws.size(); ++i) {
            drawn.push_back(schedule.nextDelay(platform.monotonicNow(), platform));
        }
        return drawn;
    }

    void openFor(double seconds)
    {
        schedule.opened(platform.monotonicNow());
        platform.clock.advance(seconds);
    }

    testing::VirtualPlatform platform;
    ReconnectSchedule schedule{{.firstCeiling = 1, .lastCeiling = 10, .stableAfter = 5}};
};

TEST_F(ReconnectScheduleTest, theCeilingDoublesUpToTheLastOne)
{
    EXPECT_EQ(delays({halfway, halfway, halfway, halfway, halfway, halfway}),
              (std::vector<double>{0.5, 1, 2, 4, 5, 5}));
}

TEST_F(ReconnectScheduleTest, theJitterCoversAllFromNothingToTheCeiling)
{
    const std::vector<double> drawn = delays({0, highest, 0, highest});
    EXPECT_EQ(drawn[0], 0);
    EXPECT_LT(drawn[1], 2);
    EXPECT_GT(drawn[1], 1.999);
    EXPECT_EQ(drawn[2], 0);
    EXPECT_GT(drawn[3], 7.999);
}

TEST_F(ReconnectScheduleTest, theFirstTryAfterAGoodConnectionComesAtOnceAndTheNextOnesStartOver)
{
    delays({halfway, halfway, halfway});
    openFor(5);
    EXPECT_EQ(schedule.nextDelay(platform.monotonicNow(), platform), 0);
    EXPECT_EQ(delays({halfway, halfway}), (std::vector<double>{0.5, 1}));
}

TEST_F(ReconnectScheduleTest, aConnectionThatWasLostSoonChangesNothing)
{
    delays({halfway, halfway});
    openFor(4.9);
    EXPECT_EQ(delays({halfway}), (std::vector<double>{2}));
}

TEST_F(ReconnectScheduleTest, itGoesOnForEver)
{
    for (int i = 0; i < 5000; ++i) {
        const double delay = schedule.nextDelay(0, platform);
        ASSERT_GE(delay, 0) << i;
        ASSERT_LT(delay, 10) << i;
    }
    EXPECT_EQ(delays({halfway}), (std::vector<double>{5}));
}

TEST_F(ReconnectScheduleTest, aCeilingOfNothingMeansNoDelay)
{
    ReconnectSchedule atOnce{{.firstCeiling = 0, .lastCeiling = 0, .stableAfter = 5}};
    EXPECT_EQ(atOnce.nextDelay(0, platform), 0);
    EXPECT_EQ(atOnce.nextDelay(0, platform), 0);
}

} // namespace
} // namespace vexa::host
