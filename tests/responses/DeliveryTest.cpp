#include "Conversation.hpp"

namespace vexa::testing {
namespace {

TEST(Delivery, HandsTheWholeEntryToTheFeedUnderTheSubscriptionsHash)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.startAfresh();
    const Dictionary whole =
        boost::json::parse(R"({"subscriptionId":"s-1","payload":{"score":[1,2],"updatedAt":5},"replayed":true,
                               "requestId":"r-9","nested":{"deep":[null,true,{"a":1.5}]}})")
            .as_object();

    c.service.data({whole});

    EXPECT_EQ(c.fed(), (Values{feedCall(hash, whole, false)}));
    EXPECT_EQ(c.log(), Lines{});
}

TEST(Delivery, HandsOverTheVeryEntryOfTheBatchAndNoCopy)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    const Message batch = c.service.data({entry("s-1", {{"score", 1}}), entry("s-none"), entry("s-1")});

    const std::vector<RecordingFeed::Received> received = c.feed->take();
    const List& entries = batch->at("messages").as_array();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0].message.get(), &entries[0].as_object());
    EXPECT_EQ(received[1].message.get(), &entries[2].as_object());
}

TEST(Delivery, LetsAnEntryOutliveTheBatchThatTheServiceSent)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.service.data({entry("s-1", {{"score", 1}})});
    c.startAfresh();
    c.service.data({entry("s-1", {{"score", 2}})});

    const std::vector<RecordingFeed::Received> received = c.feed->take();
    c.client.reset();

    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(*received[0].message, entry("s-1", {{"score", 2}}));
}

TEST(Delivery, RoutesEachEntryByItsSubscriptionId)
{
    Conversation c;
    const std::string scores = c.subscribe("scores", "s-1");
    const Parameters params = boost::json::parse(R"({"league":4})");
    const std::string league = c.subscribe("scores", "s-2", 0.0, params);

    c.service.data({entry("s-2"), entry("s-1"), entry("s-2")});

    EXPECT_EQ(c.fed(), (Values{feedCall(league, entry("s-2"), false), feedCall(scores, entry("s-1"), false),
                               feedCall(league, entry("s-2"), false)}));
}

TEST(Delivery, SkipsASubscriptionThatNoResponseHasConfirmed)
{
    Conversation c;
    c.request("scores");
    const Dictionary before = c.tables();
    const double receivedAt = c.platform.clock.now();

    c.service.data({entry("s-1", {{"updatedAt", 5.0}}), terminatingEntry("s-2")});

    EXPECT_EQ(c.fed(), Values{});
    EXPECT_EQ(c.log(), Lines{});
    EXPECT_EQ(c.tables(), before);
    EXPECT_EQ(c.reports(), (Values{messageReport({{{"delivery", "online"},
                                                   {"subscriptionId", "s-1"},
                                                   {"sentAt", 0.0},
                                                   {"receivedAt", receivedAt},
                                                   {"visible", true}},
                                                  {{"delivery", "online"},
                                                   {"subscriptionId", "s-2"},
                                                   {"sentAt", 0.0},
                                                   {"receivedAt", receivedAt},
                                                   {"visible", true}}})}));
}

TEST(Delivery, SkipsASubscriptionThatIsNotCurrentWhileItIsAskedForAgain)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1", 10.0);
    c.service.open();
    c.startAfresh();
    ASSERT_EQ(c.table("routes"), tableOf({{"s-1", Value(hash)}}));

    c.service.data({entry("s-1", {{"updatedAt", 20.0}}), terminatingEntry("s-1")});

    EXPECT_EQ(c.fed(), Values{});
    EXPECT_EQ(c.log(), Lines{});
    EXPECT_EQ(c.table("pending"), tableOf({{"O-002", listValue({topic("scores", std::nullopt, 10.0)})}}));
    EXPECT_EQ(c.table("removed"), setOf({}));
}

TEST(Delivery, GoesOnUnderTheOldIdAndTheNewOneAfterAReconnection)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.service.open();
    c.service.expectSubscribe("scores").reply(success("s-2"));

    c.service.data({entry("s-1"), entry("s-2")});

    EXPECT_EQ(c.fed(), (Values{feedCall(hash, entry("s-1"), false), feedCall(hash, entry("s-2"), false)}));
}

TEST(Delivery, WithholdsWhatIsMeantForARemovedSubscriptionWithOneLineEach)
{
    Conversation c;
    const std::string scores = c.subscribe("scores", "s-1");
    const std::string news = c.subscribe("news", "s-2");
    c.client->removeSubscription(scores);
    c.startAfresh();

    c.service.data({entry("s-1"), entry("s-2"), entry("s-1")});

    EXPECT_EQ(c.log(), (Lines{"VEXA: Subscription for s-1 was previously removed, not notifying",
                              "VEXA: Subscription for s-1 was previously removed, not notifying"}));
    EXPECT_EQ(c.fed(), (Values{feedCall(news, entry("s-2"), false)}));
}

TEST(Delivery, FlowsAgainWhenARemovedSubscriptionIsCreatedAgain)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.client->removeSubscription(hash);
    c.startAfresh();

    c.client->createSubscription("scores", std::nullopt, 0.0);
    c.service.data({entry("s-1")});

    EXPECT_EQ(c.fed(), (Values{feedCall(hash, entry("s-1"), false)}));
    c.service.expectNothingSent();
}

TEST(Delivery, OfAnEmptyBatchCallsNothing)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();

    c.service.data({});

    EXPECT_EQ(c.fed(), Values{});
    EXPECT_EQ(c.log(), Lines{});
    EXPECT_EQ(c.reports(), (Values{messageReport({})}));
}

TEST(Delivery, WithoutAFeedStillRaisesTheTimeAndReports)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.client->setMessageFeedDelegate(nullptr);
    c.startAfresh();
    const double receivedAt = c.platform.clock.now();

    c.service.data({entry("s-1", {{"updatedAt", 20.0}})});

    EXPECT_EQ(c.fed(), Values{});
    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores", std::nullopt, 20.0)}}));
    EXPECT_EQ(c.reports(), (Values{messageReport({{{"delivery", "online"},
                                                   {"subscriptionId", "s-1"},
                                                   {"sentAt", 0.0},
                                                   {"receivedAt", receivedAt},
                                                   {"visible", true},
                                                   {"topic", topic("scores", std::nullopt, 20.0)}}})}));
}

TEST(Delivery, DoesNotMindAClientThatNeverHadAFeed)
{
    Conversation c;
    c.client = VexaOruClient::make(c.platform, c.container);
    const std::string hash = c.subscribe("scores", "s-1");
    c.startAfresh();

    c.service.data({terminatingEntry("s-1")});

    EXPECT_EQ(c.log(), (Lines{"VEXA: Removed " + hash}));
    EXPECT_EQ(c.fed(), Values{});
    EXPECT_EQ(c.reports().size(), 1U);
}

} // namespace
} // namespace vexa::testing
