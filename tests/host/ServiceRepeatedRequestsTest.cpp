#include "ServiceClient.hpp"
#include "SlowBroker.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

using Numbers = std::vector<int>;
using Types = std::vector<std::string>;

TEST(ServiceRepeatedRequests, GivesARetryTheSameIdAndNothingTwice)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        ServiceUnderTest t{seed};
        t.publish(1);
        ServiceClient client{t.platform, t.service};

        client.send(subscribeRequest("O-001", {topic("scores")}));
        client.send(subscribeRequest("O-001", {topic("scores")}));
        t.publish(2);
        Messages received = client.take();
        client.send(subscribeRequest("O-001", {topic("scores")}));
        t.publish(3);
        for (Dictionary& message : client.take()) {
            received.push_back(std::move(message));
        }

        Messages answers;
        std::vector<int> numbers;
        for (const int number : numbersIn(received)) {
            numbers.push_back(std::abs(number));
        }
        std::copy_if(received.begin(), received.end(), std::back_inserter(answers),
                     [](const Dictionary& each) { return each.at("type") == "subscriptionResponse"; });
        ASSERT_EQ(answers.size(), 3U);
        EXPECT_EQ(answers[0], answers[1]);
        EXPECT_EQ(answers[0], answers[2]);
        EXPECT_EQ(numbers, (Numbers{1, 2, 3}));
    }
}

TEST(ServiceRepeatedRequests, DoesNotRewindForARetry)
{
    ServiceUnderTest t;
    t.publish(1);
    t.publish(2);
    ServiceClient client{t.platform, t.service};
    const std::string id = client.subscribe("scores", std::nullopt, testing::VirtualClock::start);
    EXPECT_EQ(numbersIn(client.take()), Numbers{-2});

    EXPECT_EQ(client.subscribe("scores", std::nullopt, testing::VirtualClock::start), id);
    t.publish(3);

    EXPECT_EQ(numbersIn(client.take()), Numbers{3});
}

TEST(ServiceRepeatedRequests, TakesATopicThatARequestListsTwiceForOne)
{
    ServiceUnderTest t;
    ServiceClient client{t.platform, t.service};

    client.send(subscribeRequest("O-001", {topic("scores"), topic("scores")}));
    t.platform.runUntilIdle();
    t.publish(1);

    const Messages received = client.take();
    const List& answers = received.at(0).at("topics").as_array();
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(answers[0], answers[1]);
    EXPECT_EQ(numbersIn(received), Numbers{1});
    EXPECT_EQ(t.service.figures().subscriptions, 1U);
}

TEST(ServiceRepeatedRequests, RefusesARequestThatIsBehindAnEarlierOne)
{
    ServiceUnderTest t;
    ServiceClient client{t.platform, t.service};
    const Dictionary refusal =
        testing::failure("AlreadySubscribed", "The topic is subscribed on this connection, from a later time");

    client.send(subscribeRequest("O-001", {topic("scores", std::nullopt, 50)}));
    const Dictionary answer = client.take().at(0);
    client.send(subscribeRequest("O-002", {topic("scores"), topic("scores", std::nullopt, 50)}));
    const Dictionary second = client.take().at(0);

    EXPECT_EQ(second.at("topics").at(0), refusal);
    EXPECT_EQ(second.at("topics").at(1), answer.at("topics").at(0));
    t.publish(1);
    EXPECT_EQ(numbersIn(client.take()), Numbers{1});
}

TEST(ServiceRepeatedRequests, StartsFromTheNewestTimeOfATopicThatARequestListsTwice)
{
    ServiceUnderTest t;
    t.publish(1);
    t.publish(2);
    ServiceClient client{t.platform, t.service};

    client.send(subscribeRequest(
        "O-001", {topic("scores"), topic("scores", std::nullopt, testing::VirtualClock::start), topic("scores")}));

    const Messages received = client.take();
    EXPECT_EQ(received.at(0).at("topics").at(0).at("success"), false);
    EXPECT_EQ(received.at(0).at("topics").at(1).at("success"), true);
    EXPECT_EQ(received.at(0).at("topics").at(2).at("success"), false);
    EXPECT_EQ(numbersIn(received), Numbers{-2});
}

TEST(ServiceRepeatedRequests, ReplaysNothingUpToTheTimeOfALaterRequest)
{
    VirtualPlatform platform;
    const auto broker = std::make_shared<SlowBroker>();
    VexaService service{broker, {}, platform};
    ServiceClient client{platform, service};
    client.send(subscribeRequest("O-001", {topic("scores", std::nullopt, 10)}));
    client.send(subscribeRequest("O-002", {topic("scores", std::nullopt, 20)}));
    platform.runUntilIdle();

    broker->receivers[R"("scores")"]->subscribed();
    broker->receivers[R"("scores")"]->received({delivery(1, 15, true), delivery(2, 20, true), delivery(3, 30, true)});
    broker->receivers[R"("scores")"]->received({delivery(4, 15)});

    EXPECT_EQ(numbersIn(client.take()), (Numbers{-3, 4})) << "what is published later counts whatever its time";
}

TEST(ServiceRepeatedRequests, ReplaysEarlierLivesOfATopicForARequestThatFollowsOneWithoutATime)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        ServiceUnderTest t{seed};
        t.publish(1);
        t.service.end("scores", std::nullopt, numbered(2));
        t.publish(3);
        t.platform.runUntilIdle();
        ServiceClient client{t.platform, t.service};

        client.send(subscribeRequest("O-001", {topic("scores")}));
        client.send(subscribeRequest("O-002", {topic("scores", std::nullopt, testing::VirtualClock::start)}));
        Messages received = client.take();
        t.publish(4);
        for (Dictionary& message : client.take()) {
            received.push_back(std::move(message));
        }

        if (client.closedFor()) {
            EXPECT_EQ(numbersIn(received), Numbers{-3}) << "all of the first request was out before the second came";
        } else {
            EXPECT_EQ(numbersIn(received), (Numbers{-2, -3, 4}));
        }
    }
}

TEST(ServiceRepeatedRequests, ForgetsWhatTheBrokerSaysOfASubscriptionThatWasBegunAnew)
{
    VirtualPlatform platform;
    const auto broker = std::make_shared<SlowBroker>();
    VexaService service{broker, {}, platform};
    ServiceClient client{platform, service};
    client.send(subscribeRequest("O-001", {topic("scores")}));
    platform.runUntilIdle();
    const auto first = broker->receivers[R"("scores")"];
    client.send(subscribeRequest("O-002", {topic("scores", std::nullopt, 20)}));
    platform.runUntilIdle();
    const auto second = broker->receivers[R"("scores")"];

    first->subscribed();
    first->received({delivery(3, 40, true)});
    first->refused({"Refused", "No longer of interest"});
    EXPECT_EQ(client.take(), Messages{});
    second->subscribed();
    second->received({delivery(2, 30, true), delivery(3, 40, true)});

    EXPECT_EQ(broker->begunFrom[R"("scores")"], (std::vector<double>{0, 20}));
    EXPECT_EQ(broker->cancelled, 1);
    EXPECT_EQ(numbersIn(client.take()), (Numbers{-2, -3}));
    EXPECT_EQ(service.figures().subscriptions, 1U);
}

TEST(ServiceRepeatedRequests, ClosesASessionOfWhichItCannotTellWhatArrived)
{
    ServiceUnderTest t;
    t.publish(1);
    ServiceClient client{t.platform, t.service};
    client.send(subscribeRequest("O-001", {topic("scores")}));
    EXPECT_EQ(numbersIn(client.take()), Numbers{-1});

    client.send(subscribeRequest("O-002", {topic("weather"), topic("scores")}));
    client.send(subscribeRequest("O-003", {topic("traffic")}));
    t.publish(2);

    EXPECT_EQ(client.take(), Messages{});
    EXPECT_EQ(client.closedFor(), "Ambiguous");
    EXPECT_EQ(t.service.figures().sessions, 0U);
    EXPECT_EQ(t.service.figures().subscriptions, 0U);
    EXPECT_EQ(t.service.figures().closedByService, 1U);
}

TEST(ServiceRepeatedRequests, KeepsASessionWhenItKnowsWhatArrived)
{
    ServiceUnderTest t;
    t.publish(1);
    ServiceClient client{t.platform, t.service};
    client.send(subscribeRequest("O-001", {topic("scores"), topic("weather")}));
    const double seen = entriesOf(client.take()).at(0).at("payload").at("updatedAt").as_double();

    client.send(subscribeRequest("O-001", {topic("scores"), topic("weather")}));
    client.send(subscribeRequest("O-002", {topic("scores", std::nullopt, seen)}));
    client.send(subscribeRequest("O-003", {topic("weather")}));
    const Types answers(3, "subscriptionResponse");
    EXPECT_EQ(typesOf(client.take()), answers);

    t.publish(2);
    EXPECT_EQ(numbersIn(client.take()), Numbers{2});
    EXPECT_EQ(client.closedFor(), std::nullopt);
}

} // namespace
} // namespace vexa::host
