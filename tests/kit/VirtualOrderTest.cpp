#include <testing/Seeds.hpp>
#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace vexa::testing {
namespace {

/// The order in which the items of three queues and two closures run.
std::string orderOf(std::uint64_t seed)
{
    VirtualPlatform platform{seed};
    std::string order;
    std::vector<SerialQueueHandle> queues;
    for (const char* items : {"abc", "def", "ghi"}) {
        queues.push_back(platform.makeQueue(items));
        for (const char* item = items; *item != '\0'; ++item) {
            queues.back()->async([&order, item] { order += *item; });
        }
    }
    platform.execute([&order] { order += 'X'; });
    platform.execute([&order] { order += 'Y'; });
    platform.runUntilIdle();
    return order;
}

bool standsBefore(const std::string& order, char first, char second)
{
    return order.find(first) < order.find(second);
}

TEST(VirtualOrder, oneSeedGivesOneOrder)
{
    for (const std::uint64_t seed : seeds(20)) {
        EXPECT_EQ(orderOf(seed), orderOf(seed)) << replayHint(seed);
    }
}

TEST(VirtualOrder, seedsGiveManyOrders)
{
    std::set<std::string> orders;
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        orders.insert(orderOf(seed));
    }
    EXPECT_GT(orders.size(), 150U);
}

TEST(VirtualOrder, everyOrderKeepsThatOfEachQueue)
{
    for (const std::uint64_t seed : seeds(200)) {
        const std::string order = orderOf(seed);
        ASSERT_EQ(order.size(), 11U) << replayHint(seed);
        for (const std::string items : {"abc", "def", "ghi"}) {
            EXPECT_TRUE(standsBefore(order, items[0], items[1])) << order << ' ' << replayHint(seed);
            EXPECT_TRUE(standsBefore(order, items[1], items[2])) << order << ' ' << replayHint(seed);
        }
    }
}

TEST(VirtualOrder, executedClosuresRunInEitherOrder)
{
    std::set<bool> orders;
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        orders.insert(standsBefore(orderOf(seed), 'X', 'Y'));
    }
    EXPECT_EQ(orders.size(), 2U);
}

TEST(VirtualOrder, nothingRunsByItself)
{
    VirtualPlatform platform;
    bool hasRun = false;
    const SerialQueueHandle queue = platform.makeQueue("quiet");
    queue->async([&] { hasRun = true; });
    EXPECT_FALSE(hasRun);
    EXPECT_FALSE(platform.isIdle());
    EXPECT_TRUE(platform.runOne());
    EXPECT_TRUE(hasRun);
    EXPECT_TRUE(platform.isIdle());
    EXPECT_FALSE(platform.runOne());
}

TEST(VirtualOrder, oneStepRunsOneItem)
{
    VirtualPlatform platform;
    int runs = 0;
    const SerialQueueHandle queue = platform.makeQueue("steps");
    for (int i = 0; i < 3; ++i) {
        queue->async([&] { ++runs; });
    }
    for (int i = 1; i <= 3; ++i) {
        EXPECT_TRUE(platform.runOne());
        EXPECT_EQ(runs, i);
    }
}

TEST(VirtualOrder, runningUntilIdleRunsWhatTheItemsMakeReady)
{
    VirtualPlatform platform;
    int hops = 0;
    const SerialQueueHandle one = platform.makeQueue("one");
    const SerialQueueHandle other = platform.makeQueue("other");
    one->async([&] {
        ++hops;
        other->async([&] {
            ++hops;
            platform.execute([&] {
                ++hops;
                one->async([&] { ++hops; });
            });
        });
    });
    platform.runUntilIdle();
    EXPECT_EQ(hops, 4);
}

TEST(VirtualOrder, aSyncRunsWhatWaitsInItsQueueAndNothingElse)
{
    VirtualPlatform platform;
    std::vector<std::string> order;
    const SerialQueueHandle queue = platform.makeQueue("queue");
    const SerialQueueHandle other = platform.makeQueue("other");
    other->async([&] { order.emplace_back("other"); });
    queue->async([&] {
        order.emplace_back("waiting");
        queue->async([&] { order.emplace_back("behind"); });
    });
    queue->sync([&] { order.emplace_back("sync"); });
    EXPECT_EQ(order, (std::vector<std::string>{"waiting", "sync"}));
    platform.runUntilIdle();
    EXPECT_EQ(order.size(), 4U);
}

TEST(VirtualOrder, aQueueOnTheStackRestsWhileOthersRun)
{
    for (const std::uint64_t seed : seeds(20)) {
        VirtualPlatform platform{seed};
        std::vector<std::string> order;
        const SerialQueueHandle queue = platform.makeQueue("queue");
        const SerialQueueHandle other = platform.makeQueue("other");
        queue->async([&] {
            queue->async([&] { order.emplace_back("behind"); });
            other->async([&] { order.emplace_back("other"); });
            platform.runUntilIdle();
            order.emplace_back("first");
        });
        platform.runUntilIdle();
        EXPECT_EQ(order, (std::vector<std::string>{"other", "first", "behind"})) << replayHint(seed);
    }
}

TEST(VirtualOrder, scriptedDrawsLeaveTheOrderAsItWas)
{
    const auto orderWith = [](bool scripted) {
        VirtualPlatform platform{7};
        std::string order;
        if (scripted) {
            platform.nextRandomBits({1, 2, 3});
        }
        for (const char name : {'a', 'b', 'c', 'd'}) {
            platform.makeQueue("queue")->async([&order, &platform, name] {
                order += name;
                static_cast<void>(platform.randomBits());
            });
        }
        platform.runUntilIdle();
        return order;
    };
    EXPECT_EQ(orderWith(true), orderWith(false));
}

} // namespace
} // namespace vexa::testing
