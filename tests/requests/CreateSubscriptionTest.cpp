#include "ClientUnderTest.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace vexa::testing {

namespace {

TEST(NewClient, HasEmptyTablesAndHasRegisteredNothing)
{
    ClientUnderTest under;

    EXPECT_EQ(under.tables(), tablesWith({}));
    EXPECT_EQ(under.transport->calls(), std::vector<Operation>{});
    EXPECT_EQ(under.platform.takeLogLines(), Lines{});
    EXPECT_EQ(under.platform.pendingDelays().timers, 0U);
}

TEST(CreateSubscription, RegistersListenersNotesTheTopicAndReturnsItsHash)
{
    ClientUnderTest under;

    const std::string hash = under.client->createSubscription("scores", json(R"({"league": 4})"), 1700000000.25);

    EXPECT_EQ(hash, under.client->subscriptionHash("scores", json(R"({"league": 4})")));
    EXPECT_EQ(
        under.platform.takeLogLines(),
        (Lines{"VEXA: Creating subscription scores", "VEXA: Subscription hash - " + hash,
               "VEXA: Registered message listener Optional(1)", "VEXA: Registered connection listener Optional(2)"}));
}

TEST(CreateSubscription, LeavesATopicPendingUnderAnOperationOfItsOwn)
{
    ClientUnderTest under;
    const std::string hash = under.client->createSubscription("scores", json(R"({"league": 4})"), 1700000000.25);

    EXPECT_EQ(under.tables(), tablesWith(json(R"({
        "messageListenerId": 1, "connectionListenerId": 2, "nextOperationId": 1,
        "pendingSubscriptions":
            {"O-001": [{"name": "scores", "parameters": {"league": 4}, "updatedAt": 1700000000.25}]},
        "pendingSubTime": 1700000000.0, "hasTimer": true})")
                                             .get_object()));
    const auto pending = under.client->state().pendingSubscriptions;
    EXPECT_EQ(pending.at("O-001").at(0).hash(), hash);
    EXPECT_EQ(pending.at("O-001").at(0).params(), Parameters(json(R"({"league": 4})")));
}

TEST(CreateSubscription, LogsTheRegistrationsForItsFirstTopicAlone)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.forgetThePast();

    const std::string hash = under.client->createSubscription("news", std::nullopt, 0.0);

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription news", "VEXA: Subscription hash - " + hash}));
}

TEST(CreateSubscription, KeepsTheParametersExactlyAsGiven)
{
    for (const char* text :
         {"null", "true", "0", "1.5", R"("")", R"("live")", "[]", "{}", R"({"b": [1, {"a": null}]})"}) {
        ClientUnderTest under;
        const Value params = json(text);
        under.subscribe("scores", params);
        EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-001", {topic("scores", params)})})) << text;
    }
}

TEST(CreateSubscription, KeepsAnIntegerAnIntegerAndADoubleADouble)
{
    ClientUnderTest under;
    under.subscribe("scores", json(R"({"whole": 4, "real": 4.0})"));

    const Value params = under.transport->sent()[0].at("payload").at("topics").at(0).at("parameters");
    EXPECT_TRUE(params.at("whole").is_int64());
    EXPECT_TRUE(params.at("real").is_double());
}

TEST(CreateSubscription, DoesNotDependOnTheMemoryOfTheCallersValues)
{
    ClientUnderTest under;
    {
        std::string name = "a name that is too long to be kept in place";
        Parameters params(json(R"({"league": "a text that is too long to be kept in place"})"));
        under.client->createSubscription(name, params, 0.0);
        name.assign(name.size(), 'x');
        params->as_object()["league"] = "changed";
    }
    under.platform.runUntilIdle();

    EXPECT_EQ(under.takeSent(),
              listOf({subscribeRequest(
                  "O-001", {topic("a name that is too long to be kept in place",
                                  json(R"({"league": "a text that is too long to be kept in place"})"))})}));
}

TEST(CreateSubscription, SubscribesTheSameTopicWithOtherParametersSeparately)
{
    ClientUnderTest under;
    const std::string four = under.subscribe("scores", json(R"({"league": 4})"));
    const std::string five = under.subscribe("scores", json(R"({"league": 5})"));
    const std::string none = under.subscribe("scores");

    EXPECT_NE(four, five);
    EXPECT_NE(four, none);
    EXPECT_NE(five, none);
    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-001", {topic("scores", json(R"({"league": 4})"))}),
                                        subscribeRequest("O-002", {topic("scores", json(R"({"league": 5})"))}),
                                        subscribeRequest("O-003", {topic("scores")})}));
}

TEST(CreateSubscription, RequestsATopicAgainWhoseFirstRequestIsUnanswered)
{
    ClientUnderTest under;
    const std::string first = under.subscribe("scores");
    const std::string second = under.subscribe("scores", std::nullopt, 1700000000.0);

    EXPECT_EQ(first, second);
    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-001", {topic("scores")}),
                                        subscribeRequest("O-002", {topic("scores", std::nullopt, 1700000000.0)})}));
    EXPECT_EQ(under.tables().at("pendingSubscriptions"),
              json(R"({"O-001": [{"name": "scores"}], "O-002": [{"name": "scores", "updatedAt": 1700000000.0}]})"));
}

TEST(CreateSubscription, RequestsATopicAgainThatTheServiceRefused)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.service.expectSubscribe("scores").reply(failure());
    under.transport->takeSent();

    under.subscribe("scores");
    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {topic("scores")})}));
}

TEST(CreateSubscriptionOfACurrentTopic, SendsNothingAndReturnsTheHash)
{
    ClientUnderTest under;
    const std::string hash = under.confirm("scores", "s-1");
    const Value before = under.tables();
    under.forgetThePast();

    EXPECT_EQ(under.subscribe("scores"), hash);

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription scores", "VEXA: Subscription hash - " + hash,
                     "VEXA: Found existing topic", "VEXA: Returning " + hash}));
    EXPECT_EQ(under.takeSent(), listOf({}));
    EXPECT_EQ(under.tables(), before);
}

TEST(CreateSubscriptionOfACurrentTopic, StoresANewerUpdatedAtAndStillSendsNothing)
{
    ClientUnderTest under;
    const std::string hash = under.confirm("scores", "s-1", 1700000000.25);
    under.forgetThePast();

    under.subscribe("scores", std::nullopt, 1700000000.5);

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription scores", "VEXA: Subscription hash - " + hash,
                     "VEXA: Found existing topic", "VEXA: topic.updatedAt = 1700000000.5", "VEXA: Returning " + hash}));
    EXPECT_EQ(under.takeSent(), listOf({}));
    EXPECT_EQ(under.tables().at("currentSubscriptions").at(hash),
              json(R"({"name": "scores", "updatedAt": 1700000000.5})"));
}

TEST(CreateSubscriptionOfACurrentTopic, IgnoresAnUpdatedAtThatIsNotNewer)
{
    ClientUnderTest under;
    const std::string hash = under.confirm("scores", "s-1", 1700000000.25);

    for (const double moment : {1700000000.25, 1700000000.0, 1.0, 0.0, -1.0, std::numeric_limits<double>::quiet_NaN(),
                                -std::numeric_limits<double>::infinity()}) {
        under.forgetThePast();
        under.subscribe("scores", std::nullopt, moment);
        EXPECT_EQ(under.platform.takeLogLines(),
                  (Lines{"VEXA: Creating subscription scores", "VEXA: Subscription hash - " + hash,
                         "VEXA: Found existing topic", "VEXA: Returning " + hash}))
            << moment;
        EXPECT_EQ(under.tables().at("currentSubscriptions").at(hash),
                  json(R"({"name": "scores", "updatedAt": 1700000000.25})"))
            << moment;
    }
}

TEST(CreateSubscriptionOfACurrentTopic, DoesNotTakeAMomentBefore1970OverAnEarlierOne)
{
    ClientUnderTest under;
    const std::string hash = under.confirm("scores", "s-1", -5.0);
    under.forgetThePast();

    under.subscribe("scores", std::nullopt, -1.0);

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription scores", "VEXA: Subscription hash - " + hash,
                     "VEXA: Found existing topic", "VEXA: Returning " + hash}));
    EXPECT_EQ(under.client->state().currentSubscriptions.at(hash).updatedAt, -5.0);
}

TEST(CreateSubscriptionOfACurrentTopic, WritesTheTimeInShortestDecimals)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    const std::vector<std::pair<double, std::string>> times{{0.25, "0.25"},
                                                            {3.0, "3.0"},
                                                            {1700000000.0, "1700000000.0"},
                                                            {1700000000.1, "1700000000.1"},
                                                            {1700000000.123456, "1700000000.123456"}};
    for (const auto& [moment, text] : times) {
        under.forgetThePast();
        under.subscribe("scores", std::nullopt, moment);
        EXPECT_EQ(under.platform.takeLogLines().at(3), "VEXA: topic.updatedAt = " + text);
    }
}

TEST(CreateSubscription, DoesNotPassTextFromOutsideOffAsAFormatOrALine)
{
    ClientUnderTest under;
    const std::string hash = under.client->createSubscription("50%@ %s\nVEXA: Removed \x1b[2J", std::nullopt, 0.0);

    EXPECT_EQ(
        under.platform.takeLogLines(),
        (Lines{"VEXA: Creating subscription 50%@ %s\\nVEXA: Removed \\u001b[2J", "VEXA: Subscription hash - " + hash,
               "VEXA: Registered message listener Optional(1)", "VEXA: Registered connection listener Optional(2)"}));
}

TEST(CreateSubscription, TakesAnEmptyName)
{
    ClientUnderTest under;
    under.subscribe("");

    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-001", {topic("")})}));
}

TEST(CreateSubscription, ReturnsTheHashWhileTheTransportIsClosed)
{
    ClientUnderTest under;
    under.transport->open = false;

    EXPECT_EQ(under.subscribe("scores"), under.client->subscriptionHash("scores", std::nullopt));
    EXPECT_EQ(under.takeSent(), listOf({}));
}

} // namespace

} // namespace vexa::testing
