#include "ClientUnderTest.hpp"
#include <testing/RecordingFeed.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace vexa::testing {

namespace {

/// The one request that was sent since the last time.
Dictionary onlyRequest(ClientUnderTest& under)
{
    const std::vector<Dictionary> sent = under.transport->takeSent();
    if (sent.size() != 1) {
        throw std::logic_error{"one request was expected, but there came " + boost::json::serialize(listOf(sent))};
    }
    return sent.front();
}

/// A request with its topics in a fixed order: by their JSON.
Value withTopicsSorted(Dictionary request)
{
    List& topics = request.at("payload").at("topics").get_array();
    std::sort(topics.begin(), topics.end(),
              [](const Value& a, const Value& b) { return boost::json::serialize(a) < boost::json::serialize(b); });
    return Value(std::move(request));
}

TEST(Reconnect, RequestsCurrentAndPendingTopicsInOneRequestUnderAFreshId)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    under.confirm("news", "s-2", 1700000000.25);
    under.subscribe("weather", json(R"({"city": "north"})"));
    under.forgetThePast();

    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    const Dictionary request = onlyRequest(under);
    EXPECT_EQ(withTopicsSorted(request),
              withTopicsSorted(subscribeRequest("O-004", {topic("scores"), topic("news", std::nullopt, 1700000000.25),
                                                          topic("weather", json(R"({"city": "north"})"))})));
    EXPECT_EQ(topicNamesOf(request).back(), "weather") << "current topics come first";
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: All subscriptions reverted to pending", sendingLine(request)}));
    EXPECT_EQ(under.transport->fakeLogger().takeConsoleLines(), Lines{});
}

TEST(Reconnect, LeavesOnlyTheNewOperationPendingAndNothingCurrent)
{
    ClientUnderTest under;
    const std::string hash = under.confirm("scores", "s-1");
    under.subscribe("news");
    under.client->removeSubscription(hash);
    under.platform.clock.advance(2.0);
    Value expected = under.tables();
    expected.get_object()["currentSubscriptions"] = json("{}");
    expected.get_object()["pendingSubscriptions"] = json(R"({"O-003": [{"name": "scores"}, {"name": "news"}]})");
    expected.get_object()["nextOperationId"] = 3;
    expected.get_object()["pendingSubTime"] = 1700000002.0;

    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    // The table of routes and the removal mark stay.
    EXPECT_EQ(under.tables(), expected);
    EXPECT_EQ(under.tables().at("subscriptionIdToHash").at("s-1"), Value(hash));
    EXPECT_EQ(under.client->state().pendingSubscriptions.at("O-003").at(0).hash(), hash);
}

TEST(Reconnect, LeavesTheRetryCountAndTheReportedTimeoutsAsTheyAre)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->open = false;
    under.platform.clock.jump(100.0);
    under.platform.clock.advance(12.0);
    EXPECT_EQ(under.tables().at("subscriptionRetryCount"), Value(3));

    under.service.open();
    EXPECT_EQ(under.tables().at("subscriptionRetryCount"), Value(3));
    EXPECT_EQ(under.tables().at("loggedOperationIds"), json(R"(["O-001"])"));
}

TEST(Reconnect, ForgetsTheEarlierOperations)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->notifyOpened();
    under.platform.runUntilIdle();
    const Value before = under.tables();
    under.platform.takeLogLines();

    under.service.deliver(subscriptionResponse("O-001", {success("s-1")}));

    EXPECT_EQ(under.platform.takeLogLines(),
              Lines{"VEXA: no pending topics for O-001, most likely connectionOpened function was called."});
    EXPECT_EQ(under.tables(), before);
}

TEST(Reconnect, AcceptsTheAnswerToTheNewOperation)
{
    ClientUnderTest under;
    const std::string scores = under.confirm("scores", "s-1");
    const std::string news = under.subscribe("news");
    under.transport->notifyOpened();
    under.service.expectSubscribe({"scores", "news"}).reply(success("s-10"), success("s-11"));

    EXPECT_EQ(under.tables().at("pendingSubscriptions"), json("{}"));
    Dictionary current;
    current[scores] = topic("scores");
    current[news] = topic("news");
    EXPECT_EQ(under.tables().at("currentSubscriptions"), Value(current));
    for (const auto& [hash, each] : under.client->state().currentSubscriptions) {
        EXPECT_EQ(each.hash(), hash);
    }
}

TEST(Reconnect, SendsAnEmptyListWhenNoTopicIsKnown)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.service.expectSubscribe("scores").reply(failure());
    under.forgetThePast();

    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {})}));
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: All subscriptions reverted to pending", sendingLine(subscribeRequest("O-002", {}))}));
    EXPECT_EQ(under.tables().at("pendingSubscriptions"), json(R"({"O-002": []})"));
    EXPECT_EQ(under.tables().at("hasTimer"), Value(true));
}

TEST(Reconnect, SendsAnUnansweredEmptyListAgain)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.service.expectSubscribe("scores").reply(failure());
    under.transport->notifyOpened();
    under.platform.runUntilIdle();
    under.transport->takeSent();

    under.platform.clock.advance(6.0);
    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {})}));
}

TEST(Reconnect, RequestsRemovedTopicsToo)
{
    ClientUnderTest under;
    const std::string hash = under.confirm("scores", "s-1");
    under.client->removeSubscription(hash);
    under.platform.runUntilIdle();
    under.transport->takeSent();

    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {topic("scores")})}));
    EXPECT_EQ(under.client->state().removedSubscriptions, TextSet{hash});
}

TEST(Reconnect, ResumesEachTopicFromItsLatestMessage)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1", 1700000000.25);
    under.service.data({entry("s-1", {{"updatedAt", 1700000007.5}})});
    under.transport->takeSent();

    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {topic("scores", std::nullopt, 1700000007.5)})}));
}

TEST(Reconnect, ResumesATopicFromTheMomentThatItsCallerRaised)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    under.subscribe("scores", std::nullopt, 1700000003.0);
    under.transport->takeSent();

    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {topic("scores", std::nullopt, 1700000003.0)})}));
}

TEST(Reconnect, ListsATopicTwiceThatIsBothCurrentAndPending)
{
    ClientUnderTest under;
    under.client->createSubscription("scores", std::nullopt, 0.0);
    under.client->createSubscription("scores", std::nullopt, 1700000000.25);
    under.platform.runUntilIdle();
    under.service.deliver(subscriptionResponse("O-001", {success("s-1")}));
    under.transport->takeSent();

    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.takeSent(),
              listOf({subscribeRequest("O-003", {topic("scores"), topic("scores", std::nullopt, 1700000000.25)})}));
}

TEST(Reconnect, KeepsTheTopicsOfAnOperationInTheirOrder)
{
    ClientUnderTest under;
    under.transport->open = false;
    const std::vector<std::string> names{"d", "a", "c", "b"};
    for (const std::string& name : names) {
        under.subscribe(name);
    }
    under.service.open();
    const std::vector<std::string> listed = topicNamesOf(onlyRequest(under));

    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    EXPECT_TRUE(std::is_permutation(listed.begin(), listed.end(), names.begin(), names.end()));
    EXPECT_EQ(topicNamesOf(onlyRequest(under)), listed) << "one operation now, whose list keeps its order";
}

TEST(Reconnect, KeepsItsTopicsPendingWhenTheTransportIsNotOpenAfterAll)
{
    ClientUnderTest under;
    under.transport->open = false;
    under.subscribe("scores");
    under.forgetThePast();

    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: All subscriptions reverted to pending", "VEXA: OruClient is not open, delaying O-002"}));
    EXPECT_EQ(under.takeSent(), listOf({}));
    EXPECT_EQ(under.tables().at("pendingSubscriptions"), json(R"({"O-002": [{"name": "scores"}]})"));
    EXPECT_EQ(under.tables().at("hasTimer"), Value(false));
}

TEST(Reconnect, HappensForEveryOpening)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    under.transport->takeSent();

    under.transport->notifyOpened();
    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.takeSent(),
              listOf({subscribeRequest("O-002", {topic("scores")}), subscribeRequest("O-003", {topic("scores")})}));
    EXPECT_EQ(under.tables().at("pendingSubscriptions"), json(R"({"O-003": [{"name": "scores"}]})"));
}

TEST(Reconnect, SendsOnceAfterTheRetriesHaveStopped)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.platform.clock.advance(100.0);
    under.forgetThePast();

    under.transport->notifyOpened();
    under.platform.clock.advance(1000.0);

    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {topic("scores")})}));
    EXPECT_EQ(under.tables().at("hasTimer"), Value(false));
}

TEST(Reconnect, SupersedesARequestThatIsStillToBeSent)
{
    ClientUnderTest under;
    under.hooks->onCall = [&under](Operation operation) {
        if (operation == Operation::addConnectionListener) {
            under.transport->notifyOpened();
        }
    };
    under.client->createSubscription("scores", std::nullopt, 0.0);
    under.platform.takeLogLines();

    under.platform.runUntilIdle();

    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {topic("scores")})}));
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: All subscriptions reverted to pending",
                                                    sendingLine(subscribeRequest("O-002", {topic("scores")})),
                                                    "VEXA: Sending subscription request with O-001"}));
}

TEST(Reconnect, AsksWhetherTheTransportIsOpenEvenForASupersededRequest)
{
    ClientUnderTest under;
    under.transport->open = false;
    under.hooks->onCall = [&under](Operation operation) {
        if (operation == Operation::addConnectionListener) {
            under.transport->notifyOpened();
        }
    };
    under.client->createSubscription("scores", std::nullopt, 0.0);
    under.platform.takeLogLines();

    under.platform.runUntilIdle();

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: All subscriptions reverted to pending", "VEXA: OruClient is not open, delaying O-002",
                     "VEXA: Sending subscription request with O-001", "VEXA: OruClient is not open, delaying O-001"}));
}

TEST(Reconnect, KeepsTheMessagesOfATopicBackUntilItIsConfirmedAgain)
{
    ClientUnderTest under;
    const auto feed = std::make_shared<RecordingFeed>();
    under.client->setMessageFeedDelegate(feed);
    under.confirm("scores", "s-1");
    under.transport->notifyOpened();
    under.service.data({entry("s-1", {{"score", 1}})});
    EXPECT_EQ(feed->take().size(), 0U);

    under.service.expectSubscribe("scores").reply(success("s-2"));
    under.service.data({entry("s-2", {{"score", 2}})});
    EXPECT_EQ(feed->take().size(), 1U);
}

TEST(ConnectionClosed, IsIgnored)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    under.subscribe("news");
    const Value before = under.tables();
    const std::vector<Operation> calls = under.transport->calls();
    under.forgetThePast();

    under.transport->notifyClosed();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.tables(), before);
    EXPECT_EQ(under.transport->calls(), calls);
    EXPECT_EQ(under.platform.takeLogLines(), Lines{});
}

} // namespace

} // namespace vexa::testing
