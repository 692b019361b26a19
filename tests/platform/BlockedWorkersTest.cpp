#include "Gate.hpp"
#include "Journal.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

namespace vexa {
namespace {

/// How many threads the process has.
std::ptrdiff_t threadsOfProcess()
{
    using Tasks = std::filesystem::directory_iterator;
    return std::distance(Tasks{"/proc/self/task"}, Tasks{});
}

class BlockedWorkers : public ::testing::TestWithParam<std::size_t> {
protected:
    SystemPlatform platform{GetParam()};
    Journal<std::string> journal{platform};
    Gate gate;
};

TEST_P(BlockedWorkers, aQueueMadeReadyByAnItemThatThenBlocksRuns)
{
    const SerialQueueHandle blocked = platform.makeQueue("blocked", QueueWork::mayBlock);
    const SerialQueueHandle other = platform.makeQueue("other");
    blocked->async([&] {
        other->async([&] { gate.open(); });
        gate.pass();
        journal.add("returned");
    });
    EXPECT_EQ(journal.await(1), std::vector<std::string>{"returned"});
    blocked->sync([] {});
}

TEST_P(BlockedWorkers, aQueueMadeReadyByAPromptItemThatThenCallsTheHostRuns)
{
    const SerialQueueHandle prompt = platform.makeQueue("prompt", QueueWork::prompt);
    const SerialQueueHandle other = platform.makeQueue("other", QueueWork::prompt);
    prompt->async([&] {
        other->async([&] { gate.open(); });
        callHost(platform, "the host", [&] { gate.pass(); });
        journal.add("returned");
    });
    EXPECT_EQ(journal.await(1), std::vector<std::string>{"returned"});
    prompt->sync([] {});
}

TEST_P(BlockedWorkers, aQueueMadeReadyInsideTheHostsCodeRuns)
{
    const SerialQueueHandle prompt = platform.makeQueue("prompt", QueueWork::prompt);
    const SerialQueueHandle other = platform.makeQueue("other", QueueWork::prompt);
    prompt->async([&] {
        callHost(platform, "the host", [&] {
            other->async([&] { gate.open(); });
            gate.pass();
        });
        journal.add("returned");
    });
    EXPECT_EQ(journal.await(1), std::vector<std::string>{"returned"});
    prompt->sync([] {});
}

TEST_P(BlockedWorkers, aQueueMadeReadyByAPromptItemThatThenWaitsForAnotherQueueRuns)
{
    const SerialQueueHandle held = platform.makeQueue("held");
    const SerialQueueHandle prompt = platform.makeQueue("prompt", QueueWork::prompt);
    const SerialQueueHandle other = platform.makeQueue("other", QueueWork::prompt);
    Gate heldUp;
    held->async([&] {
        heldUp.pass();
        gate.pass();
    });
    heldUp.awaitArrivals(1);
    prompt->async([&] {
        other->async([&] { gate.open(); });
        heldUp.open();
        held->sync([] {});
        journal.add("returned");
    });
    EXPECT_EQ(journal.await(1), std::vector<std::string>{"returned"});
    prompt->sync([] {});
}

TEST_P(BlockedWorkers, aWorkerIsAddedWhenAllAreHeldUp)
{
    for (std::size_t i = 0; i < GetParam(); ++i) {
        platform.makeQueue("blocked")->async([&] {
            gate.pass();
            journal.add("returned");
        });
    }
    gate.awaitArrivals(GetParam());
    platform.makeQueue("other")->async([&] { journal.add("ran meanwhile"); });
    EXPECT_EQ(journal.await(1), std::vector<std::string>{"ran meanwhile"});
    gate.open();
    journal.await(GetParam() + 1);
}

TEST_P(BlockedWorkers, workersAreAddedAsLongAsTheAddedOnesAreHeldUpToo)
{
    constexpr std::size_t depth = 10;
    std::function<void(std::size_t)> block = [&](std::size_t level) {
        if (level == depth) {
            gate.open();
        } else {
            platform.execute([&, level] { block(level + 1); });
            gate.pass();
        }
        journal.add("returned");
    };
    platform.execute([&] { block(0); });
    EXPECT_EQ(journal.await(depth + 1).size(), depth + 1);
}

TEST_P(BlockedWorkers, timeGoesOnWhileAllAreHeldUp)
{
    for (std::size_t i = 0; i < GetParam(); ++i) {
        platform.execute([&] {
            gate.pass();
            journal.add("returned");
        });
    }
    gate.awaitArrivals(GetParam());
    const SerialQueueHandle queue = platform.makeQueue("delayed");
    queue->asyncAfter(0.001, [&] { gate.open(); });
    EXPECT_EQ(journal.await(GetParam()).size(), GetParam());
    queue->sync([] {});
}

TEST_P(BlockedWorkers, anAddedWorkerLeavesWhenItHasNothingToDo)
{
    journal.pause(0.0);
    const std::ptrdiff_t before = threadsOfProcess();
    for (std::size_t i = 0; i < GetParam() + 3; ++i) {
        platform.execute([&] {
            gate.pass();
            journal.add("returned");
        });
    }
    gate.awaitArrivals(GetParam() + 3);
    EXPECT_EQ(threadsOfProcess(), before + 3);
    gate.open();
    journal.await(GetParam() + 3);
    while (threadsOfProcess() > before) {
        journal.pause(0.01);
    }
    platform.execute([&] { journal.add("still at work"); });
    EXPECT_EQ(journal.await(GetParam() + 4).back(), "still at work");
}

INSTANTIATE_TEST_SUITE_P(Workers, BlockedWorkers, ::testing::Values<std::size_t>(1, 2, 4));

} // namespace
} // namespace vexa
