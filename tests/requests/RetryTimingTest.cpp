#include "ClientUnderTest.hpp"
#include "Timetable.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace vexa::testing {

namespace {

Value tableOf(const ClientUnderTest& under, std::string_view name)
{
    return under.tables().at(boost::json::string_view{name.data(), name.size()});
}

TEST(RetryHoldOff, EndsFiveSecondsAfterTheLastRequestOnTheWallClock)
{
    ClientUnderTest under;
    const Timetable timetable{under};
    under.subscribe("scores");
    under.platform.clock.jump(2.0);
    under.platform.clock.advance(3.0);

    EXPECT_EQ(timetable.sent(), (Times{{0.0, "O-001"}, {3.0, "O-001"}}));
}

TEST(RetryHoldOff, HoldsALittleLessThanFiveSecondsAfterTheLastRequest)
{
    ClientUnderTest under;
    const Timetable timetable{under};
    under.subscribe("scores");
    under.platform.clock.jump(1.999);
    under.platform.clock.advance(5.0);

    EXPECT_EQ(timetable.sent(), (Times{{0.0, "O-001"}}));
    EXPECT_EQ(tableOf(under, "subscriptionRetryCount"), Value(0)) << "a tick that is let pass is no round";
}

TEST(RetryHoldOff, LastsLongerWhenTheWallClockJumpsBack)
{
    ClientUnderTest under;
    const Timetable timetable{under};
    under.subscribe("scores");
    under.platform.clock.jump(-10.0);
    under.platform.clock.advance(30.0);

    // The tick at 15 is the first one 5 seconds after the request by the wall clock.
    EXPECT_EQ(timetable.sent(), (Times{{0.0, "O-001"}, {15.0, "O-001"}, {21.0, "O-001"}, {27.0, "O-001"}}));
}

TEST(RetryTicks, FollowTheMonotonicClockWhateverTheWallClockDoes)
{
    ClientUnderTest under;
    const Timetable timetable{under};
    under.subscribe("scores");
    for (int i = 0; i < 4; ++i) {
        under.platform.clock.jump(1000.0);
        under.platform.clock.advance(3.0);
    }

    EXPECT_EQ(timetable.sent(),
              (Times{{0.0, "O-001"}, {3.0, "O-001"}, {6.0, "O-001"}, {9.0, "O-001"}, {12.0, "O-001"}}));
}

TEST(RetryTicks, ComeEveryThreeSecondsFromTheFirstRequestOn)
{
    ClientUnderTest under;
    under.platform.clock.advance(1.25);
    under.subscribe("scores");
    std::vector<double> due;
    for (int i = 0; i < 4; ++i) {
        due.push_back(under.platform.pendingDelays().nextDue.value_or(0.0));
        under.platform.clock.advance(3.0);
    }

    EXPECT_EQ(due, (std::vector<double>{4.25, 7.25, 10.25, 13.25}));
}

TEST(RetryTicks, MayBeLateByUpToASecondAndNoMore)
{
    double earliest = 10.0;
    double latest = 0.0;
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        ClientUnderTest under{seed, VirtualOptions{.drawLeeway = true}};
        under.subscribe("scores");
        const double due = under.platform.pendingDelays().nextDue.value_or(0.0);
        earliest = std::min(earliest, due);
        latest = std::max(latest, due);
    }

    EXPECT_GE(earliest, 3.0);
    EXPECT_LT(earliest, 3.1);
    EXPECT_GT(latest, 3.9);
    EXPECT_LE(latest, 4.0);
}

TEST(RetryTicks, KeepToTheTimetableHoweverLateEachIs)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        ClientUnderTest under{seed, VirtualOptions{.drawLeeway = true}};
        const Timetable timetable{under};
        under.subscribe("scores");
        under.platform.clock.advance(1000.0);

        const Times sent = timetable.sent();
        ASSERT_EQ(sent.size(), 6U);
        for (std::size_t round = 1; round < sent.size(); ++round) {
            const double tick = 6.0 * static_cast<double>(round);
            EXPECT_GE(sent[round].first, tick);
            EXPECT_LE(sent[round].first, tick + 1.0);
        }
        EXPECT_EQ(tableOf(under, "hasTimer"), Value(false));
    }
}

TEST(TimeoutReport, HoldsTheNextRoundOffForFiveSeconds)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->open = false;
    const Timetable timetable{under};
    under.platform.clock.jump(54.0);
    under.platform.clock.advance(15.0);

    // Every tick is a round while the transport is closed, but for the one at 9: the report at 6 held it off.
    EXPECT_EQ(timetable.asked(), (Times{{3.0, ""}, {6.0, ""}, {12.0, ""}, {15.0, ""}}));
    EXPECT_EQ(tableOf(under, "pendingSubTime"), Value(1700000060.0));
    EXPECT_EQ(tableOf(under, "loggedOperationIds"), json(R"(["O-001"])"));
    EXPECT_EQ(tableOf(under, "subscriptionRetryCount"), Value(4));
}

TEST(TimeoutReport, ComesAfterSixtySecondsOfTheWallClockAndNotBefore)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->open = false;
    under.platform.clock.jump(53.999);
    under.platform.clock.advance(6.0);
    EXPECT_EQ(tableOf(under, "loggedOperationIds"), json("[]"));
    EXPECT_EQ(tableOf(under, "pendingSubTime"), Value(1700000000.0));

    under.platform.clock.advance(3.0);
    EXPECT_EQ(tableOf(under, "loggedOperationIds"), json(R"(["O-001"])"));
    EXPECT_EQ(tableOf(under, "pendingSubTime"), Value(under.platform.clock.now()));
}

TEST(TimeoutReport, DoesNotComeWhileRequestsAreSentAgain)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.platform.clock.jump(1000.0);
    under.platform.clock.advance(3.0);

    EXPECT_EQ(tableOf(under, "loggedOperationIds"), json("[]"));
    EXPECT_EQ(tableOf(under, "pendingSubTime"), Value(1700001003.0));
}

TEST(TimeoutReport, CountsTheRoundItComesInAmongItsRetries)
{
    ClientUnderTest under;
    under.subscribe("scores", json(R"({"league": 4})"), 1700000000.25);
    under.transport->open = false;
    under.transport->visible = false;
    under.platform.clock.jump(100.0);
    under.platform.clock.advance(3.0 + 300.0);

    const std::vector<ServerLog> logs = under.transport->fakeLogger().takeServerLogs();
    ASSERT_EQ(logs.size(), 1U);
    EXPECT_EQ(logs[0].category, "vexa");
    EXPECT_EQ(logs[0].severity, 0);
    EXPECT_EQ(Value(logs[0].blob), json(R"({"vexaSubscriptionResponses": [{
        "topic": {"name": "scores", "parameters": {"league": 4}, "updatedAt": 1700000000.25},
        "status": "fail", "operationId": "O-001", "error": "SubscriptionTimeoutError", "visible": false,
        "errorMessage": "Subscription timed out", "retries": 1}]})"));
}

TEST(TimeoutReport, ComesEvenAtTheTickThatStopsTheTimer)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->open = false;
    under.platform.clock.advance(20.0);
    under.platform.clock.jump(100.0);
    under.platform.clock.advance(1.0);

    EXPECT_EQ(tableOf(under, "hasTimer"), Value(false));
    EXPECT_EQ(tableOf(under, "loggedOperationIds"), json(R"(["O-001"])"));
    EXPECT_EQ(tableOf(under, "subscriptionRetryCount"), Value(6));
}

} // namespace

} // namespace vexa::testing
