#include "Journal.hpp"
#include "PlatformsUnderTest.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace vexa {
namespace {

/// What the conversions between seconds and ticks of a clock may lose.
constexpr double rounding = 1e-6;

template <class Under>
class DelayedItems : public OnEveryPlatform<Under> {};

TYPED_TEST_SUITE(DelayedItems, PlatformsUnderTest, PlatformName);

TYPED_TEST(DelayedItems, anItemRunsNoSoonerThanItsDelay)
{
    Journal<double> ranAt{this->platform};
    const SerialQueueHandle queue = this->platform.makeQueue("delayed");
    const double before = this->platform.monotonicNow();
    queue->asyncAfter(0.02, [&] { ranAt.add(this->platform.monotonicNow()); });
    EXPECT_GE(ranAt.await(1).front(), before + 0.02 - rounding);
}

TYPED_TEST(DelayedItems, whatIsDueEarlierRunsEarlier)
{
    const SerialQueueHandle queue = this->platform.makeQueue("delayed");
    for (;;) {
        Journal<std::string> journal{this->platform};
        const double before = this->platform.monotonicNow();
        queue->asyncAfter(0.03, [&] { journal.add("later"); });
        queue->asyncAfter(0.01, [&] { journal.add("earlier"); });
        const double callsTook = this->platform.monotonicNow() - before;
        const std::vector<std::string> order = journal.await(2);
        queue->sync([] {});
        // On a busy machine the second call may come so late that its item is due later.
        if (callsTook < 0.01) {
            EXPECT_EQ(order, (std::vector<std::string>{"earlier", "later"}));
            return;
        }
    }
}

TYPED_TEST(DelayedItems, itemsOfOneDelayRunInTheOrderOfTheCalls)
{
    Journal<int> journal{this->platform};
    const SerialQueueHandle queue = this->platform.makeQueue("delayed");
    std::vector<int> expected;
    for (int i = 0; i < 1000; ++i) {
        queue->asyncAfter(0.002, [&journal, i] { journal.add(i); });
        expected.push_back(i);
    }
    EXPECT_EQ(journal.await(1000), expected);
    queue->sync([] {});
}

TYPED_TEST(DelayedItems, noDelayMeansAtOnceBehindTheItemsThatWait)
{
    Journal<int> journal{this->platform};
    const SerialQueueHandle queue = this->platform.makeQueue("delayed");
    queue->sync([&] {
        queue->async([&] { journal.add(1); });
        queue->asyncAfter(0.0, [&] { journal.add(2); });
        queue->asyncAfter(-5.0, [&] { journal.add(3); });
        queue->asyncAfter(std::numeric_limits<double>::quiet_NaN(), [&] { journal.add(4); });
        queue->asyncAfter(-std::numeric_limits<double>::infinity(), [&] { journal.add(5); });
        queue->async([&] { journal.add(6); });
    });
    EXPECT_EQ(journal.await(6), (std::vector<int>{1, 2, 3, 4, 5, 6}));
    queue->sync([] {});
}

TYPED_TEST(DelayedItems, aDelayBeyondAllMeasureIsTaken)
{
    Journal<std::string> journal{this->platform};
    const SerialQueueHandle queue = this->platform.makeQueue("delayed");
    queue->asyncAfter(std::numeric_limits<double>::infinity(), [&] { journal.add("never"); });
    queue->asyncAfter(std::numeric_limits<double>::max(), [&] { journal.add("never"); });
    queue->asyncAfter(0.001, [&] { journal.add("soon"); });
    EXPECT_EQ(journal.await(1), std::vector<std::string>{"soon"});
    queue->sync([] {});
}

TYPED_TEST(DelayedItems, aDelayedItemWaitsItsTurnInTheQueue)
{
    Journal<std::string> journal{this->platform};
    const SerialQueueHandle queue = this->platform.makeQueue("delayed");
    queue->async([&] {
        queue->asyncAfter(0.001, [&] { journal.add("delayed"); });
        journal.pause(0.02);
        journal.add("running");
    });
    EXPECT_EQ(journal.await(2), (std::vector<std::string>{"running", "delayed"}));
    queue->sync([] {});
}

TYPED_TEST(DelayedItems, aChainOfDelaysGoesOn)
{
    Journal<int> journal{this->platform};
    const SerialQueueHandle queue = this->platform.makeQueue("delayed");
    struct Chain {
        SerialQueue& queue;
        Journal<int>& journal;

        void link(int n)
        {
            journal.add(n);
            if (n < 20) {
                queue.asyncAfter(0.001, [*this, n]() mutable { link(n + 1); });
            }
        }
    };
    queue->async([&] { Chain{*queue, journal}.link(1); });
    EXPECT_EQ(journal.await(20).back(), 20);
    queue->sync([] {});
}

} // namespace
} // namespace vexa
