#include "ServiceClient.hpp"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

using Numbers = std::vector<int>;
using Types = std::vector<std::string>;

TEST(ServiceSubscribe, AnswersEachTopicByItsPosition)
{
    ServiceUnderTest t;
    ServiceClient client{t.platform, t.service};

    client.send(subscribeRequest("O-001", {topic("scores"), topic("weather", Value(7)), topic("scores", Value(1))}));

    const Messages answers = client.take();
    ASSERT_EQ(answers.size(), 1U);
    const List& topics = answers[0].at("topics").as_array();
    ASSERT_EQ(topics.size(), 3U);
    EXPECT_EQ(answers[0],
              (testing::subscriptionResponse("O-001", {success(topics[0].at("subscriptionId").as_string().c_str()),
                                                       success(topics[1].at("subscriptionId").as_string().c_str()),
                                                       success(topics[2].at("subscriptionId").as_string().c_str())})))
        << "but for the ids, which only have to differ";
    EXPECT_NE(topics[0], topics[1]);
    EXPECT_NE(topics[0], topics[2]);
    EXPECT_NE(topics[1], topics[2]);
}

TEST(ServiceSubscribe, AnswersARequestWithoutTopics)
{
    ServiceUnderTest t;
    ServiceClient client{t.platform, t.service};

    client.send(subscribeRequest("O-001", {}));

    EXPECT_EQ(client.take(), (Messages{testing::subscriptionResponse("O-001", {})}));
}

TEST(ServiceSubscribe, DeliversWhatIsPublished)
{
    ServiceUnderTest t;
    ServiceClient client{t.platform, t.service};
    const std::string id = client.subscribe("scores");
    t.platform.clock.set(1700000100.5);

    t.service.publish("scores", std::nullopt, {numbered(1), numbered(2)});

    const Messages received = client.take();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].at("category"), "vexa");
    EXPECT_EQ(received[0].at("type"), "data");
    EXPECT_EQ(received[0].at("sentAt"), 1700000100.5);
    EXPECT_EQ(received[0].at("messages").as_array(),
              (List{entry(id, {{"number", 1}, {"updatedAt", 1700000100.5}}),
                    entry(id, {{"number", 2}, {"updatedAt", 1700000100.500001}})}));
}

TEST(ServiceSubscribe, MatchesParametersAsTheirMeaningIs)
{
    ServiceUnderTest t;
    ServiceClient client{t.platform, t.service};
    const std::string id = client.subscribe("scores", Value(json(R"({"league":4,"day":"monday"})")));

    t.service.publish("scores", Value(json(R"({"day":"monday","league":4.0})")), {numbered(1)});
    t.service.publish("scores", Value(json(R"({"day":"monday"})")), {numbered(2)});
    t.service.publish("scores", std::nullopt, {numbered(3)});
    t.service.publish("scores", Value(nullptr), {numbered(4)});

    EXPECT_EQ(numbersIn(client.take()), Numbers{1});
}

TEST(ServiceSubscribe, TakesNullParametersForPresentOnes)
{
    ServiceUnderTest t;
    ServiceClient client{t.platform, t.service};
    const std::string absent = client.subscribe("scores");
    const std::string null = client.subscribe("scores", Value(nullptr));

    EXPECT_NE(absent, null);
}

TEST(ServiceSubscribe, ReplaysFromTheTimeThatTheClientNames)
{
    ServiceUnderTest t;
    ServiceClient first{t.platform, t.service};
    first.subscribe("scores");
    t.service.publish("scores", std::nullopt, {numbered(1), numbered(2), numbered(3)});
    const List seen = entriesOf(first.take());
    ServiceClient second{t.platform, t.service};

    second.send(subscribeRequest(
        "O-001", {topic("scores", std::nullopt, seen.at(0).at("payload").at("updatedAt").as_double())}));
    t.platform.runUntilIdle();
    t.publish(4);

    const Messages received = second.take();
    EXPECT_EQ(numbersIn(received), (Numbers{-2, -3, 4}));
    EXPECT_EQ(entriesOf(received).at(0).at("replayed"), true);
    EXPECT_EQ(entriesOf(received).at(0).at("payload"), seen.at(1).at("payload"));
    EXPECT_FALSE(entriesOf(received).at(2).as_object().contains("replayed"));
}

TEST(ServiceSubscribe, ReplaysEverythingToAClientThatNamesNoTime)
{
    ServiceUnderTest t;
    t.publish(1);
    t.publish(2);
    ServiceClient client{t.platform, t.service};

    client.subscribe("scores");

    EXPECT_EQ(numbersIn(client.take()), (Numbers{-1, -2}));
}

TEST(ServiceSubscribe, SplitsALongReplay)
{
    ServiceUnderTest t{testing::defaultSeed(), {.entriesPerDataMessage = 3}};
    for (int number = 1; number <= 7; ++number) {
        t.publish(number);
    }
    ServiceClient client{t.platform, t.service};

    client.subscribe("scores");

    const Messages received = client.take();
    EXPECT_EQ(numbersIn(received), (Numbers{-1, -2, -3, -4, -5, -6, -7}));
    ASSERT_EQ(received.size(), 3U);
    EXPECT_EQ(received[0].at("messages").as_array().size(), 3U);
    EXPECT_EQ(received[2].at("messages").as_array().size(), 1U);
}

TEST(ServiceSubscribe, AnswersBeforeItDelivers)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        ServiceUnderTest t{seed};
        t.publish(1);
        ServiceClient client{t.platform, t.service};

        client.send(subscribeRequest("O-001", {topic("scores"), topic("weather")}));
        t.publish(2);
        t.service.publish("weather", std::nullopt, {numbered(7)});

        const Messages received = client.take();
        ASSERT_FALSE(received.empty());
        EXPECT_EQ(received[0].at("type"), "subscriptionResponse");
        std::map<std::string, Numbers> numbersById;
        for (const Value& each : entriesOf(received)) {
            numbersById[each.at("subscriptionId").as_string().c_str()].push_back(
                each.at("payload").at("number").to_number<int>());
        }
        const List& answers = received[0].at("topics").as_array();
        EXPECT_EQ(numbersById[answers[0].at("subscriptionId").as_string().c_str()], (Numbers{1, 2}));
        EXPECT_EQ(numbersById[answers[1].at("subscriptionId").as_string().c_str()], (Numbers{7}));
    }
}

TEST(ServiceSubscribe, KeepsTwoClientsApart)
{
    ServiceUnderTest t;
    ServiceClient first{t.platform, t.service};
    ServiceClient second{t.platform, t.service};
    const std::string firstId = first.subscribe("scores");
    const std::string secondId = second.subscribe("scores");
    second.subscribe("weather");
    EXPECT_NE(firstId, secondId);

    t.publish(1);
    t.service.publish("weather", std::nullopt, {numbered(2)});

    EXPECT_EQ(entriesOf(first.take()).at(0).at("subscriptionId").as_string(), firstId.c_str());
    EXPECT_EQ(numbersIn(second.take()), (Numbers{1, 2}));
    EXPECT_EQ(t.service.figures().sessions, 2U);
}

TEST(ServiceSubscribe, ReplaysOnceAndInOrderWhatAClientMissedBetweenTwoConnections)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        ServiceUnderTest t{seed};
        const SerialQueueHandle publisher = t.platform.makeQueue("publisher");
        for (int number = 1; number <= 40; ++number) {
            publisher->asyncAfter(number, [&t, number] { t.publish(number); });
        }
        Numbers numbers;
        double seen = 0;
        for (const double connected : {7.5, 6.0, 0.0, 21.0, 30.0}) {
            ServiceClient client{t.platform, t.service};
            client.send(subscribeRequest("O-001", {topic("scores", std::nullopt, seen)}));
            t.platform.clock.advance(connected);
            for (const Value& each : entriesOf(client.take())) {
                seen = each.at("payload").at("updatedAt").as_double();
                numbers.push_back(each.at("payload").at("number").to_number<int>());
            }
            client.session().close();
            t.platform.clock.advance(2.5);
        }

        Numbers all;
        for (int number = 1; number <= 40; ++number) {
            all.push_back(number);
        }
        EXPECT_EQ(numbers, all);
    }
}

TEST(ServiceSubscribe, EndsATopicAndOpensItAgain)
{
    ServiceUnderTest t;
    ServiceClient client{t.platform, t.service};
    const std::string id = client.subscribe("scores");

    t.service.end("scores", std::nullopt, numbered(1));
    const List ending = entriesOf(client.take());
    ASSERT_EQ(ending.size(), 1U);
    EXPECT_EQ(ending[0].at("payload").at("isTerminating"), true);

    t.publish(2);
    const List next = entriesOf(client.take());
    ASSERT_EQ(next.size(), 1U);
    EXPECT_EQ(next[0].at("subscriptionId").as_string(), id.c_str()) << "the connection stays subscribed";
    EXPECT_FALSE(next[0].at("payload").as_object().contains("isTerminating"));
}

TEST(ServiceSubscribe, SendsNothingAfterItsSessionWasClosed)
{
    ServiceUnderTest t;
    auto client = std::make_unique<ServiceClient>(t.platform, t.service);
    client->subscribe("scores");
    client->session().close();
    client->session().close();
    client->send(subscribeRequest("O-001", {topic("weather")}));
    t.publish(1);

    EXPECT_EQ(client->take(), Messages{});
    EXPECT_EQ(t.service.figures().sessions, 0U);
    EXPECT_EQ(t.service.figures().subscriptions, 0U);
}

TEST(ServiceSubscribe, RefusesTopicsBeyondItsLimit)
{
    ServiceUnderTest t{testing::defaultSeed(), {.subscriptionsPerSession = 1}};
    ServiceClient client{t.platform, t.service};
    client.subscribe("scores");

    client.send(subscribeRequest("O-001", {topic("weather"), topic("scores")}));

    const Messages answers = client.take();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].at("topics").at(0).at("success"), false);
    EXPECT_EQ(answers[0].at("topics").at(0).at("error"), "TooManySubscriptions");
    EXPECT_EQ(answers[0].at("topics").at(1).at("success"), true);
}

TEST(ServiceSubscribe, RefusesTopicsThatAreTooLongAndServesTheOthers)
{
    // The key of the topic is "scores":{"league":"north"}, in 27 bytes.
    ServiceUnderTest t{testing::defaultSeed(), {.topicBytes = 27}};
    ServiceClient client{t.platform, t.service};
    const Dictionary longer = testing::failure("TopicTooLong", "The name and the parameters of a topic may take 27 "
                                                               "bytes as JSON");

    client.send(
        subscribeRequest("O-001", {topic("scores", Dictionary{{"league", "norths"}}),
                                   topic("scores", Dictionary{{"league", "north"}}), topic(std::string(26, 's'))}));

    const Messages answers = client.take();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].at("topics").at(0), longer);
    EXPECT_EQ(answers[0].at("topics").at(1).at("success"), true);
    EXPECT_EQ(answers[0].at("topics").at(2), longer);
    EXPECT_EQ(t.service.figures().subscriptions, 1U);
}

TEST(ServiceSubscribe, PassesOnWhyTheBrokerRefusedAndAsksAgainLater)
{
    ServiceUnderTest t{testing::defaultSeed(), {}, {.topics = 1}};
    ServiceClient client{t.platform, t.service};

    client.send(subscribeRequest("O-001", {topic("scores"), topic("weather"), topic("weather")}));

    Messages answers = client.take();
    ASSERT_EQ(answers.size(), 1U);
    const Dictionary refusal = testing::failure("TooManyTopics", "The service holds as many topics as it may");
    EXPECT_EQ(answers[0].at("topics").at(0).at("success"), true);
    EXPECT_EQ(answers[0].at("topics").at(1), refusal);
    EXPECT_EQ(answers[0].at("topics").at(2), refusal);
    EXPECT_EQ(t.service.figures().subscriptions, 1U);

    client.send(subscribeRequest("O-002", {topic("weather")}));
    EXPECT_EQ(client.take(), (Messages{testing::subscriptionResponse("O-002", {refusal})}));
}

} // namespace
} // namespace vexa::host
