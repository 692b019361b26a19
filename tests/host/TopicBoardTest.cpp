#include "ServiceClient.hpp"
#include <host/tool/demo/Delays.hpp>
#include <host/tool/demo/DemoReport.hpp>
#include <host/tool/demo/TopicBoard.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

Figure figure(std::string topic, Parameters parameters = std::nullopt)
{
    return {std::move(topic), std::move(parameters), Unit::percent, 0, {}};
}

TopicElement element(std::uint64_t sequence, double value = 1, bool isReplayed = false, bool isTerminating = false)
{
    Dictionary message = entry("s-1", {{"sequence", sequence}, {"value", value}});
    if (isReplayed) {
        message["replayed"] = true;
    }
    return {std::make_shared<const Dictionary>(std::move(message)), isTerminating};
}

struct BoardWithOneTopic {
    TopicBoard board;
    std::size_t topic = board.addTopic(figure("memory"));
    std::size_t stream = board.addStream(topic);

    void publish(int count)
    {
        for (int n = 0; n < count; ++n) {
            static_cast<void>(board.publishNext(topic));
        }
    }
};

TEST(TopicBoard, NumbersWhatIsPublishedOnEachTopic)
{
    TopicBoard board;
    const std::size_t first = board.addTopic(figure("memory"));
    const std::size_t second = board.addTopic(figure("network", Value(json(R"({"interface":"eth0"})"))));

    EXPECT_EQ(board.publishNext(first), 1U);
    EXPECT_EQ(board.publishNext(first), 2U);
    EXPECT_EQ(board.publishNext(second), 1U);
    EXPECT_EQ(board.indexOf(figure("network", Value(json(R"({"interface":"eth0"})")))), second);
    EXPECT_EQ(board.indexOf(figure("network")), std::nullopt);
}

TEST(TopicBoard, CountsEachStreamForItself)
{
    BoardWithOneTopic t;
    const std::size_t other = t.board.addStream(t.topic);
    t.publish(4);

    for (const std::uint64_t number : {1U, 2U, 4U, 4U}) {
        t.board.received(t.stream, element(number), 10);
    }
    for (const std::uint64_t number : {1U, 3U, 2U}) {
        t.board.received(other, element(number, 1, true), 10);
    }

    const StreamTotals totals = t.board.totals();
    EXPECT_EQ(totals.streams, 2U);
    EXPECT_EQ(totals.published, 4U);
    EXPECT_EQ(totals.delivered, 7U);
    EXPECT_EQ(totals.replayed, 3U);
    EXPECT_EQ(totals.missing, 2U);
    EXPECT_EQ(totals.duplicated, 1U);
    EXPECT_EQ(totals.outOfOrder, 1U);
}

TEST(TopicBoard, TakesAMessageWithoutItsNumberForARepetition)
{
    BoardWithOneTopic t;
    t.publish(1);

    t.board.received(t.stream, {std::make_shared<const Dictionary>(), false}, 10);
    t.board.received(t.stream, {std::make_shared<const Dictionary>(entry("s-1", {{"sequence", "1"}})), false}, 10);

    EXPECT_EQ(t.board.totals().duplicated, 2U);
    EXPECT_EQ(t.board.totals().missing, 1U);
}

TEST(TopicBoard, KnowsWhenEveryStreamHasCaughtUp)
{
    BoardWithOneTopic t;
    t.publish(2);
    t.board.mark();
    t.publish(1);
    EXPECT_FALSE(t.board.hasCaughtUp());

    t.board.received(t.stream, element(1), 10);
    EXPECT_FALSE(t.board.hasCaughtUp());
    t.board.received(t.stream, element(2), 10);
    EXPECT_TRUE(t.board.hasCaughtUp()) << "the third was published after the mark";

    t.board.mark();
    EXPECT_FALSE(t.board.hasCaughtUp());
}

TEST(TopicBoard, ShowsTheNewestValueAndTheRate)
{
    BoardWithOneTopic t;
    t.publish(20);
    for (int number = 1; number <= 20; ++number) {
        t.board.received(t.stream, element(static_cast<std::uint64_t>(number), number), 10 + 0.1 * number);
    }

    const TopicRow row = t.board.rows(12.0).at(0);
    EXPECT_EQ(row.value, 20.0);
    EXPECT_EQ(row.recent, (std::vector<double>{4, 9, 14, 19, 20}));
    EXPECT_NEAR(row.perSecond, 10.0, 1.0);
    EXPECT_EQ(t.board.rows(15.0).at(0).perSecond, 0.0);
    EXPECT_EQ(row.published, 20U);
    EXPECT_EQ(row.delivered, 20U);
}

TEST(TopicBoard, WritesParametersForPeople)
{
    TopicBoard board;
    board.addTopic(figure("memory"));
    board.addTopic(figure("network", Value(json(R"({"interface":"eth0","side":2})"))));
    board.addTopic(figure("disk", Value("sda")));

    const auto rows = board.rows(0);
    EXPECT_EQ(rows[0].parameters, "");
    EXPECT_EQ(rows[1].parameters, "interface eth0, side 2");
    EXPECT_EQ(rows[2].parameters, "sda");
}

TEST(TopicBoard, TellsHowEachStreamEnded)
{
    BoardWithOneTopic t;
    const std::size_t cancelled = t.board.addStream(t.topic);
    const std::size_t tooEarly = t.board.addStream(t.topic);
    static_cast<void>(t.board.addStream(t.topic));
    t.board.received(t.stream, element(1, 1, false, true), 10);
    EXPECT_EQ(t.board.ends().byService, 0U) << "the stream itself goes on";

    t.board.ended(t.stream, false);
    t.board.ended(cancelled, true);
    t.board.ended(tooEarly, false);

    EXPECT_EQ(t.board.ends().byService, 1U);
    EXPECT_EQ(t.board.ends().byConsumer, 1U);
    EXPECT_EQ(t.board.ends().badly, 2U);
    EXPECT_FALSE(t.board.allEnded());
    EXPECT_FALSE(t.board.wasTerminated(t.topic));
    EXPECT_TRUE(t.board.rows(10).at(0).hasEnded);
}

TEST(Delays, GiveWhatAPartOfTheMessagesDidNotExceed)
{
    Delays delays;
    EXPECT_EQ(delays.quantile(0.5), std::nullopt);
    for (int n = 100; n >= 1; --n) {
        delays.add(n);
    }

    EXPECT_EQ(delays.quantile(0.5), 50.0);
    EXPECT_EQ(delays.quantile(0.99), 99.0);
    EXPECT_EQ(delays.quantile(1), 100.0);
    EXPECT_EQ(delays.quantile(0), 1.0);
}

/// The summary of a run in which all went well.
DemoSummary goodSummary()
{
    DemoSummary summary;
    summary.totals.streams = 2;
    summary.totals.published = 10;
    summary.totals.delivered = 20;
    summary.ends = {1, 1, 0};
    summary.topicWasEnded = true;
    summary.openings = 2;
    summary.echoes = 1;
    return summary;
}

using Complaints = std::vector<std::string>;

TEST(DemoSummary, HasNothingToComplainOfWhenAllWentWell)
{
    EXPECT_EQ(goodSummary().complaints(), Complaints{});
    EXPECT_EQ(goodSummary().asDictionary().at("passed"), true);
}

TEST(DemoSummary, ComplainsOfEachFault)
{
    const auto complaintsAfter = [](void (*spoil)(DemoSummary&)) {
        DemoSummary summary = goodSummary();
        spoil(summary);
        EXPECT_EQ(summary.asDictionary().at("passed"), false);
        return summary.complaints();
    };

    EXPECT_EQ(complaintsAfter([](DemoSummary& s) { s.totals.delivered = 0; }), Complaints{"nothing was delivered"});
    EXPECT_EQ(complaintsAfter([](DemoSummary& s) { s.totals.missing = 3; }), Complaints{"3 lost"});
    EXPECT_EQ(complaintsAfter([](DemoSummary& s) { s.totals.duplicated = 1; }), Complaints{"1 duplicated"});
    EXPECT_EQ(complaintsAfter([](DemoSummary& s) { s.totals.outOfOrder = 2; }), Complaints{"2 out of order"});
    EXPECT_EQ(complaintsAfter([](DemoSummary& s) { s.ends.badly = 1; }),
              Complaints{"1 of the streams did not end as they should"});
    EXPECT_EQ(complaintsAfter([](DemoSummary& s) { s.topicWasEnded = false; }),
              Complaints{"the topic that the service ended did not end"});
    EXPECT_EQ(complaintsAfter([](DemoSummary& s) { s.echoes = 0; }),
              Complaints{"the service did not receive the echo"});
    EXPECT_EQ(complaintsAfter([](DemoSummary& s) { s.openings = 1; }), Complaints{"the connection did not open again"});
}

TEST(DemoSummary, AsksLessOfAnInterruptedRun)
{
    DemoSummary summary = goodSummary();
    summary.wasInterrupted = true;
    summary.topicWasEnded = false;
    summary.echoes = 0;
    summary.openings = 1;
    EXPECT_EQ(summary.complaints(), Complaints{});

    summary.totals.missing = 1;
    EXPECT_EQ(summary.complaints(), Complaints{"1 lost"});
}

} // namespace
} // namespace vexa::host
