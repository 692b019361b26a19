#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace vexa::testing {
namespace {

class VirtualPlatformEnd : public ::testing::Test {
protected:
    std::optional<VirtualPlatform> platform{std::in_place};
    std::shared_ptr<int> owned = std::make_shared<int>(0);

    /// Ends the platform and checks that only the test still owns the object.
    void expectAllDropped()
    {
        platform.reset();
        EXPECT_EQ(owned.use_count(), 1);
    }
};

TEST_F(VirtualPlatformEnd, dropsWhatWaits)
{
    const SerialQueueHandle kept = platform->makeQueue("kept");
    kept->async([owned = owned] { ++*owned; });
    platform->makeQueue("forgotten")->async([owned = owned] { ++*owned; });
    platform->makeQueue("delayed")->asyncAfter(5.0, [owned = owned] { ++*owned; });
    platform->execute([owned = owned] { ++*owned; });
    expectAllDropped();
    EXPECT_EQ(*owned, 0);
}

TEST_F(VirtualPlatformEnd, dropsTimersThatTheirHandlersOwnersHold)
{
    struct Client {
        std::shared_ptr<int> owned;
        std::shared_ptr<RepeatingTimer> timer;
    };
    const SerialQueueHandle queue = platform->makeQueue("timers");
    auto client = std::make_shared<Client>(Client{owned, nullptr});
    client->timer = queue->startTimer({1.0, 1.0, 0.0}, [client] {});
    client = nullptr;
    platform->clock.advance(1.5);
    expectAllDropped();
}

TEST_F(VirtualPlatformEnd, dropsAFiringThatWaits)
{
    const SerialQueueHandle queue = platform->makeQueue("timers");
    const auto timer = queue->startTimer({1.0, 1.0, 0.0}, [owned = owned] { ++*owned; });
    queue->sync([&] { platform->clock.advance(1.0); });
    expectAllDropped();
    EXPECT_EQ(*owned, 0);
}

TEST_F(VirtualPlatformEnd, destroysEachItemOnItsQueue)
{
    struct Witness {
        Witness(const SerialQueue& on, std::vector<bool>& into) : queue{on}, journal{into} {}
        ~Witness() { journal.push_back(queue.isCurrent()); }
        const SerialQueue& queue;
        std::vector<bool>& journal;
    };
    std::vector<bool> journal;
    const SerialQueueHandle queue = platform->makeQueue("owner");
    queue->async([witness = std::make_unique<Witness>(*queue, journal)] {});
    queue->asyncAfter(1.0, [witness = std::make_unique<Witness>(*queue, journal)] {});
    static_cast<void>(queue->startTimer({1.0, 1.0, 0.0}, [witness = std::make_shared<Witness>(*queue, journal)] {}));
    platform.reset();
    EXPECT_EQ(journal, (std::vector<bool>{true, true, true}));
}

TEST_F(VirtualPlatformEnd, dropsWhatTheDroppedItemsSubmit)
{
    struct Submitting {
        SerialQueueHandle queue;
        Platform& platform;
        std::shared_ptr<int> owned;
        ~Submitting()
        {
            queue->async([owned = owned] { ++*owned; });
            queue->asyncAfter(1.0, [owned = owned] { ++*owned; });
            static_cast<void>(queue->startTimer({1.0, 1.0, 0.0}, [owned = owned] { ++*owned; }));
            platform.execute([owned = owned] { ++*owned; });
        }
    };
    const SerialQueueHandle other = platform->makeQueue("other");
    platform->makeQueue("dropped")->async([submitting = std::make_unique<Submitting>(other, *platform, owned)] {});
    platform->makeQueue("delayed")->asyncAfter(1.0,
                                               [submitting = std::make_unique<Submitting>(other, *platform, owned)] {});
    expectAllDropped();
    EXPECT_EQ(*owned, 0);
}

TEST_F(VirtualPlatformEnd, aTimerMayBeCancelledAfterwards)
{
    const auto timer = platform->makeQueue("timers")->startTimer({1.0, 1.0, 0.0}, [owned = owned] {});
    expectAllDropped();
    timer->cancel();
    EXPECT_EQ(owned.use_count(), 1);
}

} // namespace
} // namespace vexa::testing
