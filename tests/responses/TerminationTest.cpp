#include "Conversation.hpp"

namespace vexa::testing {
namespace {

TEST(Termination, TellsTheFeedAndMarksTheSubscriptionRemoved)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.startAfresh();

    c.service.data({terminatingEntry("s-1", {{"score", 3}})});

    EXPECT_EQ(c.fed(), (Values{feedCall(hash, terminatingEntry("s-1", {{"score", 3}}), true)}));
    EXPECT_EQ(c.log(), (Lines{"VEXA: Removed " + hash}));
    EXPECT_EQ(c.table("removed"), setOf({hash}));
}

TEST(Termination, KeepsTheTopicAndItsRoute)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1", 10.0);

    c.service.terminate("s-1");

    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores", std::nullopt, 10.0)}}));
    EXPECT_EQ(c.table("routes"), tableOf({{"s-1", Value(hash)}}));
}

TEST(Termination, LetsTheRestOfItsBatchThrough)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.startAfresh();

    c.service.data({terminatingEntry("s-1"), entry("s-1", {{"score", 4}})});

    EXPECT_EQ(c.fed(), (Values{feedCall(hash, terminatingEntry("s-1"), true),
                               feedCall(hash, entry("s-1", {{"score", 4}}), false)}));
    EXPECT_EQ(c.log(), (Lines{"VEXA: Removed " + hash}));
}

TEST(Termination, WithholdsEveryMessageFromTheNextBatchOn)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.service.terminate("s-1");
    c.startAfresh();
    const Lines twice(2, "VEXA: Subscription for s-1 was previously removed, not notifying");

    c.service.data({entry("s-1"), entry("s-1")});
    EXPECT_EQ(c.log(), twice);
    c.service.data({terminatingEntry("s-1"), entry("s-1")});
    EXPECT_EQ(c.log(), twice);

    EXPECT_EQ(c.fed(), Values{});
    EXPECT_EQ(c.table("removed"), setOf({hash}));
}

TEST(Termination, HoldsForBatchesThatArriveTogether)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        Conversation c{seed};
        const std::string hash = c.subscribe("scores", "s-1");
        c.startAfresh();

        c.transport->deliver(dataMessage({terminatingEntry("s-1")}));
        c.transport->deliver(dataMessage({entry("s-1")}));
        c.platform.runUntilIdle();

        EXPECT_EQ(c.log(),
                  (Lines{"VEXA: Removed " + hash, "VEXA: Subscription for s-1 was previously removed, not notifying"}));
        EXPECT_EQ(c.fed(), (Values{feedCall(hash, terminatingEntry("s-1"), true)}));
    }
}

TEST(Termination, EndsItsOwnSubscriptionAlone)
{
    Conversation c;
    const std::string scores = c.subscribe("scores", "s-1");
    const std::string news = c.subscribe("news", "s-2");
    c.service.terminate("s-1");
    c.startAfresh();

    c.service.data({entry("s-2")});

    EXPECT_EQ(c.fed(), (Values{feedCall(news, entry("s-2"), false)}));
    EXPECT_EQ(c.table("removed"), setOf({scores}));
}

TEST(Termination, HoldsForEveryIdOfTheSubscription)
{
    Conversation c;
    const std::string hash = c.request("scores");
    c.request("scores");
    c.service.deliver(subscriptionResponse("O-001", {success("s-1")}));
    c.service.deliver(subscriptionResponse("O-002", {success("s-2")}));
    c.service.terminate("s-1");
    c.startAfresh();

    c.service.data({entry("s-2")});

    EXPECT_EQ(c.log(), (Lines{"VEXA: Subscription for s-2 was previously removed, not notifying"}));
    EXPECT_EQ(c.fed(), Values{});
}

TEST(Termination, IsLoggedForEachMessageThatTellsOfItInTheirOrder)
{
    Conversation c;
    const std::string scores = c.subscribe("scores", "s-1");
    const std::string news = c.subscribe("news", "s-2");
    c.startAfresh();

    c.service.data({terminatingEntry("s-2"), terminatingEntry("s-1"), terminatingEntry("s-2")});

    EXPECT_EQ(c.log(), (Lines{"VEXA: Removed " + news, "VEXA: Removed " + scores, "VEXA: Removed " + news}));
    EXPECT_EQ(c.fed(),
              (Values{feedCall(news, terminatingEntry("s-2"), true), feedCall(scores, terminatingEntry("s-1"), true),
                      feedCall(news, terminatingEntry("s-2"), true)}));
    EXPECT_EQ(c.table("removed"), setOf({scores, news}));
}

TEST(Termination, IsKeptWithoutAFeed)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.client->setMessageFeedDelegate(nullptr);
    c.startAfresh();

    c.service.terminate("s-1");

    EXPECT_EQ(c.log(), (Lines{"VEXA: Removed " + hash}));
    EXPECT_EQ(c.table("removed"), setOf({hash}));
    EXPECT_EQ(c.fed(), Values{});
}

TEST(Termination, IsUndoneByCreatingTheSubscriptionAgain)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.service.terminate("s-1");
    c.startAfresh();

    c.client->createSubscription("scores", std::nullopt, 0.0);
    c.service.data({entry("s-1")});

    EXPECT_EQ(c.table("removed"), setOf({}));
    EXPECT_EQ(c.fed(), (Values{feedCall(hash, entry("s-1"), false)}));
}

TEST(Termination, OutlastsAReconnection)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.service.terminate("s-1");
    c.service.open();
    c.service.expectSubscribe("scores").reply(success("s-2"));
    c.startAfresh();

    c.service.data({entry("s-2")});

    EXPECT_EQ(c.log(), (Lines{"VEXA: Subscription for s-2 was previously removed, not notifying"}));
    EXPECT_EQ(c.table("removed"), setOf({hash}));
    EXPECT_EQ(c.fed(), Values{});
}

TEST(Termination, OfAnUnknownSubscriptionEndsNothing)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();

    c.service.terminate("s-unknown");

    EXPECT_EQ(c.log(), Lines{});
    EXPECT_EQ(c.table("removed"), setOf({}));
}

TEST(Termination, NeedsATrueInThePayloadAndNotBesideIt)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.startAfresh();
    const Dictionary beside = with(entry("s-1", {{"isTerminating", false}}), "isTerminating", Value(true));

    c.service.data({beside});

    EXPECT_EQ(c.fed(), (Values{feedCall(hash, beside, false)}));
    EXPECT_EQ(c.table("removed"), setOf({}));
}

} // namespace
} // namespace vexa::testing
