#include "ClientUnderTest.hpp"
#include <testing/RecordingFeed.hpp>

#include <gtest/gtest.h>

namespace vexa::testing {

namespace {

Value listOfTexts(const std::set<std::string>& texts)
{
    return Value(List(texts.begin(), texts.end()));
}

TEST(RemoveSubscription, ReturnsAtOnceAndMarksTheHashLater)
{
    ClientUnderTest under;

    under.client->removeSubscription("h");
    EXPECT_EQ(under.platform.takeLogLines(), Lines{});
    under.platform.runUntilIdle();

    EXPECT_EQ(under.platform.takeLogLines(), Lines{"VEXA: Removed h"});
    EXPECT_EQ(under.tables().at("removedSubscriptions"), json(R"(["h"])"));
}

TEST(RemoveSubscription, JustMarksAHashThatIsNotKnown)
{
    ClientUnderTest under;
    under.client->removeSubscription("of no topic");
    under.client->removeSubscription("of no topic");
    under.platform.runUntilIdle();

    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: Removed of no topic", "VEXA: Removed of no topic"}));
    EXPECT_EQ(under.tables(), tablesWith(json(R"({"removedSubscriptions": ["of no topic"]})").get_object()));
    EXPECT_EQ(under.transport->calls(), std::vector<Operation>{});
}

TEST(RemoveSubscription, LeavesACurrentTopicCurrentAndTellsTheServiceNothing)
{
    ClientUnderTest under;
    const std::string hash = under.confirm("scores", "s-1");
    Value expected = under.tables();
    expected.get_object()["removedSubscriptions"] = listOfTexts({hash});
    under.forgetThePast();

    under.client->removeSubscription(hash);
    under.platform.runUntilIdle();

    EXPECT_EQ(under.tables(), expected);
    EXPECT_EQ(under.takeSent(), listOf({}));
}

TEST(RemoveSubscription, LeavesAPendingTopicPending)
{
    ClientUnderTest under;
    const std::string hash = under.subscribe("scores");
    Value expected = under.tables();
    expected.get_object()["removedSubscriptions"] = listOfTexts({hash});

    under.client->removeSubscription(hash);
    under.platform.runUntilIdle();
    EXPECT_EQ(under.tables(), expected);
}

TEST(RemoveSubscription, StopsTheMessagesUntilTheTopicIsCreatedAgain)
{
    ClientUnderTest under;
    const auto feed = std::make_shared<RecordingFeed>();
    under.client->setMessageFeedDelegate(feed);
    const std::string hash = under.confirm("scores", "s-1");
    under.client->removeSubscription(hash);
    under.service.data({entry("s-1", {{"score", 1}})});
    EXPECT_EQ(feed->take().size(), 0U);
    under.forgetThePast();

    EXPECT_EQ(under.subscribe("scores"), hash);
    EXPECT_EQ(under.takeSent(), listOf({}));
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription scores", "VEXA: Subscription hash - " + hash,
                     "VEXA: Found existing topic", "VEXA: Returning " + hash}));
    EXPECT_EQ(under.tables().at("removedSubscriptions"), json("[]"));

    under.service.data({entry("s-1", {{"score", 2}})});
    const auto received = feed->take();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].hash, hash);
    EXPECT_EQ(Value(*received[0].message), json(R"({"subscriptionId": "s-1", "payload": {"score": 2}})"));
}

TEST(RemoveSubscription, IsUndoneByCreatingAPendingTopicAgain)
{
    ClientUnderTest under;
    const std::string hash = under.subscribe("scores");
    under.client->removeSubscription(hash);
    under.subscribe("scores");

    EXPECT_EQ(under.tables().at("removedSubscriptions"), json("[]"));
}

TEST(RemoveSubscription, IsNotUndoneByCreatingAnotherTopic)
{
    ClientUnderTest under;
    const std::string hash = under.confirm("scores", "s-1");
    under.client->removeSubscription(hash);
    under.subscribe("news");

    EXPECT_EQ(under.tables().at("removedSubscriptions"), listOfTexts({hash}));
}

TEST(RemoveSubscription, IsNotUndoneByALateConfirmation)
{
    ClientUnderTest under;
    const std::string hash = under.subscribe("scores");
    under.client->removeSubscription(hash);
    under.service.expectSubscribe("scores").reply(success("s-1"));

    EXPECT_EQ(under.tables().at("removedSubscriptions"), listOfTexts({hash}));
    EXPECT_EQ(under.tables().at("currentSubscriptions").at(hash), json(R"({"name": "scores"})"));
}

TEST(RemoveSubscription, TakesEffectInTheOrderOfTheCalls)
{
    for (const std::uint64_t seed : seeds(10)) {
        SCOPED_TRACE(replayHint(seed));
        ClientUnderTest under{seed};
        const std::string hash = under.client->createSubscription("scores", std::nullopt, 0.0);
        under.client->removeSubscription(hash);
        under.client->createSubscription("scores", std::nullopt, 0.0);
        EXPECT_EQ(under.tables().at("removedSubscriptions"), json("[]"));
        under.client->removeSubscription(hash);
        EXPECT_EQ(under.tables().at("removedSubscriptions"), listOfTexts({hash}));
    }
}

} // namespace

} // namespace vexa::testing
