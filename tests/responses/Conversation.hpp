#pragma once

#include <testing/FakeTransport.hpp>
#include <testing/RecordingFeed.hpp>
#include <testing/ScriptedService.hpp>
#include <testing/ServiceMessages.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>
#include <VexaClient/transport/Kivora.hpp>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexa::testing {

/// Lines of the system log, whole and in order.
using Lines = std::vector<std::string>;

/// Values that are compared one by one, and print as JSON when they differ.
using Values = std::vector<Value>;

/// A draw that makes a report wait for the shortest time, 5 s.
constexpr std::uint64_t shortestDelay = 0;

/// A list of dictionaries as a value.
inline Value listValue(const std::vector<Dictionary>& dictionaries)
{
    return Value(List(dictionaries.begin(), dictionaries.end()));
}

/// The report on the topics of one request.
inline Value topicReport(const std::vector<Dictionary>& records)
{
    return Value(Dictionary{{"vexaSubscriptionResponses", listValue(records)}});
}

/// The report on the messages of one batch.
inline Value messageReport(const std::vector<Dictionary>& records)
{
    return Value(Dictionary{{"vexaMessages", listValue(records)}});
}

/// One call of the feed, with all its arguments.
inline Value feedCall(std::string_view hash, const Dictionary& message, bool isTerminating)
{
    return Value(Dictionary{{"hash", hash}, {"message", message}, {"isTerminating", isTerminating}});
}

/// A dictionary without one of its keys.
inline Dictionary without(Dictionary dictionary, std::string_view key)
{
    dictionary.erase(key);
    return dictionary;
}

/// A dictionary with one value set.
inline Dictionary with(Dictionary dictionary, std::string_view key, Value value)
{
    dictionary[key] = std::move(value);
    return dictionary;
}

/// A client on virtual time, its transport with the service behind it, and its feed.
struct Conversation {
    explicit Conversation(std::uint64_t seed = defaultSeed()) : platform{seed}
    {
        container.oruClient(transport);
        client = VexaOruClient::make(platform, container);
        client->setMessageFeedDelegate(feed);
        platform.runUntilIdle();
    }

    /// Asks for a topic and leaves the request unanswered. Returns the hash.
    std::string request(std::string_view name, double updatedAt = 0.0, const Parameters& params = std::nullopt)
    {
        std::string hash = client->createSubscription(name, params, updatedAt);
        platform.runUntilIdle();
        platform.takeLogLines();
        return hash;
    }

    /// Asks for topics that one request lists together, in this order. Returns its operation id.
    std::string requestTogether(const std::vector<std::string>& names)
    {
        for (const std::string& name : names) {
            request(name);
        }
        service.open();
        platform.takeLogLines();
        return service.expectSubscribe(names).operationId();
    }

    /// Asks for a topic and confirms it. Returns the hash.
    std::string subscribe(std::string_view name, std::string_view subscriptionId, double updatedAt = 0.0,
                          const Parameters& params = std::nullopt)
    {
        std::string hash = request(name, updatedAt, params);
        service.expectSubscribe(name).reply(success(subscriptionId));
        return hash;
    }

    /// Lets all reports that wait go out, and drops what the log, the logger and the feed have taken so far.
    void startAfresh()
    {
        reports();
        platform.takeLogLines();
        feed->take();
        transport->takeSent();
    }

    /// Lets the next `count` reports wait for 5 s each, so that they come in the order in which they were made.
    void reportInOrder(std::size_t count) { platform.nextRandomBits(std::vector<std::uint64_t>(count, shortestDelay)); }

    /// The hash of a topic without parameters.
    [[nodiscard]] std::string hash(std::string_view name) const { return client->subscriptionHash(name, std::nullopt); }

    /// What the system log has taken since the last call.
    Lines log() { return platform.takeLogLines(); }

    /// Waits until every report that was made has been sent. Returns those sent since the last call.
    Values reports()
    {
        platform.clock.advance(300.0);
        Values blobs;
        for (ServerLog& each : transport->fakeLogger().takeServerLogs()) {
            blobs.emplace_back(std::move(each.blob));
        }
        return blobs;
    }

    /// The calls of the feed since the last call of this.
    Values fed()
    {
        Values calls;
        for (const RecordingFeed::Received& each : feed->take()) {
            calls.push_back(feedCall(each.hash, *each.message, each.isTerminating));
        }
        return calls;
    }

    /// How often the transport was asked whether the application is visible.
    [[nodiscard]] std::size_t visibleReads() const { return transport->count(FakeTransport::Operation::isVisible); }

    /// The client's tables as one value: "pending", "current", "removed", "routes", "reported", "pendingSubTime" and
    /// "retryCount".
    [[nodiscard]] Dictionary tables() const
    {
        const VexaOruClient::State state = client->state();
        Dictionary pending;
        for (const auto& [id, topics] : state.pendingSubscriptions) {
            List descriptions;
            for (const TopicSubscription& each : topics) {
                descriptions.emplace_back(each.asDictionary());
            }
            pending.emplace(id, std::move(descriptions));
        }
        Dictionary current;
        for (const auto& [hash, topic] : state.currentSubscriptions) {
            current.emplace(hash, topic.asDictionary());
        }
        Dictionary routes;
        for (const auto& [id, hash] : state.subscriptionIdToHash) {
            routes.emplace(id, hash);
        }
        return {{"pending", std::move(pending)},
                {"current", std::move(current)},
                {"removed", sorted(state.removedSubscriptions)},
                {"routes", std::move(routes)},
                {"reported", sorted(state.loggedOperationIds)},
                {"pendingSubTime", state.pendingSubTime},
                {"retryCount", state.subscriptionRetryCount}};
    }

    /// One of the client's tables.
    [[nodiscard]] Value table(std::string_view name) const { return tables().at(name); }

    VirtualPlatform platform;
    std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>(platform);
    Dependencies container;
    std::shared_ptr<RecordingFeed> feed = std::make_shared<RecordingFeed>();
    std::shared_ptr<VexaOruClient> client;
    ScriptedService service{platform, *transport};

private:
    static List sorted(const TextSet& set)
    {
        std::vector<std::string> texts{set.begin(), set.end()};
        std::sort(texts.begin(), texts.end());
        return List(texts.begin(), texts.end());
    }
};

/// A table of the client that holds these entries.
inline Value tableOf(const std::vector<std::pair<std::string, Value>>& entries)
{
    Dictionary table;
    for (const auto& [key, value] : entries) {
        table.emplace(key, value);
    }
    return Value(std::move(table));
}

/// A set of the client that holds these texts.
inline Value setOf(std::vector<std::string> texts)
{
    std::sort(texts.begin(), texts.end());
    return Value(List(texts.begin(), texts.end()));
}

/// One value of each kind that JSON knows, and of each that is easily taken for another.
inline const Values& everyKind()
{
    static const Values kinds = {Value(nullptr),
                                 Value(true),
                                 Value(false),
                                 Value(0),
                                 Value(1),
                                 Value(1U),
                                 Value(-7),
                                 Value(0.0),
                                 Value(1.0),
                                 Value(1.5),
                                 Value(""),
                                 Value("true"),
                                 Value("1"),
                                 Value("text"),
                                 boost::json::parse("[]"),
                                 boost::json::parse("[true]"),
                                 boost::json::parse("[{}]"),
                                 boost::json::parse(R"([{"success":true,"subscriptionId":"s-1"},1])"),
                                 boost::json::parse("{}"),
                                 boost::json::parse(R"({"true":true})")};
    return kinds;
}

} // namespace vexa::testing
