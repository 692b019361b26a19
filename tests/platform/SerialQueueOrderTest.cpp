#include "Journal.hpp"
#include "PlatformsUnderTest.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace vexa {
namespace {

template <class Under>
class SerialQueueOrder : public OnEveryPlatform<Under> {};

TYPED_TEST_SUITE(SerialQueueOrder, PlatformsUnderTest, PlatformName);

TYPED_TEST(SerialQueueOrder, itemsRunInTheOrderInWhichTheyCame)
{
    Journal<int> journal{this->platform};
    const SerialQueueHandle queue = this->platform.makeQueue("order");
    std::vector<int> expected;
    for (int i = 0; i < 1000; ++i) {
        queue->async([&journal, i] { journal.add(i); });
        expected.push_back(i);
    }
    EXPECT_EQ(journal.await(1000), expected);
}

TYPED_TEST(SerialQueueOrder, anItemAddedByAnItemRunsBehindThoseThatWait)
{
    Journal<std::string> journal{this->platform};
    const SerialQueueHandle queue = this->platform.makeQueue("order");
    queue->sync([&] {
        queue->async([&] {
            journal.add("first");
            queue->async([&] { journal.add("added by the first"); });
        });
        queue->async([&] { journal.add("second"); });
    });
    EXPECT_EQ(journal.await(3), (std::vector<std::string>{"first", "second", "added by the first"}));
}

thread_local bool isAdding = false;

TYPED_TEST(SerialQueueOrder, anItemNeverRunsInsideTheCallThatAddsIt)
{
    Journal<bool> ranInside{this->platform};
    const auto add = [&ranInside](SerialQueue& target) {
        isAdding = true;
        target.async([&ranInside] { ranInside.add(isAdding); });
        isAdding = false;
    };
    const SerialQueueHandle one = this->platform.makeQueue("one", QueueWork::prompt);
    const SerialQueueHandle other = this->platform.makeQueue("other", QueueWork::prompt);
    add(*one);
    one->async([&] {
        add(*one);
        add(*other);
    });
    one->sync([&] { add(*one); });
    EXPECT_EQ(ranInside.await(4), std::vector<bool>(4, false));
}

TYPED_TEST(SerialQueueOrder, oneItemRunsAtATime)
{
    const SerialQueueHandle queue = this->platform.makeQueue("one at a time");
    int running = 0;
    int most = 0;
    for (int i = 0; i < 1000; ++i) {
        queue->async([&] {
            most = std::max(most, ++running);
            --running;
        });
    }
    EXPECT_EQ(queue->sync([&] { return most; }), 1);
}

TYPED_TEST(SerialQueueOrder, queuesDoNotWaitForEachOther)
{
    Journal<std::string> journal{this->platform};
    const SerialQueueHandle held = this->platform.makeQueue("held");
    const SerialQueueHandle free = this->platform.makeQueue("free");
    held->async([&] {
        free->async([&] { journal.add("free"); });
        journal.await(1);
        journal.add("held");
    });
    EXPECT_EQ(journal.await(2), (std::vector<std::string>{"free", "held"}));
    held->sync([] {});
}

TYPED_TEST(SerialQueueOrder, theQueueIsCurrentInsideItsItemsAlone)
{
    const SerialQueueHandle queue = this->platform.makeQueue("queue");
    const SerialQueueHandle other = this->platform.makeQueue("other");
    EXPECT_FALSE(queue->isCurrent());
    bool inItem = false;
    queue->async([&] { inItem = queue->isCurrent() && !other->isCurrent(); });
    const bool inSync = queue->sync([&] { return queue->isCurrent() && !other->isCurrent(); });
    EXPECT_TRUE(inItem);
    EXPECT_TRUE(inSync);
    EXPECT_TRUE(queue->sync([&] { return other->sync([&] { return queue->isCurrent() && other->isCurrent(); }); }));
    EXPECT_FALSE(queue->isCurrent());
}

TYPED_TEST(SerialQueueOrder, theQueueKeepsItsLabel)
{
    EXPECT_EQ(this->platform.makeQueue("vexaint")->label(), "vexaint");
}

} // namespace
} // namespace vexa
