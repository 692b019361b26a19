#include "ClientUnderTest.hpp"
#include <VexaClient/platform/Text.hpp>
#include <VexaClient/subscription_client/OperationId.hpp>
#include <VexaClient/subscription_client/SubscribeRequest.hpp>
#include <VexaClient/subscription_client/TopicSubscription.hpp>

#include <boost/json/monotonic_resource.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace vexa::testing {

namespace {

TEST(OperationId, HasAtLeastThreeDigits)
{
    EXPECT_EQ(operationId(1), "O-001");
    EXPECT_EQ(operationId(9), "O-009");
    EXPECT_EQ(operationId(10), "O-010");
    EXPECT_EQ(operationId(99), "O-099");
    EXPECT_EQ(operationId(100), "O-100");
    EXPECT_EQ(operationId(999), "O-999");
    EXPECT_EQ(operationId(1000), "O-1000");
    EXPECT_EQ(operationId(1234567), "O-1234567");
}

TEST(OperationId, ReadsO1000ForTheThousandthOperation)
{
    ClientUnderTest under;
    for (int i = 0; i < 998; ++i) {
        under.subscribe("scores");
    }
    under.transport->takeSent();
    under.subscribe("scores");
    under.subscribe("news");

    EXPECT_EQ(under.takeSent(),
              listOf({subscribeRequest("O-999", {topic("scores")}), subscribeRequest("O-1000", {topic("news")})}));
    EXPECT_EQ(under.client->state().nextOperationId, 1000);
    EXPECT_EQ(under.client->state().pendingSubscriptions.rbegin()->first, "O-1000");
}

TEST(TopicSubscription, DescribesItselfWithWhatItHas)
{
    EXPECT_EQ(Value(TopicSubscription("scores", std::nullopt, "h", 0.0).asDictionary()), json(R"({"name": "scores"})"));
    EXPECT_EQ(Value(TopicSubscription("scores", json("null"), "h", 0.0).asDictionary()),
              json(R"({"name": "scores", "parameters": null})"));
    EXPECT_EQ(Value(TopicSubscription("scores", json(R"({"league": 4})"), "h", 1700000000.25).asDictionary()),
              json(R"({"name": "scores", "parameters": {"league": 4}, "updatedAt": 1700000000.25})"));
}

TEST(TopicSubscription, DescribesAMomentOnlyWhenItIsGreaterThanZero)
{
    EXPECT_EQ(Value(TopicSubscription("scores", std::nullopt, "h", -1.0).asDictionary()),
              json(R"({"name": "scores"})"));
    EXPECT_EQ(Value(TopicSubscription("scores", std::nullopt, "h", 5e-324).asDictionary()),
              json(R"({"name": "scores", "updatedAt": 5e-324})"));
}

TEST(TopicSubscription, DescribesAWholeMomentAsADouble)
{
    EXPECT_TRUE(
        TopicSubscription("scores", std::nullopt, "h", 1700000000.0).asDictionary().at("updatedAt").is_double());
}

TEST(TopicSubscription, IsIndependentOfItsCopies)
{
    TopicSubscription original("scores", json("1"), "h", 1.0);
    const TopicSubscription copy = original;
    original.updatedAt = 2.0;

    EXPECT_EQ(copy.updatedAt, 1.0);
    EXPECT_EQ(original.updatedAt, 2.0);
    EXPECT_EQ(copy.name(), "scores");
    EXPECT_EQ(copy.params(), Parameters(json("1")));
    EXPECT_EQ(copy.hash(), "h");
}

TEST(TopicSubscription, KeepsItsParametersInMemoryOfItsOwn)
{
    boost::json::monotonic_resource arena;
    const Parameters params(boost::json::parse(R"({"league": ["a text that is kept in the arena"]})", &arena));
    const TopicSubscription topic("scores", params, "h", 0.0);

    EXPECT_EQ(topic.params(), params);
    EXPECT_EQ(*topic.params()->storage(), *boost::json::storage_ptr());
    EXPECT_EQ(*topic.params()->at("league").at(0).storage(), *boost::json::storage_ptr());
}

TEST(SubscribeRequest, HoldsTheTopicsInListOrder)
{
    const std::vector<TopicSubscription> topics{{"scores", json(R"({"league": 4})"), "h1", 1700000000.25},
                                                {"news", std::nullopt, "h2", 0.0}};

    EXPECT_EQ(Value(vexa::subscribeRequest("O-007", topics)), json(R"({
        "category": "vexa", "type": "subscribe",
        "payload": {"operationId": "O-007", "topics": [
            {"name": "scores", "parameters": {"league": 4}, "updatedAt": 1700000000.25}, {"name": "news"}]}})"));
}

TEST(SubscribeRequest, HoldsAnEmptyListForNoTopics)
{
    EXPECT_EQ(Value(vexa::subscribeRequest("O-001", {})), json(R"({
        "category": "vexa", "type": "subscribe", "payload": {"operationId": "O-001", "topics": []}})"));
}

TEST(RequestRendering, IsTheRequestAsJson)
{
    const Dictionary request = vexa::subscribeRequest("O-001", {{"scores", json("[1]"), "h", 0.0}});
    EXPECT_EQ(requestRendering(request), boost::json::serialize(request));
}

TEST(RequestRendering, CutsALongRequestOffBetweenCharacters)
{
    for (std::size_t padding = 0; padding < 4; ++padding) {
        std::string name(padding, 'x');
        for (int i = 0; i < 2000; ++i) {
            name += "é\U0001F600";
        }
        const Dictionary request = vexa::subscribeRequest("O-001", {{name, std::nullopt, "h", 0.0}});

        const std::string rendering = requestRendering(request);
        ASSERT_TRUE(rendering.ends_with("…"));
        const std::string shown = rendering.substr(0, rendering.size() - std::string_view{"…"}.size());
        EXPECT_EQ(shown, boost::json::serialize(request).substr(0, shown.size()));
        EXPECT_TRUE(isUtf8(rendering));
        EXPECT_GT(shown.size(), 2000U);
        EXPECT_LE(shown.size(), 2048U);
    }
}

TEST(SendingARequest, HandsTheTransportALongRequestWhole)
{
    ClientUnderTest under;
    const std::string name(100000, 'x');
    under.subscribe(name);

    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-001", {topic(name)})}));
}

TEST(SendingARequest, IsLoggedWithTheRequest)
{
    ClientUnderTest under;
    under.client->createSubscription("scores", json(R"({"league": 4})"), 1700000000.25);
    under.platform.takeLogLines();

    under.platform.runUntilIdle();

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Sending subscription request with O-001", sendingLine(under.transport->sent().at(0))}));
}

TEST(SendingARequest, LeavesOutParametersThatAreAbsentAndAMomentThatIsNotGiven)
{
    ClientUnderTest under;
    under.subscribe("plain");
    under.subscribe("before 1970", std::nullopt, -1.0);
    under.subscribe("with null", json("null"));
    under.subscribe("resumed", std::nullopt, 1700000000.25);

    const std::vector<Dictionary> sent = under.transport->takeSent();
    ASSERT_EQ(sent.size(), 4U);
    EXPECT_EQ(sent[0].at("payload").at("topics"), json(R"([{"name": "plain"}])"));
    EXPECT_EQ(sent[1].at("payload").at("topics"), json(R"([{"name": "before 1970"}])"));
    EXPECT_EQ(sent[2].at("payload").at("topics"), json(R"([{"name": "with null", "parameters": null}])"));
    EXPECT_EQ(sent[3].at("payload").at("topics"), json(R"([{"name": "resumed", "updatedAt": 1700000000.25}])"));
}

TEST(SendingARequest, GivesEachOfTwoTopicsARequestOfItsOwn)
{
    for (const std::uint64_t seed : seeds(10)) {
        SCOPED_TRACE(replayHint(seed));
        ClientUnderTest under{seed};
        under.client->createSubscription("scores", std::nullopt, 0.0);
        under.client->createSubscription("news", std::nullopt, 0.0);
        under.platform.runUntilIdle();

        EXPECT_EQ(under.takeSent(),
                  listOf({subscribeRequest("O-001", {topic("scores")}), subscribeRequest("O-002", {topic("news")})}));
    }
}

TEST(SendingARequest, NotesTheTimeAndStartsTheTimer)
{
    ClientUnderTest under;
    under.platform.clock.set(1800000000.5);
    under.subscribe("scores");

    EXPECT_EQ(under.tables().at("pendingSubTime"), Value(1800000000.5));
    EXPECT_EQ(under.tables().at("hasTimer"), Value(true));
    EXPECT_EQ(under.platform.pendingDelays().timers, 1U);
    EXPECT_EQ(under.platform.pendingDelays().nextDue, 3.0);
}

TEST(SendingARequest, LeavesARunningTimerAsItIs)
{
    ClientUnderTest under;
    under.subscribe("scores");
    const auto timer = under.client->state().pendingSubTimer;
    under.platform.clock.advance(2.0);
    under.subscribe("news");

    EXPECT_EQ(under.client->state().pendingSubTimer, timer);
    EXPECT_EQ(under.platform.pendingDelays().timers, 1U);
    EXPECT_EQ(under.platform.pendingDelays().nextDue, 3.0);
}

TEST(SendingARequest, WaitsWhileTheTransportIsClosed)
{
    ClientUnderTest under;
    under.transport->open = false;
    under.client->createSubscription("scores", std::nullopt, 0.0);
    under.platform.takeLogLines();

    under.platform.runUntilIdle();

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Sending subscription request with O-001", "VEXA: OruClient is not open, delaying O-001"}));
    EXPECT_EQ(under.takeSent(), listOf({}));
    EXPECT_EQ(under.tables(), tablesWith(json(R"({
        "messageListenerId": 1, "connectionListenerId": 2, "nextOperationId": 1,
        "pendingSubscriptions": {"O-001": [{"name": "scores"}]}})")
                                             .get_object()));
    EXPECT_EQ(under.platform.pendingDelays().timers, 0U);
    under.platform.clock.advance(1000.0);
    EXPECT_EQ(under.takeSent(), listOf({}));
}

TEST(SendingARequest, IsLeftOutWhenItsOperationWasAnsweredBefore)
{
    ClientUnderTest under;
    under.hooks->onCall = [&under](Operation operation) {
        if (operation == Operation::addConnectionListener) {
            under.transport->deliver(subscriptionResponse("O-001", {failure()}));
        }
    };
    under.client->createSubscription("scores", std::nullopt, 0.0);
    under.platform.takeLogLines();

    under.platform.runUntilIdle();

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                     "VEXA: Processing responses for O-001", "VEXA: Sending subscription request with O-001"}));
    EXPECT_EQ(under.takeSent(), listOf({}));
    EXPECT_EQ(under.tables().at("hasTimer"), Value(false));
}

TEST(SendingARequest, GoesOutWhenTheConnectionOpens)
{
    ClientUnderTest under;
    under.transport->open = false;
    under.subscribe("scores", json(R"({"league": 4})"), 1700000000.25);

    under.service.open();

    EXPECT_EQ(under.takeSent(),
              listOf({subscribeRequest("O-002", {topic("scores", json(R"({"league": 4})"), 1700000000.25)})}));
}

} // namespace

} // namespace vexa::testing
