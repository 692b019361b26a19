#include "ClientUnderTest.hpp"
#include "Timetable.hpp"

#include <gtest/gtest.h>

namespace vexa::testing {

namespace {

TEST(Retry, SendsAnUnansweredRequestAgainFiveTimesAndThenFallsSilent)
{
    ClientUnderTest under;
    const Timetable timetable{under};
    under.subscribe("scores");
    under.platform.clock.advance(1000.0);

    EXPECT_EQ(
        timetable.sent(),
        (Times{{0.0, "O-001"}, {6.0, "O-001"}, {12.0, "O-001"}, {18.0, "O-001"}, {24.0, "O-001"}, {30.0, "O-001"}}));
    const Dictionary request = subscribeRequest("O-001", {topic("scores")});
    EXPECT_EQ(under.takeSent(), listOf(std::vector<Dictionary>(6, request)));
    EXPECT_EQ(under.transport->fakeLogger().consoleLines(), Lines(5, "VEXA: Retrying O-001"));
}

TEST(Retry, StopsTheTimerAtTheFirstTickAfterTheFifthRound)
{
    ClientUnderTest under;
    under.subscribe("scores");

    under.platform.clock.advance(35.0);
    EXPECT_EQ(under.tables().at("subscriptionRetryCount"), Value(5));
    EXPECT_EQ(under.tables().at("hasTimer"), Value(true));
    under.platform.clock.advance(1.0);
    EXPECT_EQ(under.tables(), tablesWith(json(R"({
        "messageListenerId": 1, "connectionListenerId": 2, "nextOperationId": 1,
        "pendingSubscriptions": {"O-001": [{"name": "scores"}]},
        "pendingSubTime": 1700000030.0, "subscriptionRetryCount": 6})")
                                             .get_object()));
    EXPECT_EQ(under.platform.pendingDelays().timers, 0U);
}

TEST(Retry, WritesALineToTheTransportsConsoleAndNoneOfItsOwnToTheSystemLog)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.forgetThePast();

    under.platform.clock.advance(6.0);

    EXPECT_EQ(under.transport->fakeLogger().takeConsoleLines(), Lines{"VEXA: Retrying O-001"});
    EXPECT_EQ(under.platform.takeLogLines(), Lines{sendingLine(subscribeRequest("O-001", {topic("scores")}))});
}

TEST(Retry, AsksForTheLoggerBeforeEachRequest)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.subscribe("news");
    const std::size_t before = under.transport->calls().size();

    under.platform.clock.advance(6.0);

    const std::vector<Operation> calls = under.transport->calls();
    EXPECT_EQ(std::vector<Operation>(calls.begin() + static_cast<std::ptrdiff_t>(before), calls.end()),
              (std::vector<Operation>{Operation::logger, Operation::isOpen, Operation::send, Operation::logger,
                                      Operation::isOpen, Operation::send}));
}

TEST(Retry, SendsEveryPendingOperationInEveryRound)
{
    ClientUnderTest under;
    const Timetable timetable{under};
    under.subscribe("scores");
    under.platform.clock.advance(2.0);
    under.subscribe("news");
    under.platform.clock.advance(14.0);

    // The tick at 6 comes 4 seconds after the last request and is let pass.
    EXPECT_EQ(
        timetable.sentSorted(),
        (Times{{0.0, "O-001"}, {2.0, "O-002"}, {9.0, "O-001"}, {9.0, "O-002"}, {15.0, "O-001"}, {15.0, "O-002"}}));
}

TEST(Retry, SendsOnlyWhatIsStillUnanswered)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.subscribe("news");
    under.service.expectSubscribe("scores").reply(success("s-1"));
    under.forgetThePast();

    under.platform.clock.advance(6.0);

    EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {topic("news")})}));
    EXPECT_EQ(under.transport->fakeLogger().takeConsoleLines(), Lines{"VEXA: Retrying O-002"});
}

TEST(Retry, CountsEveryTickAsARoundWhileTheTransportIsClosed)
{
    ClientUnderTest under;
    const Timetable timetable{under};
    under.subscribe("scores");
    under.platform.clock.advance(1.0);
    under.service.close();
    under.forgetThePast();

    under.platform.clock.advance(999.0);

    EXPECT_EQ(timetable.asked(), (Times{{0.0, ""}, {6.0, ""}, {9.0, ""}, {12.0, ""}, {15.0, ""}, {18.0, ""}}));
    EXPECT_EQ(under.takeSent(), listOf({}));
    EXPECT_EQ(under.transport->fakeLogger().takeConsoleLines(), Lines(5, "VEXA: Retrying O-001"));
    EXPECT_EQ(under.platform.takeLogLines(), Lines(5, "VEXA: OruClient is not open, delaying O-001"));
    EXPECT_EQ(under.tables().at("subscriptionRetryCount"), Value(6));
    EXPECT_EQ(under.tables().at("pendingSubTime"), Value(1700000000.0));
    EXPECT_EQ(under.tables().at("hasTimer"), Value(false));
}

TEST(Retry, StopsTheTimerAtTheSeventhTickWhileTheTransportIsClosed)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->open = false;

    under.platform.clock.advance(20.0);
    EXPECT_EQ(under.platform.pendingDelays().timers, 1U);
    under.platform.clock.advance(1.0);
    EXPECT_EQ(under.platform.pendingDelays().timers, 0U);
}

TEST(Retry, TakesOutADelayedTopicWhileTheTimerRunsForAnother)
{
    ClientUnderTest under;
    const Timetable timetable{under};
    under.subscribe("scores");
    under.platform.clock.advance(1.0);
    under.transport->open = false;
    under.subscribe("news");
    under.transport->open = true;
    under.platform.clock.advance(5.0);

    EXPECT_EQ(timetable.sentSorted(), (Times{{0.0, "O-001"}, {6.0, "O-001"}, {6.0, "O-002"}}));
}

TEST(Retry, SendsALaterTopicOnceAfterItHasStopped)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.platform.clock.advance(100.0);
    under.forgetThePast();
    const Timetable timetable{under};

    under.subscribe("news");
    EXPECT_EQ(under.tables().at("hasTimer"), Value(true));
    under.platform.clock.advance(5.0);
    EXPECT_EQ(under.tables().at("hasTimer"), Value(true)) << "the tick 3 seconds after the request is let pass";
    under.platform.clock.advance(1.0);
    EXPECT_EQ(under.tables().at("hasTimer"), Value(false));
    EXPECT_EQ(under.tables().at("subscriptionRetryCount"), Value(7));
    under.platform.clock.advance(1000.0);

    EXPECT_EQ(timetable.sent(), (Times{{100.0, "O-002"}}));
    EXPECT_EQ(under.transport->fakeLogger().takeConsoleLines(), Lines{});
}

TEST(Retry, HasFiveRoundsAgainOnceEverythingIsAnswered)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.platform.clock.advance(100.0);
    under.service.expectSubscribe("scores").reply(success("s-1"));
    EXPECT_EQ(under.tables().at("subscriptionRetryCount"), Value(0));
    const Timetable timetable{under};

    under.subscribe("news");
    under.platform.clock.advance(1000.0);

    EXPECT_EQ(timetable.sent(), (Times{{100.0, "O-002"},
                                       {106.0, "O-002"},
                                       {112.0, "O-002"},
                                       {118.0, "O-002"},
                                       {124.0, "O-002"},
                                       {130.0, "O-002"}}));
}

TEST(Retry, GoesOnCountingWhileOneOperationIsUnanswered)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.subscribe("news");
    under.platform.clock.advance(12.0);
    under.service.expectSubscribe("scores").reply(success("s-1"));

    EXPECT_EQ(under.tables().at("subscriptionRetryCount"), Value(2));
}

TEST(Retry, StartsItsRoundsAnewWithTheSameTimerWhenTheCountIsReset)
{
    ClientUnderTest under;
    const Timetable timetable{under};
    under.subscribe("scores");
    under.platform.clock.advance(24.0);
    under.service.expectSubscribe("scores").reply(success("s-1"));
    under.subscribe("news");
    under.platform.clock.advance(1000.0);

    EXPECT_EQ(timetable.sent(), (Times{{0.0, "O-001"},
                                       {6.0, "O-001"},
                                       {12.0, "O-001"},
                                       {18.0, "O-001"},
                                       {24.0, "O-001"},
                                       {24.0, "O-002"},
                                       {30.0, "O-002"},
                                       {36.0, "O-002"},
                                       {42.0, "O-002"},
                                       {48.0, "O-002"},
                                       {54.0, "O-002"}}));
}

TEST(Retry, StopsTheTimerAtTheFirstRoundWithNothingPending)
{
    ClientUnderTest under;
    const std::string hash = under.confirm("scores", "s-1");
    under.forgetThePast();

    under.platform.clock.advance(5.0);
    EXPECT_EQ(under.tables().at("hasTimer"), Value(true));
    under.platform.clock.advance(1.0);

    EXPECT_EQ(under.tables().at("hasTimer"), Value(false));
    EXPECT_EQ(under.tables().at("subscriptionRetryCount"), Value(1)) << "a round that finds nothing counts too";
    EXPECT_EQ(under.takeSent(), listOf({}));
    EXPECT_EQ(under.platform.takeLogLines(), Lines{});
    EXPECT_EQ(under.transport->count(Operation::logger), 1U) << "for the report of the answer, none for the round";
}

TEST(Retry, CountsTheRoundThatFoundNothingPendingAgainstTheNextTopic)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    under.platform.clock.advance(100.0);
    const Timetable timetable{under};

    under.subscribe("news");
    under.platform.clock.advance(1000.0);

    EXPECT_EQ(timetable.sent(),
              (Times{{100.0, "O-002"}, {106.0, "O-002"}, {112.0, "O-002"}, {118.0, "O-002"}, {124.0, "O-002"}}));
}

TEST(Retry, StartsANewTimerWithTheNextRequest)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    under.platform.clock.advance(10.0);
    EXPECT_EQ(under.platform.pendingDelays().timers, 0U);

    under.subscribe("news");
    EXPECT_EQ(under.platform.pendingDelays().timers, 1U);
    under.platform.clock.advance(6.0);
    EXPECT_EQ(under.transport->sent().size(), 3U);
}

} // namespace

} // namespace vexa::testing
