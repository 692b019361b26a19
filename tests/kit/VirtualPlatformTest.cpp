#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace vexa::testing {
namespace {

TEST(VirtualRandom, theSeedGivesTheDraws)
{
    VirtualPlatform one{5};
    VirtualPlatform same{5};
    VirtualPlatform other{6};
    std::set<std::uint64_t> draws;
    for (int i = 0; i < 100; ++i) {
        const std::uint64_t bits = one.randomBits();
        EXPECT_EQ(bits, same.randomBits());
        draws.insert(bits);
        draws.insert(other.randomBits());
    }
    EXPECT_EQ(draws.size(), 200U);
}

TEST(VirtualRandom, scriptedDrawsComeFirst)
{
    VirtualPlatform platform{5};
    const std::uint64_t drawn = VirtualPlatform{5}.randomBits();
    platform.nextRandomBits({1, 2});
    platform.nextRandomBits({3});
    EXPECT_EQ(platform.randomBits(), 1U);
    EXPECT_EQ(platform.randomBits(), 2U);
    EXPECT_EQ(platform.randomBits(), 3U);
    EXPECT_EQ(platform.randomBits(), drawn);
}

TEST(VirtualLog, keepsWholeLines)
{
    VirtualPlatform platform;
    platform.log("100 %s");
    platform.log("two\nlines");
    EXPECT_EQ(platform.logLines(), (std::vector<std::string>{"VEXA: 100 %s", "VEXA: two\\nlines"}));
}

TEST(VirtualLog, givesEachLineOnceToWhoTakesThem)
{
    VirtualPlatform platform;
    platform.log("one");
    EXPECT_EQ(platform.takeLogLines(), std::vector<std::string>{"VEXA: one"});
    EXPECT_TRUE(platform.takeLogLines().empty());
    platform.log("two");
    EXPECT_EQ(platform.takeLogLines(), std::vector<std::string>{"VEXA: two"});
    EXPECT_EQ(platform.logLines().size(), 2U);
}

TEST(VirtualLog, takesLinesFromEveryThread)
{
    VirtualPlatform platform;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&platform] {
            for (int n = 0; n < 100; ++n) {
                platform.log("line");
            }
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    EXPECT_EQ(platform.logLines().size(), 400U);
}

TEST(VirtualHostCode, isNoticed)
{
    VirtualPlatform platform;
    EXPECT_FALSE(platform.isInHostCode());
    callHost(platform, "the host", [&] {
        EXPECT_TRUE(platform.isInHostCode());
        platform.log("inside");
        EXPECT_TRUE(platform.isInHostCode());
    });
    EXPECT_FALSE(platform.isInHostCode());
}

class VirtualMisuse : public ::testing::Test {
protected:
    VirtualMisuse() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(VirtualMisuse, anotherThreadStopsTheProcess)
{
    EXPECT_DEATH(
        {
            VirtualPlatform platform;
            const SerialQueueHandle queue = platform.makeQueue("scores");
            std::thread{[&] { queue->async([] {}); }}.join();
        },
        "VEXA: the virtual platform was used by another thread than the one that made it: scores");
    EXPECT_DEATH(
        {
            VirtualPlatform platform;
            std::thread{[&] { static_cast<void>(platform.now()); }}.join();
        },
        "VEXA: the virtual platform was used by another thread");
}

TEST_F(VirtualMisuse, aQueueThatOutlivesItsPlatformStopsTheProcess)
{
    EXPECT_DEATH(
        {
            SerialQueueHandle queue;
            {
                VirtualPlatform platform;
                queue = platform.makeQueue("scores");
            }
            queue->async([] {});
        },
        "VEXA: the virtual platform was used after its end: scores");
}

TEST_F(VirtualMisuse, workWithoutEndStopsTheProcess)
{
    EXPECT_DEATH(
        {
            VirtualPlatform platform;
            const SerialQueueHandle queue = platform.makeQueue("endless");
            struct Again {
                SerialQueue& queue;
                void operator()() const { queue.async(*this); }
            };
            queue->async(Again{*queue});
            platform.runUntilIdle();
        },
        "VEXA: the virtual platform does not become idle");
}

TEST_F(VirtualMisuse, anItemThatDestroysThePlatformStopsTheProcess)
{
    EXPECT_DEATH(
        {
            auto platform = std::make_unique<VirtualPlatform>();
            platform->execute([&] { platform = nullptr; });
            platform->runUntilIdle();
        },
        "VEXA: the virtual platform was destroyed by one of its own work items");
}

} // namespace
} // namespace vexa::testing
