#include "Conversation.hpp"

namespace vexa::testing {
namespace {

/// Takes the connection away silently, so that no retry renews the time of the last request.
void loseConnection(Conversation& c)
{
    c.transport->open = false;
}

/// Lets the first tick of the retry timer, 3 s after the first request, come `seconds` after the last request, as when
/// the device has slept.
void tickAfter(Conversation& c, double seconds)
{
    c.platform.clock.jump(seconds - 3.0);
    c.platform.clock.advance(3.0);
    c.log();
}

Dictionary timeoutRecord(std::string_view operationId, const Dictionary& description, std::int64_t retries,
                         bool visible = true)
{
    return {{"topic", description},       {"status", "fail"},
            {"operationId", operationId}, {"error", "SubscriptionTimeoutError"},
            {"visible", visible},         {"errorMessage", "Subscription timed out"},
            {"retries", retries}};
}

/// The reports sorted by their text, since operations may be reported in any order.
Values sortedReports(Conversation& c)
{
    Values reports = c.reports();
    std::sort(reports.begin(), reports.end(),
              [](const Value& a, const Value& b) { return boost::json::serialize(a) < boost::json::serialize(b); });
    return reports;
}

TEST(TimeoutReport, DoesNothingBeforeSixtySeconds)
{
    Conversation c;
    c.request("scores");
    loseConnection(c);
    const Value sentAt = c.table("pendingSubTime");

    tickAfter(c, 59.0);

    EXPECT_EQ(c.table("pendingSubTime"), sentAt);
    EXPECT_EQ(c.table("reported"), setOf({}));
    EXPECT_EQ(c.table("retryCount"), Value(1));
    EXPECT_EQ(c.visibleReads(), 0U);
    EXPECT_EQ(c.platform.pendingDelays().items, 0U);
}

TEST(TimeoutReport, DoesNothingAnInstantBeforeSixtySeconds)
{
    Conversation c;
    c.request("scores");
    loseConnection(c);

    tickAfter(c, 59.999);

    EXPECT_EQ(c.table("reported"), setOf({}));
    EXPECT_EQ(c.platform.pendingDelays().items, 0U);
}

TEST(TimeoutReport, TellsOfEveryTopicWithoutAnAnswerAtSixtySeconds)
{
    Conversation c;
    const Parameters params = boost::json::parse(R"(["premier",4])");
    c.request("scores", 1700000000.25, params);
    loseConnection(c);

    tickAfter(c, 60.0);

    EXPECT_EQ(c.table("pendingSubTime"), Value(c.platform.clock.now()));
    EXPECT_EQ(c.table("reported"), setOf({"O-001"}));
    EXPECT_EQ(c.reports(), (Values{topicReport({timeoutRecord("O-001", topic("scores", params, 1700000000.25), 1)})}));
}

TEST(TimeoutReport, ListsTheTopicsOfAnOperationInTheOrderOfItsRequest)
{
    Conversation c;
    c.requestTogether({"scores", "news", "weather"});
    loseConnection(c);

    tickAfter(c, 60.0);

    EXPECT_EQ(c.reports(),
              (Values{topicReport({timeoutRecord("O-004", topic("scores"), 1), timeoutRecord("O-004", topic("news"), 1),
                                   timeoutRecord("O-004", topic("weather"), 1)})}));
}

TEST(TimeoutReport, GivesEachOperationAReportOfItsOwn)
{
    Conversation c;
    c.request("scores");
    c.request("news");
    loseConnection(c);

    tickAfter(c, 61.0);

    EXPECT_EQ(c.platform.pendingDelays().items, 2U);
    EXPECT_EQ(c.table("reported"), setOf({"O-001", "O-002"}));
    EXPECT_EQ(sortedReports(c), (Values{topicReport({timeoutRecord("O-002", topic("news"), 1)}),
                                        topicReport({timeoutRecord("O-001", topic("scores"), 1)})}));
}

TEST(TimeoutReport, DrawsADelayForEachOperation)
{
    Conversation c;
    c.request("scores");
    c.request("news");
    loseConnection(c);
    c.platform.nextRandomBits({shortestDelay, std::uint64_t{1} << 63U});

    tickAfter(c, 60.0);
    c.platform.clock.advance(300.0);

    const std::vector<ServerLog> logs = c.transport->fakeLogger().serverLogs();
    ASSERT_EQ(logs.size(), 2U);
    EXPECT_EQ(logs[0].at, 3.0 + 5.0);
    EXPECT_EQ(logs[1].at, 3.0 + 152.5);
}

TEST(TimeoutReport, ReadsTheVisibilityOnceForAllOperations)
{
    Conversation c;
    c.request("scores");
    c.request("news");
    loseConnection(c);
    c.transport->visible = false;

    tickAfter(c, 60.0);
    c.transport->visible = true;

    EXPECT_EQ(c.visibleReads(), 1U);
    EXPECT_EQ(sortedReports(c), (Values{topicReport({timeoutRecord("O-002", topic("news"), 1, false)}),
                                        topicReport({timeoutRecord("O-001", topic("scores"), 1, false)})}));
}

TEST(TimeoutReport, TellsOfAnOperationOnceForEver)
{
    Conversation c;
    c.request("scores");
    loseConnection(c);
    const std::uint64_t middleDelay = std::uint64_t{1} << 63U;
    c.platform.nextRandomBits({middleDelay, middleDelay});
    tickAfter(c, 60.0);
    ASSERT_EQ(c.platform.pendingDelays().items, 1U);

    for (int i = 0; i < 3; ++i) {
        tickAfter(c, 60.0);
        EXPECT_EQ(c.table("pendingSubTime"), Value(c.platform.clock.now()));
        EXPECT_EQ(c.platform.pendingDelays().items, 1U);
    }
    c.request("news");
    tickAfter(c, 60.0);

    EXPECT_EQ(c.table("reported"), setOf({"O-001", "O-002"}));
    EXPECT_EQ(c.reports(), (Values{topicReport({timeoutRecord("O-001", topic("scores"), 1)}),
                                   topicReport({timeoutRecord("O-002", topic("news"), 5)})}));
}

TEST(TimeoutReport, RemembersTheOperationsThatItToldOfAfterTheyAreAnswered)
{
    Conversation c;
    c.request("scores");
    loseConnection(c);
    tickAfter(c, 60.0);

    c.service.deliver(subscriptionResponse("O-001", {success("s-1")}));

    EXPECT_EQ(c.table("reported"), setOf({"O-001"}));
}

TEST(TimeoutReport, TellsOfTheOperationThatAReconnectionMadeAsOfANewOne)
{
    Conversation c;
    c.request("scores");
    loseConnection(c);
    tickAfter(c, 60.0);
    c.startAfresh();

    c.service.open();
    loseConnection(c);
    tickAfter(c, 60.0);

    EXPECT_EQ(c.table("reported"), setOf({"O-001", "O-002"}));
}

TEST(TimeoutReport, LeavesTheOperationPendingForALateAnswer)
{
    Conversation c;
    const std::string hash = c.request("scores");
    loseConnection(c);
    tickAfter(c, 60.0);
    ASSERT_EQ(c.table("pending"), tableOf({{"O-001", listValue({topic("scores")})}}));

    c.service.deliver(subscriptionResponse("O-001", {success("s-1")}));

    EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                              "VEXA: Processing responses for O-001",
                              "VEXA: Subscription response: TopicHash: " + hash + ", SubId: s-1"}));
    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores")}}));
    EXPECT_EQ(c.reports().size(), 2U);
}

TEST(TimeoutReport, LetsTheRequestBeSentAgain)
{
    Conversation c;
    c.request("scores");
    loseConnection(c);
    tickAfter(c, 60.0);
    c.transport->open = true;
    c.transport->takeSent();

    c.platform.clock.advance(6.0);

    EXPECT_EQ(c.transport->takeSent(), (std::vector<Dictionary>{subscribeRequest("O-001", {topic("scores")})}));
}

TEST(TimeoutReport, HoldsOffTheNextRound)
{
    Conversation c;
    c.request("scores");
    loseConnection(c);
    tickAfter(c, 60.0);

    c.platform.clock.advance(3.0);
    EXPECT_EQ(c.log(), Lines{});
    EXPECT_EQ(c.table("retryCount"), Value(1));

    c.platform.clock.advance(3.0);
    EXPECT_EQ(c.log(), (Lines{"VEXA: OruClient is not open, delaying O-001"}));
    EXPECT_EQ(c.table("retryCount"), Value(2));
}

TEST(TimeoutReport, IsNotDueWhenTheRoundHasJustSentTheRequestAgain)
{
    Conversation c;
    c.request("scores");

    tickAfter(c, 3600.0);

    EXPECT_EQ(c.table("pendingSubTime"), Value(c.platform.clock.now()));
    EXPECT_EQ(c.table("reported"), setOf({}));
    EXPECT_EQ(c.platform.pendingDelays().items, 0U);
}

TEST(TimeoutReport, CountsTheRoundThatItBelongsTo)
{
    Conversation c;
    c.request("scores");
    loseConnection(c);
    c.platform.clock.advance(12.0);
    ASSERT_EQ(c.table("retryCount"), Value(3));

    c.platform.clock.jump(60.0);
    c.platform.clock.advance(3.0);

    EXPECT_EQ(c.reports(), (Values{topicReport({timeoutRecord("O-001", topic("scores"), 4)})}));
}

TEST(TimeoutReport, IsMadeAtTheTickThatEndsTheRetriesToo)
{
    Conversation c;
    c.request("scores");
    loseConnection(c);
    c.platform.clock.advance(18.0);
    ASSERT_EQ(c.table("retryCount"), Value(5));

    c.platform.clock.jump(60.0);
    c.platform.clock.advance(3.0);

    EXPECT_EQ(c.platform.pendingDelays().timers, 0U);
    EXPECT_EQ(c.reports(), (Values{topicReport({timeoutRecord("O-001", topic("scores"), 6)})}));
}

TEST(TimeoutReport, IsMadeForAnOperationWithoutTopics)
{
    Conversation c;
    c.reportInOrder(2);
    c.request("scores");
    c.service.expectSubscribe("scores").reply(failure());
    c.service.open();
    loseConnection(c);

    tickAfter(c, 60.0);

    EXPECT_EQ(c.table("reported"), setOf({"O-002"}));
    const Values reports = c.reports();
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_EQ(reports[1], topicReport({}));
}

TEST(TimeoutReport, OnlyTakesTheTimeWhenNothingIsPending)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.request("news");
    c.service.expectSubscribe("news").reply(failure());
    c.platform.clock.jump(60.0);
    c.platform.clock.advance(3.0);

    EXPECT_EQ(c.table("pendingSubTime"), Value(c.platform.clock.now()));
    EXPECT_EQ(c.table("reported"), setOf({}));
    EXPECT_EQ(c.platform.pendingDelays().items, 1U);
}

TEST(TimeoutReport, NeverCallsTheFeedAndWritesNoLogLine)
{
    Conversation c;
    c.request("scores");
    loseConnection(c);

    c.platform.clock.jump(57.0);
    c.platform.clock.advance(3.0);

    EXPECT_EQ(c.log(), (Lines{"VEXA: OruClient is not open, delaying O-001"}));
    EXPECT_EQ(c.fed(), Values{});
}

} // namespace
} // namespace vexa::testing
