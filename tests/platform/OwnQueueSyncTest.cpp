#include "Journal.hpp"
#include "PlatformsUnderTest.hpp"

#include <gtest/gtest.h>

namespace vexa {
namespace {

/// Each statement makes a platform of its own, since the process that dies must be the one that owns its threads.
template <class Under>
class OwnQueueSync : public ::testing::Test {
protected:
    OwnQueueSync() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static constexpr auto message = "VEXA: synchronous work for the queue \"scores\" was submitted from that queue "
                                    "itself, which can never end";
};

TYPED_TEST_SUITE(OwnQueueSync, PlatformsUnderTest, PlatformName);

template <class Under>
void syncInsideSync()
{
    Under under;
    const SerialQueueHandle queue = under.platform.makeQueue("scores");
    queue->sync([&] { queue->sync([] {}); });
}

template <class Under>
void syncInsideAnItem()
{
    Under under;
    Journal<bool> returned{under.platform};
    const SerialQueueHandle queue = under.platform.makeQueue("scores");
    queue->async([&] {
        queue->sync([] {});
        returned.add(true);
    });
    returned.await(1);
}

template <class Under>
void syncThroughAnotherQueue()
{
    Under under;
    const SerialQueueHandle queue = under.platform.makeQueue("scores");
    const SerialQueueHandle other = under.platform.makeQueue("other");
    queue->sync([&] { other->sync([&] { queue->sync([] {}); }); });
}

template <class Under>
void syncInsideAnItemThatAWaitingThreadRuns()
{
    Under under;
    const SerialQueueHandle queue = under.platform.makeQueue("scores");
    const SerialQueueHandle other = under.platform.makeQueue("other");
    other->async([&] { queue->sync([] {}); });
    queue->sync([&] { other->sync([] {}); });
}

TYPED_TEST(OwnQueueSync, stopsTheProcessInsideSync)
{
    EXPECT_DEATH(syncInsideSync<TypeParam>(), this->message);
}

TYPED_TEST(OwnQueueSync, stopsTheProcessInsideAnItem)
{
    EXPECT_DEATH(syncInsideAnItem<TypeParam>(), this->message);
}

TYPED_TEST(OwnQueueSync, stopsTheProcessThroughAnotherQueue)
{
    EXPECT_DEATH(syncThroughAnotherQueue<TypeParam>(), this->message);
}

TEST(OwnQueueSyncOnOneThread, stopsTheProcessInAnItemThatASyncRunsFirst)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(syncInsideAnItemThatAWaitingThreadRuns<OnVirtualPlatform>(),
                 "VEXA: synchronous work for the queue \"scores\" was submitted from that queue itself");
}

} // namespace
} // namespace vexa
