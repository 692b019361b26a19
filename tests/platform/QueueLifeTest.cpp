#include "Gate.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace vexa {
namespace {

/// An object with a queue of its own, as the library's clients are.
struct Owner {
    explicit Owner(Platform& platform) : queue{platform.makeQueue("owned")} {}
    SerialQueueHandle queue;
    int visits = 0;
};

TEST(QueueLife, anItemMayOwnTheLastReferenceToItsQueue)
{
    SystemPlatform platform{4};
    std::atomic<int> runs{0};
    constexpr int rounds = 20000;
    for (int i = 0; i < rounds; ++i) {
        auto owner = std::make_shared<Owner>(platform);
        SerialQueue& queue = *owner->queue;
        queue.async([owner = std::move(owner), &runs] { runs += owner->queue->isCurrent() ? 1 : 0; });
    }
    while (runs < rounds) {
        std::this_thread::yield();
    }
    EXPECT_EQ(runs, rounds);
}

TEST(QueueLife, aClosureMayDropTheLastReferenceToTheQueueThatItIsRunOn)
{
    SystemPlatform platform{2};
    for (int i = 0; i < 1000; ++i) {
        auto owner = std::make_unique<Owner>(platform);
        SerialQueue& queue = *owner->queue;
        EXPECT_TRUE(queue.sync([&] {
            owner = nullptr;
            return true;
        }));
    }
}

TEST(QueueLife, threadsMayLetGoOfAQueueWhileItRuns)
{
    SystemPlatform platform{2};
    std::atomic<int> visits{0};
    for (int round = 0; round < 300; ++round) {
        auto owner = std::make_shared<Owner>(platform);
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([owner, &visits]() mutable {
                SerialQueue& queue = *owner->queue;
                queue.sync([&] { ++owner->visits; });
                queue.async([owner = std::move(owner), &visits] {
                    ++owner->visits;
                    ++visits;
                });
            });
        }
        owner = nullptr;
        for (std::thread& each : threads) {
            each.join();
        }
    }
    while (visits < 1200) {
        std::this_thread::yield();
    }
    EXPECT_EQ(visits, 1200);
}

} // namespace
} // namespace vexa
