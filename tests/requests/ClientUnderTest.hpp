#pragma once

#include "HookedTransport.hpp"
#include <testing/FakeTransport.hpp>
#include <testing/ScriptedService.hpp>
#include <testing/ServiceMessages.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/platform/Json.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>
#include <VexaClient/transport/Kivora.hpp>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::testing {

using Operation = FakeTransport::Operation;

using Lines = std::vector<std::string>;

/// The JSON in `text`.
inline Value json(std::string_view text)
{
    return boost::json::parse(boost::json::string_view{text.data(), text.size()});
}

inline Value listOf(const std::vector<Dictionary>& dictionaries)
{
    return Value(List(dictionaries.begin(), dictionaries.end()));
}

/// The log line for a request that was handed to the transport.
inline std::string sendingLine(const Dictionary& request)
{
    return "VEXA: Sending subscription request " + boost::json::serialize(request);
}

/// A subscription client on virtual time over a transport that the test plays.
struct ClientUnderTest {
    explicit ClientUnderTest(std::uint64_t seed = defaultSeed(), VirtualOptions options = {},
                             FakeTransport::Hold hold = FakeTransport::Hold::weakly)
        : platform{seed, options},
          transport{std::make_shared<FakeTransport>(platform, hold)},
          hooks{std::make_shared<HookedTransport>(transport)},
          service{platform, *transport}
    {
        container.oruClient(hooks);
        client = VexaOruClient::make(platform, container);
    }

    /// Creates a subscription and runs what that made ready.
    std::string subscribe(std::string_view name, const Parameters& params = std::nullopt, double updatedAt = 0.0)
    {
        std::string hash = client->createSubscription(name, params, updatedAt);
        platform.runUntilIdle();
        return hash;
    }

    /// Creates a subscription that the service confirms.
    std::string confirm(std::string_view name, std::string_view subscriptionId, double updatedAt = 0.0)
    {
        std::string hash = subscribe(name, std::nullopt, updatedAt);
        service.expectSubscribe(name).reply(success(subscriptionId));
        return hash;
    }

    /// Forgets what was logged and sent so far.
    void forgetThePast()
    {
        platform.takeLogLines();
        transport->takeSent();
        transport->fakeLogger().takeConsoleLines();
    }

    /// The messages sent since the last call.
    Value takeSent() { return listOf(transport->takeSent()); }

    [[nodiscard]] Value tables() const;

    VirtualPlatform platform;
    Dependencies container;
    std::shared_ptr<FakeTransport> transport;
    std::shared_ptr<HookedTransport> hooks;
    std::shared_ptr<VexaOruClient> client;
    ScriptedService service;
};

inline Value sortedList(const TextSet& texts)
{
    const std::set<std::string> sorted{texts.begin(), texts.end()};
    return Value(List(sorted.begin(), sorted.end()));
}

/// The tables of a client that has done nothing yet, with changes.
inline Value tablesWith(const Dictionary& changes)
{
    Value tables = json(R"({
        "messageListenerId": null, "connectionListenerId": null, "nextOperationId": 0,
        "pendingSubscriptions": {}, "currentSubscriptions": {}, "removedSubscriptions": [], "subscriptionIdToHash": {},
        "pendingSubTime": 0.0, "loggedOperationIds": [], "subscriptionRetryCount": 0,
        "hasTimer": false, "hasDelegate": false})");
    for (const auto& change : changes) {
        tables.get_object()[change.key()] = change.value();
    }
    return tables;
}

inline Value optionalId(const std::optional<std::int64_t>& id)
{
    return id ? Value(*id) : Value(nullptr);
}

/// All that the client remembers, as one dictionary; sets are sorted lists, topics their descriptions.
inline Value ClientUnderTest::tables() const
{
    const VexaOruClient::State state = client->state();
    Dictionary pending;
    for (const auto& [id, topics] : state.pendingSubscriptions) {
        List descriptions;
        for (const TopicSubscription& each : topics) {
            descriptions.emplace_back(each.asDictionary());
        }
        pending[id] = descriptions;
    }
    Dictionary current;
    for (const auto& [hash, each] : state.currentSubscriptions) {
        current[hash] = each.asDictionary();
    }
    Dictionary routes;
    for (const auto& [id, hash] : state.subscriptionIdToHash) {
        routes[id] = hash;
    }
    Dictionary changes;
    changes["messageListenerId"] = optionalId(state.messageListenerId);
    changes["connectionListenerId"] = optionalId(state.connectionListenerId);
    changes["nextOperationId"] = state.nextOperationId;
    changes["pendingSubscriptions"] = pending;
    changes["currentSubscriptions"] = current;
    changes["removedSubscriptions"] = sortedList(state.removedSubscriptions);
    changes["subscriptionIdToHash"] = routes;
    changes["pendingSubTime"] = state.pendingSubTime;
    changes["loggedOperationIds"] = sortedList(state.loggedOperationIds);
    changes["subscriptionRetryCount"] = state.subscriptionRetryCount;
    changes["hasTimer"] = state.pendingSubTimer != nullptr;
    changes["hasDelegate"] = state.delegate != nullptr;
    return tablesWith(changes);
}

} // namespace vexa::testing
