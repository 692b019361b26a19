#include "HeldUpWorkers.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <thread>
#include <vector>

namespace vexa {
namespace {

/// Starts threads that call `work` with their number, and joins them.
template <class Work>
std::set<std::thread::id> runThreads(std::size_t count, Work&& work)
{
    std::vector<std::thread> threads;
    threads.reserve(count);
    std::set<std::thread::id> ids;
    for (std::size_t i = 0; i < count; ++i) {
        threads.emplace_back([&work, i] { work(i); });
        ids.insert(threads.back().get_id());
    }
    for (std::thread& each : threads) {
        each.join();
    }
    return ids;
}

class SyncWithoutWorkers : public ::testing::Test {
protected:
    SystemPlatform platform{2};
    HeldUpWorkers heldUp{platform, 2};
    const SerialQueueHandle queue = platform.makeQueue("contended");

    // Of the queue.
    std::size_t runs = 0;
    std::set<std::thread::id> runners;

    void note()
    {
        ++runs;
        runners.insert(std::this_thread::get_id());
    }

    /// Checks that the waiting threads did all the work.
    void expectRunBy(const std::set<std::thread::id>& callers) { EXPECT_TRUE(std::ranges::includes(callers, runners)); }
};

TEST_F(SyncWithoutWorkers, aHundredThreadsOnOneQueueAllReturn)
{
    constexpr std::size_t calls = 50;
    const auto callers = runThreads(100, [this](std::size_t) {
        for (std::size_t n = 0; n < calls; ++n) {
            queue->sync([this] { note(); });
        }
    });
    EXPECT_EQ(runs, 100 * calls);
    expectRunBy(callers);
}

TEST_F(SyncWithoutWorkers, waitingThreadsRunTheItemsInFrontOfTheirs)
{
    constexpr std::size_t rounds = 20;
    const auto callers = runThreads(50, [this](std::size_t) {
        for (std::size_t n = 0; n < rounds; ++n) {
            for (int i = 0; i < 10; ++i) {
                queue->async([this] { note(); });
            }
            queue->sync([this] { note(); });
        }
    });
    EXPECT_EQ(queue->sync([this] { return runs; }), 50 * rounds * 11);
    expectRunBy(callers);
}

TEST_F(SyncWithoutWorkers, aQueueThatWasLeftToTheWorkersIsTakenOver)
{
    for (int i = 0; i < 1000; ++i) {
        queue->async([this] { note(); });
    }
    const std::thread::id self = std::this_thread::get_id();
    EXPECT_EQ(queue->sync([this] { return runs; }), 1000U);
    EXPECT_EQ(runners, std::set<std::thread::id>{self});
}

TEST_F(SyncWithoutWorkers, whatComesBehindTheLastCallerIsLeftToTheNext)
{
    queue->sync([this] { queue->async([this] { note(); }); });
    EXPECT_EQ(queue->sync([this] { return runs; }), 1U);
}

TEST_F(SyncWithoutWorkers, threadsThatCrossTwoQueuesAllReturn)
{
    const SerialQueueHandle inner = platform.makeQueue("inner");
    runThreads(20, [&](std::size_t number) {
        for (int n = 0; n < 50; ++n) {
            if (number % 2 == 0) {
                queue->sync([&] { inner->sync([this] { note(); }); });
            } else {
                inner->sync([this] { note(); });
            }
        }
    });
    EXPECT_EQ(inner->sync([this] { return runs; }), 1000U);
}

} // namespace
} // namespace vexa
