#include "Conversation.hpp"

#include <stdexcept>

namespace vexa::testing {
namespace {

using Operation = FakeTransport::Operation;

TEST(FeedFaults, AreLoggedWithWhatTheFeedSaidAndTheNextMessagesCome)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.startAfresh();
    int calls = 0;
    c.feed->onMessage = [&calls](const RecordingFeed::Received&) {
        if (++calls != 2) {
            throw std::runtime_error{"the feed is full"};
        }
    };

    c.service.data({entry("s-1"), entry("s-1"), terminatingEntry("s-1")});

    EXPECT_EQ(c.log(), (Lines{"VEXA: Removed " + hash, "VEXA: VexaFeed::messageFeed threw: the feed is full",
                              "VEXA: VexaFeed::messageFeed threw: the feed is full"}));
    EXPECT_EQ(c.fed(), (Values{feedCall(hash, entry("s-1"), false), feedCall(hash, entry("s-1"), false),
                               feedCall(hash, terminatingEntry("s-1"), true)}));
    EXPECT_EQ(c.reports().size(), 1U);
}

TEST(FeedFaults, DoNotStopTheFollowingBatches)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.startAfresh();
    c.feed->onMessage = [](const RecordingFeed::Received&) { throw std::runtime_error{"the feed is full"}; };

    c.service.data({entry("s-1")});
    c.service.data({entry("s-1")});

    EXPECT_EQ(c.log(), Lines(2, "VEXA: VexaFeed::messageFeed threw: the feed is full"));
    EXPECT_EQ(c.fed().size(), 2U);
}

TEST(FeedFaults, AreLoggedWhenTheyAreNoExceptionsOfTheStandardLibrary)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.feed->onMessage = [](const RecordingFeed::Received&) { throw 7; };

    c.service.data({entry("s-1")});

    EXPECT_EQ(c.log(), (Lines{"VEXA: VexaFeed::messageFeed threw something that is no std::exception"}));
}

TEST(FeedFaults, CannotForgeALogLine)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.feed->onMessage = [](const RecordingFeed::Received&) { throw std::runtime_error{"full\nVEXA: %s%n\x1b[2J"}; };

    c.service.data({entry("s-1")});

    EXPECT_EQ(c.log(), (Lines{R"(VEXA: VexaFeed::messageFeed threw: full\nVEXA: %s%n\u001b[2J)"}));
}

TEST(TransportFaults, OfTheVisibilityCountAsNotVisible)
{
    Conversation c;
    const std::string hash = c.request("scores");
    c.reportInOrder(2);
    c.transport->throwFrom(Operation::isVisible);

    c.service.expectSubscribe("scores").reply(success("s-1"));
    EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                              "VEXA: Processing responses for O-001",
                              "VEXA: OruClient::isVisible threw: the fake transport fails",
                              "VEXA: Subscription response: TopicHash: " + hash + ", SubId: s-1"}));

    const double receivedAt = c.platform.clock.now();
    c.service.data({entry("s-1")});
    EXPECT_EQ(c.log(), (Lines{"VEXA: OruClient::isVisible threw: the fake transport fails"}));
    EXPECT_EQ(c.fed(), (Values{feedCall(hash, entry("s-1"), false)}));

    EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-001"},
                                                 {"status", "success"},
                                                 {"topic", topic("scores")},
                                                 {"visible", false},
                                                 {"subscriptionId", "s-1"}}}),
                                   messageReport({{{"delivery", "online"},
                                                   {"subscriptionId", "s-1"},
                                                   {"sentAt", 0.0},
                                                   {"receivedAt", receivedAt},
                                                   {"visible", false},
                                                   {"topic", topic("scores")}}})}));
}

TEST(TransportFaults, OfTheLoggerDropTheReportAndNothingElse)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.startAfresh();
    c.transport->throwFrom(Operation::logger, 1);

    c.service.data({entry("s-1"), terminatingEntry("s-1")});

    EXPECT_EQ(c.log(),
              (Lines{"VEXA: OruClient::logger threw: the fake transport fails",
                     "VEXA: OruClient gave no logger, what was meant for it is dropped", "VEXA: Removed " + hash}));
    EXPECT_EQ(c.fed().size(), 2U);
    EXPECT_EQ(c.reports(), Values{});
}

TEST(TransportFaults, OfAMissingLoggerDropTheReportAndNothingElse)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.startAfresh();
    c.transport->setLogger(nullptr);

    c.service.data({entry("s-1")});

    EXPECT_EQ(c.log(), (Lines{"VEXA: OruClient gave no logger, what was meant for it is dropped"}));
    EXPECT_EQ(c.fed(), (Values{feedCall(hash, entry("s-1"), false)}));
    EXPECT_EQ(c.platform.pendingDelays().items, 0U);
}

TEST(TransportFaults, OfTheServersLogAreLoggedAndTheNextReportsGoOut)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.reportInOrder(2);
    c.transport->fakeLogger().throwFromNowOn(true);

    c.service.data({entry("s-1")});
    c.service.data({entry("s-1")});
    c.platform.clock.advance(5.0);

    EXPECT_EQ(c.log(), Lines(2, "VEXA: OruClientLogger::serverLog threw: the fake logger fails"));
    EXPECT_EQ(c.transport->fakeLogger().takeServerLogs().size(), 2U);
}

/// Text as a hostile service could write it, and as the log shows it.
constexpr std::string_view hostile = "%@%s%n\n\r\t\x01\x7f\xc2\x9b\"'\\VEXA: {}";
constexpr std::string_view shown = R"(%@%s%n\n\r\t\u0001\u007f\u009b"'\VEXA: {})";

TEST(TextOfTheService, IsNoFormatAndNoControlInTheLog)
{
    Conversation c;
    const std::string hash = c.request("scores");

    c.service.deliver(subscriptionResponse(hostile, {}));
    EXPECT_EQ(c.log(), (Lines{"VEXA: no pending topics for " + std::string{shown} +
                              ", most likely connectionOpened function was called."}));

    c.service.expectSubscribe("scores").reply(success(hostile));
    EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                              "VEXA: Processing responses for O-001",
                              "VEXA: Subscription response: TopicHash: " + hash + ", SubId: " + std::string{shown}}));

    c.service.terminate(hostile);
    c.service.data({entry(hostile)});
    EXPECT_EQ(c.log(), (Lines{"VEXA: Removed " + hash, "VEXA: Subscription for " + std::string{shown} +
                                                           " was previously removed, not notifying"}));
}

TEST(TextOfTheService, ReachesTheReportsUnchanged)
{
    Conversation c;
    c.request("scores");
    c.request("news");
    c.reportInOrder(3);
    const std::string text{hostile};
    c.service.deliver(subscriptionResponse("O-001", {success(text)}));
    c.service.deliver(subscriptionResponse("O-002", {failure(text, text)}));
    const double receivedAt = c.platform.clock.now();
    c.service.data({entry(text)});

    EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-001"},
                                                 {"status", "success"},
                                                 {"topic", topic("scores")},
                                                 {"visible", true},
                                                 {"subscriptionId", text}}}),
                                   topicReport({{{"operationId", "O-002"},
                                                 {"status", "fail"},
                                                 {"topic", topic("news")},
                                                 {"visible", true},
                                                 {"error", text},
                                                 {"errorMessage", text}}}),
                                   messageReport({{{"delivery", "online"},
                                                   {"subscriptionId", text},
                                                   {"sentAt", 0.0},
                                                   {"receivedAt", receivedAt},
                                                   {"visible", true},
                                                   {"topic", topic("scores")}}})}));
}

TEST(TextOfTheService, MayHoldAnythingThatATextCanHold)
{
    Conversation c;
    const std::string withZero{"s\0-1", 4};
    const std::string hash = c.subscribe("scores", withZero);
    c.log();

    c.service.data({entry(withZero), entry("s")});

    EXPECT_EQ(c.table("routes"), tableOf({{withZero, Value(hash)}}));
    EXPECT_EQ(c.fed(), (Values{feedCall(hash, entry(withZero), false)}));
}

} // namespace
} // namespace vexa::testing
