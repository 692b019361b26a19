#include "ClientUnderTest.hpp"
#include "Timetable.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace vexa::testing {

namespace {

const Dictionary scoresRequest = subscribeRequest("O-001", {topic("scores")});

TEST(FailingTransport, CountsAsClosedWhenItCannotSayWhetherItIsOpen)
{
    ClientUnderTest under;
    under.transport->throwFrom(Operation::isOpen, 1);
    under.client->createSubscription("scores", std::nullopt, 0.0);
    under.platform.takeLogLines();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: Sending subscription request with O-001",
                                                    "VEXA: OruClient::isOpen threw: the fake transport fails",
                                                    "VEXA: OruClient is not open, delaying O-001"}));
    EXPECT_EQ(under.tables().at("hasTimer"), Value(false));
    EXPECT_EQ(under.tables().at("pendingSubscriptions"), json(R"({"O-001": [{"name": "scores"}]})"));

    under.transport->notifyOpened();
    under.platform.runUntilIdle();
    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {topic("scores")})}));
}

TEST(FailingTransport, IsGivenARequestAgainWhoseSendingThrew)
{
    ClientUnderTest under;
    const Timetable timetable{under};
    under.transport->throwFrom(Operation::send, 1);
    under.client->createSubscription("scores", std::nullopt, 0.0);
    under.platform.takeLogLines();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Sending subscription request with O-001", sendingLine(scoresRequest),
                     "VEXA: OruClient::send threw: the fake transport fails"}));
    EXPECT_EQ(under.tables().at("pendingSubTime"), Value(1700000000.0));
    EXPECT_EQ(under.tables().at("hasTimer"), Value(true));

    under.platform.clock.advance(12.0);
    EXPECT_EQ(timetable.sent(), (Times{{6.0, "O-001"}, {12.0, "O-001"}}));
}

TEST(FailingTransport, IsAskedAgainForAMessageRegistrationThatThrew)
{
    ClientUnderTest under;
    under.transport->throwFrom(Operation::addCategoryListener, 1);
    const std::string scores = under.client->createSubscription("scores", std::nullopt, 0.0);

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription scores", "VEXA: Subscription hash - " + scores,
                     "VEXA: OruClient::addCategoryListener threw: the fake transport fails",
                     "VEXA: Registered connection listener Optional(1)"}));
    under.platform.runUntilIdle();
    EXPECT_EQ(under.takeSent(), listOf({scoresRequest}));
    EXPECT_EQ(under.tables().at("messageListenerId"), Value(nullptr));
    under.platform.takeLogLines();

    const std::string news = under.client->createSubscription("news", std::nullopt, 0.0);
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription news", "VEXA: Subscription hash - " + news,
                     "VEXA: Registered message listener Optional(2)"}));
}

TEST(FailingTransport, IsAskedAgainForAConnectionRegistrationThatThrew)
{
    ClientUnderTest under;
    under.transport->throwFrom(Operation::addConnectionListener, 1);
    const std::string scores = under.client->createSubscription("scores", std::nullopt, 0.0);

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription scores", "VEXA: Subscription hash - " + scores,
                     "VEXA: Registered message listener Optional(1)",
                     "VEXA: OruClient::addConnectionListener threw: the fake transport fails"}));
    under.platform.runUntilIdle();
    EXPECT_EQ(under.takeSent(), listOf({scoresRequest}));
    under.platform.takeLogLines();

    const std::string news = under.client->createSubscription("news", std::nullopt, 0.0);
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription news", "VEXA: Subscription hash - " + news,
                     "VEXA: Registered connection listener Optional(2)"}));
}

TEST(FailingTransport, IsSentARetryWhenItsLoggerCannotBeHad)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->throwFrom(Operation::logger, 1);
    under.forgetThePast();
    under.platform.clock.advance(6.0);

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: OruClient::logger threw: the fake transport fails",
                     "VEXA: OruClient gave no logger, what was meant for it is dropped", sendingLine(scoresRequest)}));
    EXPECT_EQ(under.takeSent(), listOf({scoresRequest}));
    under.platform.clock.advance(6.0);
    EXPECT_EQ(under.transport->fakeLogger().takeConsoleLines(), Lines{"VEXA: Retrying O-001"});
}

TEST(FailingTransport, IsSentARetryWhenItHasNoLogger)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->setLogger(nullptr);
    under.forgetThePast();
    under.platform.clock.advance(6.0);

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: OruClient gave no logger, what was meant for it is dropped", sendingLine(scoresRequest)}));
    EXPECT_EQ(under.takeSent(), listOf({scoresRequest}));
}

TEST(FailingTransport, IsSentARetryWhenItsConsoleThrows)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->fakeLogger().throwFromNowOn(true);
    under.forgetThePast();
    under.platform.clock.advance(6.0);

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: OruClientLogger::consoleLog threw: the fake logger fails", sendingLine(scoresRequest)}));
    EXPECT_EQ(under.takeSent(), listOf({scoresRequest}));
    EXPECT_EQ(under.tables().at("subscriptionRetryCount"), Value(1));
}

TEST(FailingTransport, DropsAReportWhenItHasNoLogger)
{
    ClientUnderTest under;
    const std::string hash = under.subscribe("scores");
    under.transport->setLogger(nullptr);
    under.platform.takeLogLines();
    under.service.expectSubscribe("scores").reply(success("s-1"));

    EXPECT_EQ(
        under.platform.takeLogLines(),
        (Lines{"VEXA: subscriptions all accounted for, reseting retry count", "VEXA: Processing responses for O-001",
               "VEXA: Subscription response: TopicHash: " + hash + ", SubId: s-1",
               "VEXA: OruClient gave no logger, what was meant for it is dropped"}));
    EXPECT_EQ(under.platform.pendingDelays().items, 0U);
    EXPECT_EQ(under.tables().at("currentSubscriptions").at(hash), json(R"({"name": "scores"})"));
}

TEST(FailingTransport, CountsAsNotVisibleWhenItCannotSay)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->throwFrom(Operation::isVisible, 1);
    under.platform.takeLogLines();
    under.service.expectSubscribe("scores").reply(failure());
    under.platform.clock.advance(300.0);

    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                                                    "VEXA: Processing responses for O-001",
                                                    "VEXA: OruClient::isVisible threw: the fake transport fails"}));
    ASSERT_EQ(under.transport->fakeLogger().serverLogs().size(), 1U);
    EXPECT_EQ(Value(under.transport->fakeLogger().serverLogs()[0].blob), json(R"({"vexaSubscriptionResponses": [{
        "operationId": "O-001", "status": "fail", "topic": {"name": "scores"}, "visible": false,
        "error": "UnknownSubscriptionError", "errorMessage": "Subscription response 'success' was false"}]})"));
}

TEST(FailingTransport, DoesNotStopTheQueueWhenItsServerLogThrows)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    under.transport->fakeLogger().throwFromNowOn(true);
    under.forgetThePast();
    under.platform.clock.advance(300.0);

    EXPECT_EQ(under.platform.takeLogLines(), Lines{"VEXA: OruClientLogger::serverLog threw: the fake logger fails"});
    under.subscribe("news");
    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {topic("news")})}));
}

TEST(FailingTransport, MayThrowWhateverItLikes)
{
    ClientUnderTest under;
    under.hooks->onCall = [](Operation operation) {
        if (operation == Operation::send) {
            throw 42;
        }
    };
    under.client->createSubscription("scores", std::nullopt, 0.0);
    under.platform.takeLogLines();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Sending subscription request with O-001", sendingLine(scoresRequest),
                     "VEXA: OruClient::send threw something that is no std::exception"}));
}

TEST(FailingTransport, LetsTheClientLiveThroughFaultsOfEveryOperation)
{
    for (const Operation operation :
         {Operation::logger, Operation::isVisible, Operation::isOpen, Operation::addConnectionListener,
          Operation::addCategoryListener, Operation::send}) {
        ClientUnderTest under;
        under.transport->throwFrom(operation);
        EXPECT_EQ(under.subscribe("scores"), under.client->subscriptionHash("scores", std::nullopt));
        under.platform.clock.advance(100.0);
        under.transport->notifyOpened();
        under.platform.runUntilIdle();

        under.transport->heal();
        under.transport->takeSent();
        under.subscribe("news");
        const std::vector<Dictionary> sent = under.transport->takeSent();
        ASSERT_EQ(sent.size(), 1U);
        EXPECT_EQ(topicsOf(sent[0]), std::vector<Dictionary>{topic("news")});
        EXPECT_EQ(under.tables().at("messageListenerId").is_int64(), true);
        EXPECT_EQ(under.tables().at("connectionListenerId").is_int64(), true);
    }
}

TEST(CallsToTheTransport, AreMarkedAsHostCodeThatMayBlock)
{
    ClientUnderTest under;
    std::vector<Operation> marked;
    std::vector<Operation> unmarked;
    under.hooks->onCall = [&](Operation operation) {
        (under.platform.isInHostCode() ? marked : unmarked).push_back(operation);
    };
    under.subscribe("scores");
    under.platform.clock.advance(6.0);
    under.service.expectSubscribe("scores").reply(success("s-1"));

    EXPECT_EQ(marked, (std::vector<Operation>{Operation::addCategoryListener, Operation::addConnectionListener,
                                              Operation::isOpen, Operation::send, Operation::logger, Operation::isOpen,
                                              Operation::send, Operation::isVisible, Operation::logger}));
    EXPECT_EQ(unmarked, std::vector<Operation>{});
}

} // namespace

} // namespace vexa::testing
