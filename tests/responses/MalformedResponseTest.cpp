#include "Conversation.hpp"

#include <random>

namespace vexa::testing {
namespace {

/// All that an answer to a request for "scores" and "news", operation O-003, brings about.
Value outcomeOf(const Dictionary& response)
{
    Conversation c;
    c.requestTogether({"scores", "news"});
    c.service.deliver(response);
    const Lines log = c.log();
    Dictionary tables = c.tables();
    const Values reports = c.reports();
    return Value(Dictionary{{"log", List(log.begin(), log.end())},
                            {"tables", std::move(tables)},
                            {"reports", List(reports.begin(), reports.end())},
                            {"fed", c.fed().size()}});
}

Dictionary responseWith(const Dictionary& firstEntry)
{
    return subscriptionResponse("O-003", {firstEntry, success("s-2")});
}

bool isListOfDictionaries(const Value& value)
{
    return value.is_array() && std::all_of(value.get_array().begin(), value.get_array().end(),
                                           [](const Value& each) { return each.is_object(); });
}

TEST(MalformedResponse, TakesAnOperationIdThatIsNoTextForAbsent)
{
    const Dictionary valid = responseWith(success("s-1"));
    const Value absent = outcomeOf(without(valid, "operationId"));
    ASSERT_NE(absent, outcomeOf(valid));

    for (const Value& kind : everyKind()) {
        SCOPED_TRACE(boost::json::serialize(kind));
        if (!kind.is_string()) {
            EXPECT_EQ(outcomeOf(with(valid, "operationId", kind)), absent);
        }
    }
}

TEST(MalformedResponse, TakesTopicsThatAreNoListOfDictionariesForAbsent)
{
    const Dictionary valid = responseWith(success("s-1"));
    const Value absent = outcomeOf(without(valid, "topics"));
    ASSERT_NE(absent, outcomeOf(valid));

    for (const Value& kind : everyKind()) {
        SCOPED_TRACE(boost::json::serialize(kind));
        if (!isListOfDictionaries(kind)) {
            EXPECT_EQ(outcomeOf(with(valid, "topics", kind)), absent);
        }
    }
}

TEST(MalformedResponse, TakesTopicsWithOneThingThatIsNoDictionaryForAbsent)
{
    const Dictionary valid = responseWith(success("s-1"));
    const Value absent = outcomeOf(without(valid, "topics"));

    for (const Value& kind : everyKind()) {
        SCOPED_TRACE(boost::json::serialize(kind));
        if (kind.is_object()) {
            continue;
        }
        for (const std::size_t place : {0U, 1U, 2U}) {
            Dictionary response = valid;
            List& topics = response["topics"].get_array();
            topics.insert(topics.begin() + place, kind);
            EXPECT_EQ(outcomeOf(response), absent) << "at place " << place;
        }
    }
}

TEST(MalformedResponse, TakesASuccessThatIsNoBooleanForAbsent)
{
    const Dictionary valid = success("s-1");
    const Value absent = outcomeOf(responseWith(without(valid, "success")));
    ASSERT_NE(absent, outcomeOf(responseWith(valid)));
    ASSERT_EQ(absent, outcomeOf(responseWith(with(valid, "success", Value(false)))));

    for (const Value& kind : everyKind()) {
        SCOPED_TRACE(boost::json::serialize(kind));
        if (!kind.is_bool()) {
            EXPECT_EQ(outcomeOf(responseWith(with(valid, "success", kind))), absent);
        }
    }
}

TEST(MalformedResponse, TakesASubscriptionIdThatIsNoTextForAbsent)
{
    const Value absent = outcomeOf(responseWith(successWithoutId()));
    ASSERT_NE(absent, outcomeOf(responseWith(success("s-1"))));

    for (const Value& kind : everyKind()) {
        SCOPED_TRACE(boost::json::serialize(kind));
        if (!kind.is_string()) {
            EXPECT_EQ(outcomeOf(responseWith(with(success("s-1"), "subscriptionId", kind))), absent);
        }
    }
}

TEST(MalformedResponse, TakesErrorTextsThatAreNoTextForAbsent)
{
    const Dictionary valid = failure("NotAllowed", "No access");
    for (const std::string_view key : {"error", "errorMessage"}) {
        const Value absent = outcomeOf(responseWith(without(valid, key)));
        ASSERT_NE(absent, outcomeOf(responseWith(valid)));

        for (const Value& kind : everyKind()) {
            SCOPED_TRACE(std::string{key} + " " + boost::json::serialize(kind));
            if (!kind.is_string()) {
                EXPECT_EQ(outcomeOf(responseWith(with(valid, key, kind))), absent);
            }
        }
    }
}

TEST(MalformedResponse, AcceptsAnyTextAsSubscriptionIdEvenAnEmptyOne)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "");

    EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                              "VEXA: Processing responses for O-001",
                              "VEXA: Subscription response: TopicHash: " + hash + ", SubId: "}));
    EXPECT_EQ(c.table("routes"), tableOf({{"", Value(hash)}}));
}

TEST(MalformedResponse, IgnoresWhatItDoesNotKnow)
{
    const Dictionary extended = with(success("s-1"), "extra", boost::json::parse(R"({"a":[1,2]})"));

    EXPECT_EQ(outcomeOf(with(responseWith(extended), "messages", Value("none"))),
              outcomeOf(responseWith(success("s-1"))));
}

/// An entry of "topics" in which each known key is absent or of a drawn kind.
Dictionary drawnEntry(std::mt19937_64& random)
{
    Dictionary drawn;
    for (const std::string_view key : {"success", "subscriptionId", "error", "errorMessage"}) {
        const std::size_t chosen = random() % (everyKind().size() + 1);
        if (chosen < everyKind().size()) {
            drawn[key] = everyKind()[chosen];
        }
    }
    if (random() % 2 == 0) {
        drawn["success"] = true;
    }
    return drawn;
}

std::string textOr(const Dictionary& entry, std::string_view key, std::string_view otherwise)
{
    const Value* value = entry.if_contains(key);
    return value != nullptr && value->is_string() ? std::string{value->get_string()} : std::string{otherwise};
}

/// The record that the entry calls for.
Dictionary recordOf(std::string_view name, const Dictionary& entry)
{
    const bool isSuccess = entry.contains("success") && entry.at("success") == Value(true);
    Dictionary record{{"operationId", "O-004"},
                      {"status", isSuccess ? "success" : "fail"},
                      {"topic", topic(name)},
                      {"visible", true}};
    if (!isSuccess) {
        record["error"] = textOr(entry, "error", "UnknownSubscriptionError");
        record["errorMessage"] = textOr(entry, "errorMessage", "Subscription response 'success' was false");
    } else if (entry.contains("subscriptionId") && entry.at("subscriptionId").is_string()) {
        record["subscriptionId"] = entry.at("subscriptionId");
    } else {
        record["error"] = "UnknownSubscriptionError";
        record["errorMessage"] = "Subscription response 'success' was true, but missing 'subscriptionId'";
    }
    return record;
}

TEST(MalformedResponse, GetsTheRecordsThatItsShapeCallsFor)
{
    const std::vector<std::string> names{"scores", "news", "weather"};
    for (const std::uint64_t seed : seeds(300)) {
        SCOPED_TRACE(replayHint(seed));
        std::mt19937_64 random{seed};
        Conversation c{seed};
        c.requestTogether(names);
        Lines log{"VEXA: subscriptions all accounted for, reseting retry count",
                  "VEXA: Processing responses for O-004"};
        std::vector<Dictionary> entries;
        std::vector<Dictionary> records;
        Dictionary current;
        Dictionary routes;
        for (const std::string& name : names) {
            entries.push_back(drawnEntry(random));
            records.push_back(recordOf(name, entries.back()));
            if (const Value* id = records.back().if_contains("subscriptionId")) {
                const std::string text{id->get_string()};
                log.push_back("VEXA: Subscription response: TopicHash: " + c.hash(name) + ", SubId: " + text);
                current[c.hash(name)] = topic(name);
                routes[text] = c.hash(name);
            }
        }

        c.service.deliver(subscriptionResponse("O-004", entries));

        EXPECT_EQ(c.log(), log);
        EXPECT_EQ(c.table("pending"), tableOf({}));
        EXPECT_EQ(c.table("current"), Value(current));
        EXPECT_EQ(c.table("routes"), Value(routes));
        EXPECT_EQ(c.reports(), (Values{topicReport(records)}));
    }
}

} // namespace
} // namespace vexa::testing
