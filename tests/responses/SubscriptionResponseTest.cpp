#include "Conversation.hpp"

namespace vexa::testing {
namespace {

const Lines missingOperationId{"VEXA: missing 'operationId' in subscription response"};
const Lines missingTopics{"VEXA: missing 'topics' in subscription response"};

Lines noPendingTopics(const std::string& operationId)
{
    return {"VEXA: no pending topics for " + operationId + ", most likely connectionOpened function was called."};
}

TEST(SubscriptionResponse, MakesASuccessfulTopicCurrent)
{
    Conversation c;
    const Parameters params = boost::json::parse(R"({"league":4})");
    const std::string hash = c.request("scores", 1700000000.25, params);
    const double sentAt = c.platform.clock.now();
    c.platform.clock.advance(1.0);

    c.service.expectSubscribe("scores").reply(success("s-1"));

    EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                              "VEXA: Processing responses for O-001",
                              "VEXA: Subscription response: TopicHash: " + hash + ", SubId: s-1"}));
    EXPECT_EQ(c.tables(), (Dictionary{{"pending", tableOf({})},
                                      {"current", tableOf({{hash, topic("scores", params, 1700000000.25)}})},
                                      {"removed", setOf({})},
                                      {"routes", tableOf({{"s-1", Value(hash)}})},
                                      {"reported", setOf({})},
                                      {"pendingSubTime", sentAt},
                                      {"retryCount", 0}}));
}

TEST(SubscriptionResponse, MatchesEntriesToTopicsByPositionAlone)
{
    Conversation c;
    const std::string operationId = c.requestTogether({"scores", "news"});
    const Dictionary named = with(success("s-1"), "name", Value("news"));
    const Dictionary hashed = with(success("s-2"), "hash", Value(c.hash("scores")));

    c.service.deliver(subscriptionResponse(operationId, {named, hashed}));

    EXPECT_EQ(c.table("routes"), tableOf({{"s-1", Value(c.hash("scores"))}, {"s-2", Value(c.hash("news"))}}));
}

TEST(SubscriptionResponse, LogsEachSuccessInTheOrderOfTheRequest)
{
    Conversation c;
    const std::string operationId = c.requestTogether({"scores", "news", "weather", "traffic"});

    c.service.deliver(
        subscriptionResponse(operationId, {success("s-1"), failure(), successWithoutId(), success("s-4")}));

    EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                              "VEXA: Processing responses for O-005",
                              "VEXA: Subscription response: TopicHash: " + c.hash("scores") + ", SubId: s-1",
                              "VEXA: Subscription response: TopicHash: " + c.hash("traffic") + ", SubId: s-4"}));
    EXPECT_EQ(c.table("current"),
              tableOf({{c.hash("scores"), topic("scores")}, {c.hash("traffic"), topic("traffic")}}));
    EXPECT_EQ(c.table("pending"), tableOf({}));
}

TEST(SubscriptionResponse, DropsATopicThatFailed)
{
    for (const Dictionary& refusal : {failure("NotAllowed", "No access"), failure(), successWithoutId()}) {
        SCOPED_TRACE(boost::json::serialize(refusal));
        Conversation c;
        c.request("scores");

        c.service.expectSubscribe("scores").reply(refusal);

        EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                                  "VEXA: Processing responses for O-001"}));
        EXPECT_EQ(c.table("pending"), tableOf({}));
        EXPECT_EQ(c.table("current"), tableOf({}));
        EXPECT_EQ(c.table("routes"), tableOf({}));
    }
}

TEST(SubscriptionResponse, NeverRetriesATopicThatFailed)
{
    Conversation c;
    c.request("scores");
    c.service.expectSubscribe("scores").reply(failure());

    c.platform.clock.advance(300.0);

    c.service.expectNothingSent();
    EXPECT_EQ(c.transport->fakeLogger().consoleLines(), Lines{});
}

TEST(SubscriptionResponse, NeverCallsTheFeed)
{
    Conversation c;
    const std::string operationId = c.requestTogether({"scores", "news", "weather"});
    c.service.deliver(subscriptionResponse(operationId, {success("s-1"), failure(), successWithoutId()}));

    c.request("traffic");
    c.transport->open = false;
    c.platform.clock.jump(60.0);
    EXPECT_EQ(c.reports().size(), 2U);

    EXPECT_EQ(c.fed(), Values{});
}

TEST(SubscriptionResponse, PutsThePendingTopicInPlaceOfTheCurrentOne)
{
    Conversation c;
    const std::string hash = c.request("scores", 50.0);
    c.request("scores", 10.0);
    c.service.deliver(subscriptionResponse("O-001", {success("s-1")}));
    c.service.data({entry("s-1", {{"updatedAt", 70.0}})});
    ASSERT_EQ(c.table("current"), tableOf({{hash, topic("scores", std::nullopt, 70.0)}}));

    c.service.deliver(subscriptionResponse("O-002", {success("s-2")}));

    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores", std::nullopt, 10.0)}}));
    EXPECT_EQ(c.table("routes"), tableOf({{"s-1", Value(hash)}, {"s-2", Value(hash)}}));
}

TEST(SubscriptionResponse, LetsTheLaterOfTwoEntriesHaveASharedId)
{
    Conversation c;
    const std::string operationId = c.requestTogether({"scores", "news"});

    c.service.deliver(subscriptionResponse(operationId, {success("s-1"), success("s-1")}));

    EXPECT_EQ(c.table("routes"), tableOf({{"s-1", Value(c.hash("news"))}}));
    EXPECT_EQ(c.table("current"), tableOf({{c.hash("scores"), topic("scores")}, {c.hash("news"), topic("news")}}));
}

TEST(SubscriptionResponse, SettlesATopicThatTheRequestListsTwice)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1", 10.0);
    c.service.open();
    c.request("scores", 5.0);
    c.service.deliver(subscriptionResponse("O-002", {success("s-2")}));
    c.service.open();
    ASSERT_EQ(
        c.table("pending"),
        tableOf({{"O-004", listValue({topic("scores", std::nullopt, 10.0), topic("scores", std::nullopt, 5.0)})}}));

    c.service.deliver(subscriptionResponse("O-004", {success("s-3"), success("s-4")}));

    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores", std::nullopt, 5.0)}}));
    EXPECT_EQ(c.table("routes"),
              tableOf({{"s-1", Value(hash)}, {"s-2", Value(hash)}, {"s-3", Value(hash)}, {"s-4", Value(hash)}}));
}

TEST(SubscriptionResponse, TurnsAnIdToTheTopicThatGotItLast)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    const std::string news = c.subscribe("news", "s-1");

    c.service.data({entry("s-1")});

    EXPECT_EQ(c.table("routes"), tableOf({{"s-1", Value(news)}}));
    EXPECT_EQ(c.fed(), (Values{feedCall(news, entry("s-1"), false)}));
}

TEST(SubscriptionResponse, LeavesTheMarkOfARemovedSubscription)
{
    Conversation c;
    const std::string hash = c.request("scores");
    c.client->removeSubscription(hash);

    c.service.expectSubscribe("scores").reply(success("s-1"));
    c.service.data({entry("s-1")});

    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores")}}));
    EXPECT_EQ(c.table("removed"), setOf({hash}));
    EXPECT_EQ(c.fed(), Values{});
}

TEST(SubscriptionResponse, NeedsAnOperationId)
{
    Conversation c;
    c.request("scores");
    const Dictionary before = c.tables();
    const Dictionary valid = subscriptionResponse("O-001", {success("s-1")});

    for (const Dictionary& response : {without(valid, "operationId"), with(valid, "operationId", Value(1)),
                                       without(without(valid, "operationId"), "topics")}) {
        SCOPED_TRACE(boost::json::serialize(response));
        c.service.deliver(response);
        EXPECT_EQ(c.log(), missingOperationId);
        EXPECT_EQ(c.tables(), before);
    }
    EXPECT_EQ(c.reports(), Values{});
}

TEST(SubscriptionResponse, NeedsTopics)
{
    Conversation c;
    c.request("scores");
    const Dictionary before = c.tables();

    for (const std::string_view operationId : {"O-001", "O-777"}) {
        SCOPED_TRACE(operationId);
        c.service.deliver(without(subscriptionResponse(operationId, {success("s-1")}), "topics"));
        EXPECT_EQ(c.log(), missingTopics);
        EXPECT_EQ(c.tables(), before);
    }
    EXPECT_EQ(c.reports(), Values{});
}

TEST(SubscriptionResponse, ChangesNothingForAnOperationThatIsNotPending)
{
    Conversation c;
    c.request("scores");
    const Dictionary before = c.tables();

    for (const std::string operationId : {"O-002", "O-1", "o-001", ""}) {
        SCOPED_TRACE(operationId);
        c.service.deliver(subscriptionResponse(operationId, {success("s-1")}));
        EXPECT_EQ(c.log(), noPendingTopics(operationId));
        EXPECT_EQ(c.tables(), before);
    }
    EXPECT_EQ(c.visibleReads(), 0U);
    EXPECT_EQ(c.reports(), Values{});
}

TEST(SubscriptionResponse, ChangesNothingWhenTheOperationWasAnsweredBefore)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    const Dictionary before = c.tables();

    c.service.deliver(subscriptionResponse("O-001", {success("s-2")}));

    EXPECT_EQ(c.log(), noPendingTopics("O-001"));
    EXPECT_EQ(c.tables(), before);
    EXPECT_EQ(c.reports(), Values{});
}

TEST(SubscriptionResponse, ChangesNothingWhenAReconnectionReplacedTheOperation)
{
    Conversation c;
    c.request("scores");
    c.service.open();
    c.log();
    const Dictionary before = c.tables();

    c.service.deliver(subscriptionResponse("O-001", {success("s-1")}));

    EXPECT_EQ(c.log(), noPendingTopics("O-001"));
    EXPECT_EQ(c.tables(), before);
}

TEST(SubscriptionResponse, ResetsTheRetryCountWhenNoOperationIsLeft)
{
    Conversation c;
    c.request("scores");
    c.request("news");
    c.platform.clock.advance(6.0);
    ASSERT_EQ(c.table("retryCount"), Value(1));
    c.log();

    c.service.deliver(subscriptionResponse("O-001", {failure()}));
    EXPECT_EQ(c.log(), (Lines{"VEXA: Processing responses for O-001"}));
    EXPECT_EQ(c.table("retryCount"), Value(1));

    c.service.deliver(subscriptionResponse("O-002", {failure()}));
    EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                              "VEXA: Processing responses for O-002"}));
    EXPECT_EQ(c.table("retryCount"), Value(0));
}

TEST(SubscriptionResponse, ConsumesAnOperationWithAnotherNumberOfTopics)
{
    Conversation c;
    const std::string operationId = c.requestTogether({"scores", "news", "weather"});
    c.platform.clock.advance(6.0);
    ASSERT_EQ(c.table("retryCount"), Value(1));
    c.log();
    c.transport->takeSent();

    c.service.deliver(subscriptionResponse(operationId, {success("s-1"), success("s-2")}));

    EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                              "VEXA: mismatched count expected 3 but got 2"}));
    EXPECT_EQ(c.table("retryCount"), Value(0));
    EXPECT_EQ(c.table("pending"), tableOf({}));
    EXPECT_EQ(c.table("current"), tableOf({}));
    EXPECT_EQ(c.table("routes"), tableOf({}));
    EXPECT_EQ(c.visibleReads(), 0U);
    EXPECT_EQ(c.reports(), Values{});
    EXPECT_EQ(c.transport->takeSent(), std::vector<Dictionary>{});
}

TEST(SubscriptionResponse, CountsTopicsAndEntriesExactly)
{
    struct Counts {
        std::vector<Dictionary> entries;
        std::string line;
    };
    for (const Counts& each :
         {Counts{{}, "VEXA: mismatched count expected 1 but got 0"},
          Counts{{success("s-1"), success("s-2")}, "VEXA: mismatched count expected 1 but got 2"},
          Counts{std::vector<Dictionary>(12, success("s-1")), "VEXA: mismatched count expected 1 but got 12"}}) {
        SCOPED_TRACE(each.line);
        Conversation c;
        c.request("scores");
        c.request("news");

        c.service.deliver(subscriptionResponse("O-001", each.entries));

        EXPECT_EQ(c.log(), (Lines{each.line}));
        EXPECT_EQ(c.table("pending"), tableOf({{"O-002", listValue({topic("news")})}}));
        EXPECT_EQ(c.table("current"), tableOf({}));
    }
}

TEST(SubscriptionResponse, SettlesAnOperationWithoutTopics)
{
    Conversation c;
    c.request("scores");
    c.service.expectSubscribe("scores").reply(failure());
    c.service.open();
    c.startAfresh();

    c.service.deliver(subscriptionResponse("O-002", {}));

    EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                              "VEXA: Processing responses for O-002"}));
    EXPECT_EQ(c.reports(), (Values{topicReport({})}));
}

} // namespace
} // namespace vexa::testing
