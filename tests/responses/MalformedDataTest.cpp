#include "Conversation.hpp"

#include <map>
#include <random>

namespace vexa::testing {
namespace {

/// All that a data message brings about for a client that follows "scores" as s-1, known up to the time 10.
Value outcomeOf(const Dictionary& message)
{
    Conversation c;
    c.subscribe("scores", "s-1", 10.0);
    c.startAfresh();
    c.service.deliver(message);
    const Lines log = c.log();
    Dictionary tables = c.tables();
    const Values fed = c.fed();
    const Values reports = c.reports();
    return Value(Dictionary{{"log", List(log.begin(), log.end())},
                            {"tables", std::move(tables)},
                            {"fed", List(fed.begin(), fed.end())},
                            {"reports", List(reports.begin(), reports.end())}});
}

/// What a data message brings about apart from the message that the feed is given.
Value effectOf(const Dictionary& message)
{
    Value outcome = outcomeOf(message);
    for (Value& call : outcome.at("fed").as_array()) {
        call.as_object().erase("message");
    }
    return outcome;
}

const Dictionary validEntry{{"subscriptionId", "s-1"},
                            {"payload", {{"isTerminating", true}, {"updatedAt", 20.0}, {"score", 1}}},
                            {"replayed", true}};

Dictionary batchOf(const Dictionary& entry)
{
    return dataMessage({entry}, 1700000000.5);
}

TEST(MalformedData, IsDroppedWithoutATraceWhenMessagesIsNoListOfDictionaries)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    const Dictionary before = c.tables();
    const std::size_t reads = c.visibleReads();
    const Dictionary valid = batchOf(validEntry);

    c.service.deliver(without(valid, "messages"));
    for (const Value& kind : everyKind()) {
        if (kind == boost::json::parse("[]") || kind == boost::json::parse("[{}]")) {
            continue;
        }
        c.service.deliver(with(valid, "messages", kind));
        if (!kind.is_object()) {
            c.service.deliver(with(valid, "messages", Value(List{Value(validEntry), kind})));
            c.service.deliver(with(valid, "messages", Value(List{kind, Value(validEntry)})));
        }
    }

    EXPECT_EQ(c.log(), Lines{});
    EXPECT_EQ(c.tables(), before);
    EXPECT_EQ(c.visibleReads(), reads);
    EXPECT_EQ(c.fed(), Values{});
    EXPECT_EQ(c.reports(), Values{});
}

TEST(MalformedData, SkipsAnEntryWithoutASubscriptionIdThatIsText)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.startAfresh();
    std::vector<Dictionary> entries{without(validEntry, "subscriptionId"), Dictionary()};
    for (const Value& kind : everyKind()) {
        if (!kind.is_string()) {
            entries.push_back(with(validEntry, "subscriptionId", kind));
        }
    }
    entries.push_back(entry("s-1"));

    const double receivedAt = c.platform.clock.now();
    c.service.data(entries);

    EXPECT_EQ(c.log(), Lines{});
    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores")}}));
    EXPECT_EQ(c.fed(), (Values{feedCall(hash, entry("s-1"), false)}));
    EXPECT_EQ(c.reports(), (Values{messageReport({{{"delivery", "online"},
                                                   {"subscriptionId", "s-1"},
                                                   {"sentAt", 0.0},
                                                   {"receivedAt", receivedAt},
                                                   {"visible", true},
                                                   {"topic", topic("scores")}}})}));
}

TEST(MalformedData, DeliversAnEntryWhosePayloadIsNoDictionaryAsItIs)
{
    const Value absent = effectOf(batchOf(without(validEntry, "payload")));
    ASSERT_NE(absent, effectOf(batchOf(validEntry)));

    for (const Value& kind : everyKind()) {
        SCOPED_TRACE(boost::json::serialize(kind));
        const Dictionary odd = with(validEntry, "payload", kind);
        EXPECT_EQ(effectOf(batchOf(odd)), absent);
        EXPECT_EQ(outcomeOf(batchOf(odd)).at("fed").as_array().at(0).at("message"), Value(odd));
    }
}

TEST(MalformedData, TakesValuesOfAnotherKindInThePayloadForAbsent)
{
    const Dictionary payload = validEntry.at("payload").as_object();
    const auto batchWith = [](const Dictionary& changed) {
        return batchOf(with(validEntry, "payload", Value(changed)));
    };
    const Value noTermination = effectOf(batchWith(without(payload, "isTerminating")));
    const Value noTime = effectOf(batchWith(without(payload, "updatedAt")));
    ASSERT_NE(noTermination, effectOf(batchOf(validEntry)));
    ASSERT_NE(noTime, effectOf(batchOf(validEntry)));

    for (const Value& kind : everyKind()) {
        SCOPED_TRACE(boost::json::serialize(kind));
        if (!kind.is_bool()) {
            EXPECT_EQ(effectOf(batchWith(with(payload, "isTerminating", kind))), noTermination);
        }
        if (!kind.is_number()) {
            EXPECT_EQ(effectOf(batchWith(with(payload, "updatedAt", kind))), noTime);
        }
    }
}

TEST(MalformedData, TakesAReplayedThatIsNoBooleanForOnline)
{
    const Value absent = effectOf(batchOf(without(validEntry, "replayed")));
    ASSERT_NE(absent, effectOf(batchOf(validEntry)));
    ASSERT_EQ(absent, effectOf(batchOf(with(validEntry, "replayed", Value(false)))));

    for (const Value& kind : everyKind()) {
        SCOPED_TRACE(boost::json::serialize(kind));
        if (!kind.is_bool()) {
            EXPECT_EQ(effectOf(batchOf(with(validEntry, "replayed", kind))), absent);
        }
    }
}

TEST(MalformedData, TakesASendingTimeThatIsNoNumberForNone)
{
    const Dictionary valid = batchOf(validEntry);
    const Value absent = outcomeOf(without(valid, "sentAt"));
    ASSERT_NE(absent, outcomeOf(valid));

    for (const Value& kind : everyKind()) {
        SCOPED_TRACE(boost::json::serialize(kind));
        if (!kind.is_number()) {
            EXPECT_EQ(outcomeOf(with(valid, "sentAt", kind)), absent);
        }
    }
}

/// An entry of "messages" in which each known key is valid, absent or of a drawn kind.
Dictionary drawnEntry(std::mt19937_64& random)
{
    const auto draw = [&random](Dictionary& dictionary, std::string_view key, const Value& valid) {
        const std::size_t chosen = random() % (3 * everyKind().size());
        if (chosen < everyKind().size()) {
            dictionary[key] = everyKind()[chosen];
        } else if (chosen < 2 * everyKind().size()) {
            dictionary[key] = valid;
        }
    };
    Dictionary payload;
    draw(payload, "updatedAt", Value(static_cast<double>(random() % 40)));
    draw(payload, "isTerminating", Value(random() % 8 == 0));
    Dictionary drawn;
    draw(drawn, "subscriptionId", Value(random() % 4 == 0 ? "s-unknown" : random() % 2 == 0 ? "s-1" : "s-2"));
    draw(drawn, "payload", Value(payload));
    draw(drawn, "replayed", Value(random() % 2 == 0));
    return drawn;
}

bool isTrueAt(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = dictionary.if_contains(key);
    return value != nullptr && *value == Value(true);
}

/// What the client has to make of one batch, worked out from the rules by hand.
struct Expected {
    std::map<std::string, std::string> names{{"s-1", "scores"}, {"s-2", "news"}};
    std::map<std::string, double> updatedAt{{"s-1", 10.0}, {"s-2", 10.0}};
    Lines log;
    Values fed;
    std::vector<std::pair<std::string, std::string>> reported; ///< subscription ids with their kind of delivery
};

void expectEntry(Expected& expected, const Dictionary& message, const Conversation& c)
{
    const Value* id = message.if_contains("subscriptionId");
    if (id == nullptr || !id->is_string()) {
        return;
    }
    const std::string subscriptionId{id->get_string()};
    expected.reported.emplace_back(subscriptionId, isTrueAt(message, "replayed") ? "offline" : "online");
    if (!expected.names.contains(subscriptionId)) {
        return;
    }
    bool isTerminating = false;
    const Value* payload = message.if_contains("payload");
    if (payload != nullptr && payload->is_object()) {
        isTerminating = isTrueAt(payload->get_object(), "isTerminating");
        const Value* updatedAt = payload->get_object().if_contains("updatedAt");
        if (updatedAt != nullptr && updatedAt->is_number()) {
            double& known = expected.updatedAt[subscriptionId];
            known = std::max(known, updatedAt->to_number<double>());
        }
    }
    const std::string hash = c.hash(expected.names[subscriptionId]);
    expected.fed.push_back(feedCall(hash, message, isTerminating));
    if (isTerminating) {
        expected.log.push_back("VEXA: Removed " + hash);
    }
}

TEST(MalformedData, GetsTheCallsAndRecordsThatItsShapeCallsFor)
{
    for (const std::uint64_t seed : seeds(300)) {
        SCOPED_TRACE(replayHint(seed));
        std::mt19937_64 random{seed};
        Conversation c{seed};
        c.subscribe("scores", "s-1", 10.0);
        c.subscribe("news", "s-2", 10.0);
        c.startAfresh();
        std::vector<Dictionary> entries;
        Expected expected;
        for (int i = 0; i < 6; ++i) {
            entries.push_back(drawnEntry(random));
            expectEntry(expected, entries.back(), c);
        }
        std::vector<Dictionary> records;
        const double receivedAt = c.platform.clock.now();
        for (const auto& [subscriptionId, delivery] : expected.reported) {
            records.push_back({{"delivery", delivery},
                               {"subscriptionId", subscriptionId},
                               {"sentAt", 1700000000.5},
                               {"receivedAt", receivedAt},
                               {"visible", true}});
            if (expected.names.contains(subscriptionId)) {
                records.back()["topic"] =
                    topic(expected.names[subscriptionId], std::nullopt, expected.updatedAt[subscriptionId]);
            }
        }

        c.service.data(entries, 1700000000.5);

        EXPECT_EQ(c.log(), expected.log);
        EXPECT_EQ(c.fed(), expected.fed);
        EXPECT_EQ(c.reports(), (Values{messageReport(records)}));
    }
}

} // namespace
} // namespace vexa::testing
