#include "Journal.hpp"
#include "PlatformsUnderTest.hpp"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vexa {
namespace {

/// Notes, when it is destroyed, whether that happens on a queue.
class Witness {
public:
    Witness(const SerialQueue& queue, Journal<bool>& journal) : queue_{queue}, journal_{journal} {}
    ~Witness() { journal_.add(queue_.isCurrent()); }
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;

private:
    const SerialQueue& queue_;
    Journal<bool>& journal_;
};

template <class Under>
class WorkItemLife : public OnEveryPlatform<Under> {};

TYPED_TEST_SUITE(WorkItemLife, PlatformsUnderTest, PlatformName);

TYPED_TEST(WorkItemLife, whatAnItemOwnsIsDestroyedOnTheQueue)
{
    const SerialQueueHandle queue = this->platform.makeQueue("owner");
    Journal<bool> onQueue{this->platform};
    queue->async([witness = std::make_unique<Witness>(*queue, onQueue)] {});
    EXPECT_EQ(onQueue.await(1), std::vector<bool>{true});
}

TYPED_TEST(WorkItemLife, whatAnItemOwnsIsDestroyedOnTheQueueWhenItThrows)
{
    const SerialQueueHandle queue = this->platform.makeQueue("owner");
    Journal<bool> onQueue{this->platform};
    queue->async([witness = std::make_unique<Witness>(*queue, onQueue)] { throw std::runtime_error{"thrown"}; });
    EXPECT_EQ(onQueue.await(1), std::vector<bool>{true});
    queue->sync([] {});
}

TYPED_TEST(WorkItemLife, whatADelayedItemOwnsIsDestroyedOnTheQueue)
{
    const SerialQueueHandle queue = this->platform.makeQueue("owner");
    Journal<bool> onQueue{this->platform};
    queue->asyncAfter(0.001, [witness = std::make_unique<Witness>(*queue, onQueue)] {});
    EXPECT_EQ(onQueue.await(1), std::vector<bool>{true});
}

TYPED_TEST(WorkItemLife, whatAnItemOwnsIsDestroyedBeforeTheNextItemRuns)
{
    const SerialQueueHandle queue = this->platform.makeQueue("owner");
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = owned;
    queue->async([owned = std::move(owned)] {});
    EXPECT_TRUE(queue->sync([&] { return watched.expired(); }));
}

TYPED_TEST(WorkItemLife, anEscapedExceptionIsLoggedAndTheQueueGoesOn)
{
    const SerialQueueHandle queue = this->platform.makeQueue("scores");
    queue->async([] { throw std::runtime_error{"no such\nthing"}; });
    queue->async([] { throw 1; });
    EXPECT_EQ(queue->sync([] { return 3; }), 3);
    EXPECT_EQ(this->under.logLines(),
              (std::vector<std::string>{
                  "VEXA: a work item of the queue \"scores\" threw: no such\\nthing",
                  "VEXA: a work item of the queue \"scores\" threw something that is no std::exception"}));
}

TYPED_TEST(WorkItemLife, aQueueLivesUntilItsLastItemHasRun)
{
    Journal<int> journal{this->platform};
    SerialQueueHandle queue = this->platform.makeQueue("forgotten");
    for (int i = 0; i < 100; ++i) {
        queue->async([&journal, i] { journal.add(i); });
    }
    queue->asyncAfter(0.001, [&journal] { journal.add(100); });
    queue = nullptr;
    EXPECT_EQ(journal.await(101).back(), 100);
}

TYPED_TEST(WorkItemLife, aLargeClosureIsKeptWhole)
{
    std::array<int, 1000> numbers{};
    numbers.back() = 5;
    const SerialQueueHandle queue = this->platform.makeQueue("large");
    int seen = 0;
    queue->async([numbers, &seen] { seen = numbers.back(); });
    EXPECT_EQ(queue->sync([&] { return seen; }), 5);
}

TYPED_TEST(WorkItemLife, anExecutedClosureRunsApartFromEveryQueue)
{
    Journal<bool> onQueue{this->platform};
    const SerialQueueHandle queue = this->platform.makeQueue("apart");
    queue->sync([&] { this->platform.execute([&] { onQueue.add(queue->isCurrent()); }); });
    EXPECT_EQ(onQueue.await(1), std::vector<bool>{false});
}

TYPED_TEST(WorkItemLife, whatEscapesAnExecutedClosureIsLogged)
{
    this->platform.execute([] { throw std::runtime_error{"thrown"}; });
    EXPECT_EQ(this->under.awaitLogLines(1),
              std::vector<std::string>{"VEXA: a closure given to the platform threw: thrown"});
}

} // namespace
} // namespace vexa
