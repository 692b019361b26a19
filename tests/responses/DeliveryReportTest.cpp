#include "Conversation.hpp"

namespace vexa::testing {
namespace {

/// The record of a message of a batch that was sent at `sentAt`, to a visible application.
Dictionary record(std::string_view subscriptionId, const std::optional<Dictionary>& description, double receivedAt,
                  std::string_view delivery = "online", double sentAt = 0.0)
{
    Dictionary built{{"delivery", delivery},
                     {"subscriptionId", subscriptionId},
                     {"sentAt", sentAt},
                     {"receivedAt", receivedAt},
                     {"visible", true}};
    if (description) {
        built["topic"] = *description;
    }
    return built;
}

TEST(DeliveryReport, TellsOfAMessageWithAllItsKeys)
{
    Conversation c;
    const Parameters params = boost::json::parse(R"({"league":4})");
    c.subscribe("scores", "s-1", 10.0, params);
    c.startAfresh();
    const double receivedAt = c.platform.clock.now();

    c.service.data({entry("s-1", {}, true)}, 1699999999.5);

    EXPECT_EQ(c.reports(), (Values{messageReport({{{"delivery", "offline"},
                                                   {"subscriptionId", "s-1"},
                                                   {"sentAt", 1699999999.5},
                                                   {"receivedAt", receivedAt},
                                                   {"visible", true},
                                                   {"topic", topic("scores", params, 10.0)}}})}));
}

TEST(DeliveryReport, CallsAMessageOfflineOnlyWhenItWasReplayed)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    const double receivedAt = c.platform.clock.now();

    c.service.data({entry("s-1"), entry("s-1", {}, true), entry("s-1", {}, false),
                    with(entry("s-1"), "replayed", Value(1)), with(entry("s-1"), "replayed", Value("true")),
                    entry("s-1", {{"replayed", true}})});

    const Dictionary online = record("s-1", topic("scores"), receivedAt, "online");
    const Dictionary offline = record("s-1", topic("scores"), receivedAt, "offline");
    EXPECT_EQ(c.reports(), (Values{messageReport({online, offline, online, online, online, online})}));
}

TEST(DeliveryReport, TakesAnIntegerForTheSendingTimeAndNoneForZero)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.reportInOrder(3);
    const double receivedAt = c.platform.clock.now();

    c.service.data({entry("s-1")});
    c.service.deliver(with(dataMessage({entry("s-1")}), "sentAt", Value(1700000000)));
    c.service.deliver(with(dataMessage({entry("s-1")}), "sentAt", Value("1700000000")));

    EXPECT_EQ(c.reports(), (Values{messageReport({record("s-1", topic("scores"), receivedAt, "online", 0.0)}),
                                   messageReport({record("s-1", topic("scores"), receivedAt, "online", 1700000000.0)}),
                                   messageReport({record("s-1", topic("scores"), receivedAt, "online", 0.0)})}));
}

TEST(DeliveryReport, ReadsTheSendingTimeOfTheBatchAndNotOfItsEntries)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    const double receivedAt = c.platform.clock.now();

    c.service.data({with(entry("s-1"), "sentAt", Value(5.0))}, 7.0);

    EXPECT_EQ(c.reports(), (Values{messageReport({record("s-1", topic("scores"), receivedAt, "online", 7.0)})}));
}

TEST(DeliveryReport, ListsTheMessagesInTheOrderOfTheBatchKnownOrNot)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    const std::string news = c.subscribe("news", "s-2");
    c.client->removeSubscription(news);
    c.startAfresh();
    const double receivedAt = c.platform.clock.now();

    c.service.data({entry("s-2"), entry("s-unknown", {{"updatedAt", 5.0}}, true), entry("s-1"),
                    Dictionary{{"payload", Dictionary()}}, terminatingEntry("s-1"), entry("s-unknown")});

    EXPECT_EQ(c.reports(),
              (Values{messageReport(
                  {record("s-2", topic("news"), receivedAt), record("s-unknown", std::nullopt, receivedAt, "offline"),
                   record("s-1", topic("scores"), receivedAt), record("s-1", topic("scores"), receivedAt),
                   record("s-unknown", std::nullopt, receivedAt)})}));
}

TEST(DeliveryReport, LeavesTheTopicOutWhileTheSubscriptionIsNotCurrent)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.service.open();
    const double receivedAt = c.platform.clock.now();

    c.service.data({entry("s-1")});

    EXPECT_EQ(c.reports(), (Values{messageReport({record("s-1", std::nullopt, receivedAt)})}));
}

TEST(DeliveryReport, ShowsTheTimeThatTheWholeBatchHasRaised)
{
    Conversation c;
    c.subscribe("scores", "s-1", 10.0);
    c.startAfresh();
    const double receivedAt = c.platform.clock.now();

    c.service.data({entry("s-1"), entry("s-1", {{"updatedAt", 20.0}}), entry("s-1", {{"updatedAt", 15.0}})});

    const Dictionary raised = record("s-1", topic("scores", std::nullopt, 20.0), receivedAt);
    EXPECT_EQ(c.reports(), (Values{messageReport({raised, raised, raised})}));
}

TEST(DeliveryReport, CoversMessagesThatWereWithheld)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1", 10.0);
    c.client->removeSubscription(hash);
    c.startAfresh();
    const double receivedAt = c.platform.clock.now();

    c.service.data({entry("s-1", {{"updatedAt", 20.0}})});

    EXPECT_EQ(c.fed(), Values{});
    EXPECT_EQ(c.reports(), (Values{messageReport({record("s-1", topic("scores", std::nullopt, 20.0), receivedAt)})}));
}

TEST(DeliveryReport, IsEmptyForABatchWithNothingToTell)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.reportInOrder(2);

    c.service.data({});
    c.service.data({Dictionary(), Dictionary{{"subscriptionId", 1}}});

    EXPECT_EQ(c.reports(), (Values{messageReport({}), messageReport({})}));
}

TEST(DeliveryReport, IsMadeForEachBatchWithItsOwnTimes)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.reportInOrder(2);
    const double receivedAt = c.platform.clock.now();

    c.service.data({entry("s-1")}, 1.0);
    c.platform.clock.advance(2.25);
    c.service.data({entry("s-1")}, 2.0);

    EXPECT_EQ(c.reports(), (Values{messageReport({record("s-1", topic("scores"), receivedAt, "online", 1.0)}),
                                   messageReport({record("s-1", topic("scores"), receivedAt + 2.25, "online", 2.0)})}));
}

TEST(DeliveryReport, TellsWhetherTheApplicationWasVisibleReadOnceForTheBatch)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    const std::size_t before = c.visibleReads();
    const double receivedAt = c.platform.clock.now();

    c.transport->visible = false;
    c.service.data({entry("s-1"), entry("s-1")});
    c.transport->visible = true;

    EXPECT_EQ(c.visibleReads(), before + 1);
    const Dictionary hidden = with(record("s-1", topic("scores"), receivedAt), "visible", Value(false));
    EXPECT_EQ(c.reports(), (Values{messageReport({hidden, hidden})}));
}

TEST(DeliveryReport, SpeaksOfTheTopicThatTheIdStandsForNow)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.subscribe("news", "s-1");
    c.startAfresh();
    const double receivedAt = c.platform.clock.now();

    c.service.data({entry("s-1")});

    EXPECT_EQ(c.reports(), (Values{messageReport({record("s-1", topic("news"), receivedAt)})}));
}

} // namespace
} // namespace vexa::testing
