#include "Gate.hpp"
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/platform/AsyncStream.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <vector>

namespace vexa {
namespace {

/// A thread that lends itself to the library, and the queues that it makes ready.
class BurstTest : public ::testing::Test {
protected:
    [[nodiscard]] static bool isThisThread(std::thread::id id) { return id == std::this_thread::get_id(); }

    SystemPlatform& platform = SystemPlatform::shared();
    const SerialQueueHandle queue = platform.makeQueue("lent");
    const SerialQueueHandle other = platform.makeQueue("other");
};

TEST_F(BurstTest, promptItemsRunOnTheThreadWhenItSaysSo)
{
    std::vector<int> steps;
    Burst burst{platform};
    queue->asyncPrompt([&] {
        steps.push_back(1);
        EXPECT_TRUE(queue->isCurrent());
        other->asyncPrompt([&] { steps.push_back(3); });
        steps.push_back(2);
    });
    EXPECT_EQ(steps, std::vector<int>{});
    burst.run();
    EXPECT_EQ(steps, (std::vector<int>{1, 2, 3}));
}

TEST_F(BurstTest, promptItemsThatNobodyAskedForRunAtItsEnd)
{
    std::vector<int> steps;
    {
        const Burst burst{platform};
        queue->asyncPrompt([&] { steps.push_back(1); });
    }
    EXPECT_EQ(steps, std::vector<int>{1});
}

TEST_F(BurstTest, anItemThatIsNotPromptIsLeftToThePoolAndTheOrderStays)
{
    std::vector<int> steps;
    std::thread::id runner;
    std::optional<Burst> burst{platform};
    queue->asyncPrompt([&] { steps.push_back(1); });
    queue->async([&] {
        steps.push_back(2);
        runner = std::this_thread::get_id();
    });
    queue->asyncPrompt([&] { steps.push_back(3); });
    burst->run();
    EXPECT_EQ(steps, std::vector<int>{1});
    burst.reset();

    Gate gate;
    queue->async([&] { gate.open(); });
    gate.pass();
    EXPECT_EQ(steps, (std::vector<int>{1, 2, 3}));
    EXPECT_FALSE(isThisThread(runner));
}

TEST_F(BurstTest, aThreadThatWaitsForAQueueHeldBackRunsItItself)
{
    std::vector<int> steps;
    const Burst burst{platform};
    queue->async([&] { steps.push_back(1); });
    std::thread caller{[&] { queue->sync([&] { steps.push_back(2); }); }};
    caller.join();
    EXPECT_EQ(steps, (std::vector<int>{1, 2}));
}

TEST_F(BurstTest, nothingIsHeldBackOnceCodeOfTheHostRuns)
{
    Gate queued;
    Gate submitted;
    Gate added;
    const Burst burst{platform};
    queue->async([&] { queued.open(); });
    platform.execute([&] { submitted.open(); });
    platform.atEndOfBurst([&] { added.open(); });

    const HostCode scope{platform};
    queued.pass();
    submitted.pass();
    added.pass();
}

TEST_F(BurstTest, codeOfTheHostHoldsNothingBackItself)
{
    Gate gate;
    const Burst burst{platform};
    const HostCode scope{platform};
    EXPECT_FALSE(platform.isInBurst());
    queue->async([&] { gate.open(); });
    gate.pass();
}

TEST_F(BurstTest, whatIsAddedRunsAtItsEndAndOutsideOfOneAtOnce)
{
    std::vector<int> steps;
    {
        Burst burst{platform};
        platform.atEndOfBurst([&] { steps.push_back(2); });
        steps.push_back(1);
        burst.run();
        EXPECT_EQ(steps, std::vector<int>{1});
        burst.renew();
        EXPECT_EQ(steps, (std::vector<int>{1, 2}));
        EXPECT_TRUE(platform.isInBurst());
        platform.atEndOfBurst([&] { steps.push_back(3); });
    }
    platform.atEndOfBurst([&] { steps.push_back(4); });
    EXPECT_EQ(steps, (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(BurstTest, aBurstWithinAnotherBelongsToIt)
{
    std::vector<int> steps;
    {
        const Burst burst{platform};
        {
            const Burst inner{platform};
            queue->asyncPrompt([&] { steps.push_back(1); });
        }
        EXPECT_EQ(steps, std::vector<int>{});
    }
    EXPECT_EQ(steps, std::vector<int>{1});
}

TEST_F(BurstTest, anExceptionThatEscapesAnItemEndsNothing)
{
    std::vector<int> steps;
    {
        const Burst burst{platform};
        queue->asyncPrompt([] { throw 1; });
        queue->asyncPrompt([&] { steps.push_back(1); });
    }
    EXPECT_EQ(steps, std::vector<int>{1});
    {
        const Burst burst{platform};
        platform.atEndOfBurst([] { throw 2; });
        platform.atEndOfBurst([&] { steps.push_back(2); });
    }
    EXPECT_EQ(steps, (std::vector<int>{1, 2}));
}

TEST_F(BurstTest, aThreadThatWaitsForAStreamIsWokenAtTheEnd)
{
    std::optional<AsyncStream<int>::Continuation> producer;
    AsyncStream<int> stream{platform, [&](const auto& continuation) { producer = continuation; }};
    std::vector<int> received;
    Gate first;
    std::thread consumer{[&] {
        for (const int each : stream) {
            received.push_back(each);
            first.open();
        }
    }};
    static_cast<void>(producer->yield(1));
    first.pass();
    {
        const Burst burst{platform};
        static_cast<void>(producer->yield(2));
        static_cast<void>(producer->yield(3));
    }
    producer->finish();
    consumer.join();
    EXPECT_EQ(received, (std::vector<int>{1, 2, 3}));
}

TEST_F(BurstTest, aConsumerThatHasGivenUpIsNotWoken)
{
    std::optional<AsyncStream<int>::Continuation> producer;
    std::optional<AsyncStream<int>> stream{std::in_place, platform,
                                           [&](const auto& continuation) { producer = continuation; }};
    std::thread consumer{[&] { EXPECT_EQ(stream->waitFor(0.01), std::nullopt); }};
    consumer.join();
    {
        const Burst burst{platform};
        static_cast<void>(producer->yield(1));
        EXPECT_EQ(stream->waitFor(0.01), 1);
        stream.reset();
        producer.reset();
    }
}

TEST(BurstOnVirtualTime, changesNothing)
{
    testing::VirtualPlatform platform;
    const SerialQueueHandle queue = platform.makeQueue("virtual");
    std::vector<int> steps;
    {
        Burst burst{platform};
        queue->asyncPrompt([&] { steps.push_back(2); });
        platform.atEndOfBurst([&] { steps.push_back(1); });
        burst.run();
        burst.renew();
    }
    EXPECT_EQ(steps, std::vector<int>{1});
    platform.runUntilIdle();
    EXPECT_EQ(steps, (std::vector<int>{1, 2}));
}

} // namespace
} // namespace vexa
