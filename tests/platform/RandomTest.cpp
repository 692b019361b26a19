#include <testing/VirtualPlatform.hpp>
#include <VexaClient/platform/Random.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <thread>
#include <unordered_set>
#include <vector>

namespace vexa {
namespace {

constexpr std::uint64_t allBits = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t half = std::uint64_t{1} << 63U;

class RandomNumbers : public ::testing::Test {
protected:
    testing::VirtualPlatform platform;

    /// Whether all that was scripted has been drawn.
    bool drewUpTo(std::uint64_t marker) { return platform.randomBits() == marker; }
};

TEST_F(RandomNumbers, belowOneIsZero)
{
    platform.nextRandomBits({allBits, 0, 7});
    EXPECT_EQ(uniformBelow(platform, 1), 0U);
    EXPECT_EQ(uniformBelow(platform, 1), 0U);
    EXPECT_TRUE(drewUpTo(7));
}

TEST_F(RandomNumbers, equalPartsOfTheDrawsGiveEachNumber)
{
    platform.nextRandomBits({0, half - 1, half, allBits, 7});
    EXPECT_EQ(uniformBelow(platform, 2), 0U);
    EXPECT_EQ(uniformBelow(platform, 2), 0U);
    EXPECT_EQ(uniformBelow(platform, 2), 1U);
    EXPECT_EQ(uniformBelow(platform, 2), 1U);
    EXPECT_TRUE(drewUpTo(7));
}

TEST_F(RandomNumbers, aDrawThatWouldFavourANumberIsDrawnAgain)
{
    // 2 to the 64th is one more than a multiple of 3, so one draw must go: that whose product's low half is 0.
    platform.nextRandomBits({0, 1, 7});
    EXPECT_EQ(uniformBelow(platform, 3), 0U);
    EXPECT_TRUE(drewUpTo(7));
}

TEST_F(RandomNumbers, allDrawsThatWouldFavourANumberAreDrawnAgain)
{
    // With a bound of 2 to the 63rd and one, the low half of an even draw's product is the draw itself, and that of the
    // threshold is 2 to the 63rd less one.
    const std::uint64_t bound = half + 1;
    platform.nextRandomBits({0, 2, half - 2, half - 1, 7});
    EXPECT_EQ(uniformBelow(platform, bound), (half - 1) / 2);
    EXPECT_TRUE(drewUpTo(7));
}

TEST_F(RandomNumbers, theGreatestBoundIsServed)
{
    platform.nextRandomBits({allBits});
    EXPECT_EQ(uniformBelow(platform, allBits), allBits - 1);
}

TEST_F(RandomNumbers, everyNumberBelowASmallBoundComesUp)
{
    std::set<std::uint64_t> drawn;
    for (int i = 0; i < 1000; ++i) {
        drawn.insert(uniformBelow(platform, 10));
    }
    EXPECT_EQ(drawn.size(), 10U);
    EXPECT_EQ(*drawn.rbegin(), 9U);
}

TEST_F(RandomNumbers, theLowerBoundIsReached)
{
    platform.nextRandomBits({0});
    EXPECT_EQ(uniformBetween(platform, 5.0, 300.0), 5.0);
}

TEST_F(RandomNumbers, theUpperBoundIsNot)
{
    platform.nextRandomBits({allBits, 7});
    EXPECT_LT(uniformBetween(platform, 5.0, 300.0), 300.0);
    EXPECT_TRUE(drewUpTo(7));
}

TEST_F(RandomNumbers, aDrawThatRoundsToTheUpperBoundIsDrawnAgain)
{
    // The spacing of doubles near the bounds is so wide that the last draw rounds up.
    platform.nextRandomBits({allBits, half, 7});
    EXPECT_EQ(uniformBetween(platform, 1e16, 1e16 + 4.0), 1e16 + 2.0);
    EXPECT_TRUE(drewUpTo(7));
}

TEST_F(RandomNumbers, theMiddleDrawGivesTheMiddle)
{
    platform.nextRandomBits({half});
    EXPECT_EQ(uniformBetween(platform, 5.0, 300.0), 152.5);
}

TEST(RandomBits, noTwoDrawsOfManyThreadsAreTheSame)
{
    constexpr std::size_t threadCount = 4;
    constexpr std::size_t drawsOfEach = 100'000;
    std::vector<std::vector<std::uint64_t>> draws(threadCount);
    std::vector<std::thread> threads;
    for (std::vector<std::uint64_t>& own : draws) {
        threads.emplace_back([&own] {
            own.reserve(drawsOfEach);
            for (std::size_t n = 0; n < drawsOfEach; ++n) {
                own.push_back(SystemPlatform::shared().randomBits());
            }
        });
    }
    std::unordered_set<std::uint64_t> all;
    for (std::size_t n = 0; n < threadCount; ++n) {
        threads[n].join();
        all.insert(draws[n].begin(), draws[n].end());
    }
    EXPECT_EQ(all.size(), threadCount * drawsOfEach);
}

RC_GTEST_PROP(UniformBelow, staysBelowItsBound, (std::uint64_t seed, std::uint64_t bound))
{
    RC_PRE(bound > 0U);
    testing::VirtualPlatform platform{seed};
    RC_ASSERT(uniformBelow(platform, bound) < bound);
}

RC_GTEST_PROP(UniformBelow, takesTheHighHalfOfTheProduct, (std::uint64_t bits, std::uint32_t bound))
{
    RC_PRE(bound > 0U);
    testing::VirtualPlatform platform;
    // With these low bits no draw is rejected.
    platform.nextRandomBits({bits | 0xFFFFFFFFU});
    const std::uint64_t expected = ((bits >> 32U) * bound + ((std::uint64_t{0xFFFFFFFFU} * bound) >> 32U)) >> 32U;
    RC_ASSERT(uniformBelow(platform, bound) == expected);
}

RC_GTEST_PROP(UniformBetween, staysWithinItsBounds, (std::uint64_t seed))
{
    testing::VirtualPlatform platform{seed};
    const double drawn = uniformBetween(platform, 5.0, 300.0);
    RC_ASSERT(drawn >= 5.0);
    RC_ASSERT(drawn < 300.0);
}

} // namespace
} // namespace vexa
