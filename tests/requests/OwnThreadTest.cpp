#include "ClientUnderTest.hpp"

#include <gtest/gtest.h>

namespace vexa::testing {

namespace {

TEST(OwnQueueDeathTest, CreatingASubscriptionFromTheStateQueueStopsTheProcessAndNamesTheQueue)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ClientUnderTest under;
    under.hooks->onCall = [&under](Operation operation) {
        if (operation == Operation::send) {
            under.client->createSubscription("news", std::nullopt, 0.0);
        }
    };

    EXPECT_DEATH(under.subscribe("scores"), "^VEXA: synchronous work for the queue \"vexaint\" was submitted from that "
                                            "queue itself, which can never end\n");
}

TEST(OwnQueueDeathTest, CreatingASubscriptionInsideAnotherCreationStopsTheProcessAndNamesTheQueue)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ClientUnderTest under;
    under.hooks->onCall = [&under](Operation operation) {
        if (operation == Operation::addCategoryListener) {
            under.client->createSubscription("news", std::nullopt, 0.0);
        }
    };

    EXPECT_DEATH(under.client->createSubscription("scores", std::nullopt, 0.0), "\"vexaint\"");
}

TEST(OwnQueue, AllowsEveryOtherOperationOfTheClient)
{
    ClientUnderTest under;
    std::string hash;
    under.hooks->onCall = [&under, &hash](Operation operation) {
        if (operation == Operation::send) {
            hash = under.client->subscriptionHash("news", std::nullopt);
            under.client->removeSubscription(hash);
            under.client->setMessageFeedDelegate(nullptr);
            under.client->connectionClosed();
            under.client->messageListenerRemoved(1);
        }
    };
    under.subscribe("scores");

    EXPECT_EQ(under.client->state().removedSubscriptions, TextSet{hash});
    EXPECT_EQ(hash, under.client->subscriptionHash("news", std::nullopt));
}

TEST(NewTopic, IsRequestedByAnItemOfItsOwnAfterItsCreationHasReturned)
{
    for (const std::uint64_t seed : seeds(10)) {
        SCOPED_TRACE(replayHint(seed));
        ClientUnderTest under{seed};
        const std::string hash = under.client->createSubscription("scores", std::nullopt, 0.0);

        EXPECT_EQ(under.transport->calls(),
                  (std::vector<Operation>{Operation::addCategoryListener, Operation::addConnectionListener}));
        EXPECT_EQ(under.platform.takeLogLines(),
                  (Lines{"VEXA: Creating subscription scores", "VEXA: Subscription hash - " + hash,
                         "VEXA: Registered message listener Optional(1)",
                         "VEXA: Registered connection listener Optional(2)"}));
        EXPECT_FALSE(under.platform.isIdle());

        EXPECT_TRUE(under.platform.runOne());
        EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: Sending subscription request with O-001",
                                                        sendingLine(subscribeRequest("O-001", {topic("scores")}))}));
        EXPECT_TRUE(under.platform.isIdle());
    }
}

TEST(NewTopic, IsRequestedBehindWhatWaitedBefore)
{
    for (const std::uint64_t seed : seeds(10)) {
        SCOPED_TRACE(replayHint(seed));
        ClientUnderTest under{seed};
        under.subscribe("scores");
        under.platform.takeLogLines();

        under.client->removeSubscription("h");
        const std::string hash = under.client->createSubscription("news", std::nullopt, 0.0);
        under.platform.runUntilIdle();

        EXPECT_EQ(under.platform.takeLogLines(),
                  (Lines{"VEXA: Removed h", "VEXA: Creating subscription news", "VEXA: Subscription hash - " + hash,
                         "VEXA: Sending subscription request with O-002",
                         sendingLine(subscribeRequest("O-002", {topic("news")}))}));
    }
}

} // namespace

} // namespace vexa::testing
