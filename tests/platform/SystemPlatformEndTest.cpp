#include "Gate.hpp"
#include "Journal.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace vexa {
namespace {

/// Counts how many of its kind live.
class Counted {
public:
    explicit Counted(std::atomic<int>& living) : living_{living} { ++living_; }
    ~Counted() { --living_; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

private:
    std::atomic<int>& living_;
};

class SystemPlatformEnd : public ::testing::Test {
protected:
    std::atomic<int> living{0};
    std::optional<SystemPlatform> platform{std::in_place, 2};

    std::shared_ptr<Counted> counted() { return std::make_shared<Counted>(living); }
};

TEST_F(SystemPlatformEnd, dropsDelayedItems)
{
    for (int i = 0; i < 100; ++i) {
        platform->makeQueue("delayed")->asyncAfter(60.0, [owned = counted()] {});
    }
    EXPECT_EQ(living, 100);
    platform.reset();
    EXPECT_EQ(living, 0);
}

TEST_F(SystemPlatformEnd, dropsTimers)
{
    Journal<int> fired{*platform};
    for (const double interval : {0.001, 60.0}) {
        const SerialQueueHandle queue = platform->makeQueue("timers");
        static_cast<void>(queue->startTimer({interval, interval, 0.0}, [&, owned = counted()] { fired.add(1); }));
    }
    fired.await(3);
    platform.reset();
    EXPECT_EQ(living, 0);
}

TEST_F(SystemPlatformEnd, dropsATimerThatItsHandlersOwnerHolds)
{
    struct Client {
        explicit Client(std::shared_ptr<Counted> owned) : counted{std::move(owned)} {}
        std::shared_ptr<Counted> counted;
        std::shared_ptr<RepeatingTimer> timer;
    };
    const SerialQueueHandle queue = platform->makeQueue("timers");
    auto client = std::make_shared<Client>(counted());
    queue->sync([&] { client->timer = queue->startTimer({60.0, 60.0, 0.0}, [client] {}); });
    client = nullptr;
    platform.reset();
    EXPECT_EQ(living, 0);
}

TEST_F(SystemPlatformEnd, leavesNothingOfTheItemsBehindOneThatRuns)
{
    auto gate = std::make_shared<Gate>();
    SerialQueueHandle queue = platform->makeQueue("busy");
    queue->async([gate] { gate->pass(); });
    gate->awaitArrivals(1);
    for (int i = 0; i < 10'000; ++i) {
        queue->async([owned = counted()] {});
    }
    queue = nullptr;
    std::thread opener{[gate] { gate->open(); }};
    platform.reset();
    opener.join();
    EXPECT_EQ(living, 0);
}

TEST_F(SystemPlatformEnd, waitsForTheItemThatRuns)
{
    std::atomic<bool> hasReturned{false};
    Gate ending;
    SerialQueueHandle queue = platform->makeQueue("busy");
    queue->async([&] {
        ending.pass();
        hasReturned = true;
    });
    queue = nullptr;
    ending.awaitArrivals(1);
    std::thread opener{[&] { ending.open(); }};
    platform.reset();
    EXPECT_TRUE(hasReturned);
    opener.join();
}

TEST_F(SystemPlatformEnd, dropsWhatTheDroppedItemsSubmit)
{
    struct Submitting {
        SerialQueueHandle queue;
        std::shared_ptr<Counted> counted;
        ~Submitting()
        {
            queue->async([owned = counted] {});
            queue->asyncAfter(1.0, [owned = counted] {});
        }
    };
    for (int i = 0; i < 10; ++i) {
        SerialQueueHandle queue = platform->makeQueue("dropped");
        SerialQueueHandle other = platform->makeQueue("other");
        queue->asyncAfter(60.0, [owned = std::make_shared<Submitting>(other, counted())] {});
    }
    platform.reset();
    EXPECT_EQ(living, 0);
}

TEST_F(SystemPlatformEnd, mayComeWhileWorkersAreBeingAdded)
{
    for (int round = 0; round < 20; ++round) {
        auto gate = std::make_shared<Gate>();
        for (int i = 0; i < 6; ++i) {
            platform->execute([gate, owned = counted()] { gate->pass(); });
        }
        gate->awaitArrivals(static_cast<std::size_t>(2 + round % 3));
        gate->open();
        platform.emplace(std::size_t{2});
        EXPECT_EQ(living, 0);
    }
}

TEST_F(SystemPlatformEnd, mayComeBeforeAnythingWasAsked)
{
    for (int round = 0; round < 100; ++round) {
        platform.emplace(std::size_t{2});
    }
    EXPECT_EQ(platform->makeQueue("alive")->sync([] { return 1; }), 1);
}

} // namespace
} // namespace vexa
