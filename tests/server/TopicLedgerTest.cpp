#include "ServerUnderTest.hpp"
#include <host/service/TopicLedger.hpp>

#include <boost/json/serialize.hpp>

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>

namespace vexa::host {
namespace {

std::map<std::string, TopicFigures> byName(const TopicLedger& ledger, double now)
{
    std::map<std::string, TopicFigures> named;
    for (TopicFigures& each : ledger.figures(now)) {
        named.emplace(each.name, std::move(each));
    }
    return named;
}

TEST(TopicLedger, PutsBackNamesAndParameters)
{
    TopicLedger ledger{10};
    const std::string odd = "a \"quoted\": name\\";
    ledger.published(TopicKey{odd, Value(json(R"({"b":1,"a":[true,null]})"))}, 1, 5, 1);
    ledger.published(TopicKey{odd}, 1, 5, 1);
    ledger.published(TopicKey{"", Value(nullptr)}, 1, 5, 1);

    std::map<std::string, std::string> found;
    for (const TopicFigures& each : ledger.figures(1)) {
        found[each.parameters ? boost::json::serialize(*each.parameters) : "none"] = each.name;
    }
    EXPECT_EQ(found,
              (std::map<std::string, std::string>{{R"({"a":[true,null],"b":1})", odd}, {"none", odd}, {"null", ""}}));
}

TEST(TopicLedger, CountsSubscribersAndMessages)
{
    TopicLedger ledger{10};
    auto& scores = ledger.subscriptionBegan(TopicKey{"scores"}, 1);
    EXPECT_EQ(&ledger.subscriptionBegan(TopicKey{"scores"}, 1), &scores);
    TopicLedger::subscriptionEnded(scores);
    ledger.published(TopicKey{"scores"}, 3, 1700000000, 100.5);
    scores.noteReceived(20, 1700000001, 101.5);
    scores.delivered += 20;

    const TopicFigures figures = byName(ledger, 102).at("scores");
    EXPECT_EQ(figures.subscribers, 1U);
    EXPECT_EQ(figures.published, 3U);
    EXPECT_EQ(figures.received, 20U);
    EXPECT_EQ(figures.delivered, 20U);
    EXPECT_DOUBLE_EQ(figures.messagesPerSecond, 20);
    EXPECT_DOUBLE_EQ(figures.newestAt, 1700000001);
}

TEST(TopicLedger, TakesDelaysFromDeliveryReports)
{
    TopicLedger ledger{10};
    ledger.published(TopicKey{"scores", Value(4)}, 1, 5, 1);
    ledger.report(json(R"({"vexaMessages":[
        {"delivery":"online","sentAt":100,"receivedAt":100.5,"topic":{"name":"scores","parameters":4.0}},
        {"delivery":"online","sentAt":100,"receivedAt":101.5,"topic":{"name":"scores","parameters":4}},
        {"delivery":"offline","sentAt":100,"receivedAt":900,"topic":{"name":"scores","parameters":4}},
        {"delivery":"online","sentAt":0,"receivedAt":900,"topic":{"name":"scores","parameters":4}},
        {"delivery":"online","sentAt":1,"receivedAt":900},
        {"delivery":"online","sentAt":1,"receivedAt":900,"topic":{"name":"unheard of"}}]})"));

    const auto named = byName(ledger, 1);
    ASSERT_EQ(named.size(), 1U) << "a report makes no account";
    const TopicFigures& figures = named.at("scores");
    EXPECT_EQ(figures.delay.count, 2U);
    EXPECT_DOUBLE_EQ(figures.delay.mean, 1);
    EXPECT_EQ(figures.reportedReplays, 1U);
}

TEST(TopicLedger, CountsSubscriptionsThatFailed)
{
    TopicLedger ledger{10};
    ledger.published(TopicKey{"scores"}, 1, 5, 1);
    ledger.report(json(R"({"vexaSubscriptionResponses":[
        {"status":"success","topic":{"name":"scores"}},
        {"status":"fail","error":"TooManySubscriptions","topic":{"name":"scores"}},
        {"status":"success","error":"UnknownSubscriptionError","topic":{"name":"scores"}},
        {"status":"fail","error":"SubscriptionTimeoutError","topic":{"name":"scores"}}]})"));
    ledger.report(json(R"({"vexaSubscriptionResponses":"none","vexaMessages":[1]})"));

    const TopicFigures figures = byName(ledger, 1).at("scores");
    EXPECT_EQ(figures.failedSubscriptions, 2U);
    EXPECT_EQ(figures.timedOutSubscriptions, 1U);
}

TEST(TopicLedger, MakesRoomByForgettingUnusedTopics)
{
    TopicLedger ledger{2};
    auto& kept = ledger.subscriptionBegan(TopicKey{"kept"}, 0);
    ledger.published(TopicKey{"old"}, 1, 5, 0);
    ledger.published(TopicKey{"no room"}, 1, 5, 59);
    EXPECT_EQ(byName(ledger, 59).count("no room"), 0U);

    ledger.published(TopicKey{"new"}, 1, 5, 61);
    const auto named = byName(ledger, 61);
    EXPECT_EQ(named.size(), 2U);
    EXPECT_TRUE(named.contains("new"));
    EXPECT_TRUE(named.contains("kept"));
    EXPECT_EQ(kept.subscribers, 1U);
}

} // namespace
} // namespace vexa::host
