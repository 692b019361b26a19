#pragma once

#include <testing/FakeTransport.hpp>
#include <testing/RecordingClient.hpp>
#include <testing/RecordingListener.hpp>
#include <testing/ScriptedService.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexa {

using Lines = std::vector<std::string>;
using Ids = std::vector<std::int64_t>;
using Hashes = std::vector<std::string>;
using Stream = AsyncStream<VexaSubscriptionStream::Element>;

/// A message whose content is its place in a sequence.
inline Dictionary numbered(int number)
{
    return {{"number", number}};
}

/// The dictionary that a text holds.
inline Dictionary dictionary(std::string_view text)
{
    return boost::json::parse(boost::json::string_view{text.data(), text.size()}).as_object();
}

/// A message as it came, to be compared whole.
struct Delivered {
    Dictionary message;
    bool isTerminating;

    friend bool operator==(const Delivered&, const Delivered&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Delivered& each)
    {
        return out << boost::json::serialize(each.message) << (each.isTerminating ? " (terminating)" : "");
    }
};
using Deliveries = std::vector<Delivered>;

/// What a listener has received since the last call.
inline Deliveries taken(testing::RecordingListener& listener)
{
    Deliveries all;
    for (const auto& each : listener.take()) {
        all.push_back({*each.message, each.isTerminating});
    }
    return all;
}

/// What waits in a stream, taken out of it without waiting.
inline Deliveries taken(Stream& stream)
{
    Deliveries all;
    while (const auto element = stream.waitFor(0)) {
        all.push_back({*element->message, element->isTerminating});
    }
    return all;
}

/// A manager over a client that only keeps what it is asked for, on virtual time. The client's hash of a topic is its
/// name, a number sign and its parameters.
struct ManagerOverRecordingClient {
    explicit ManagerOverRecordingClient(std::uint64_t seed = testing::defaultSeed()) : platform{seed} {}

    ~ManagerOverRecordingClient()
    {
        platform.runUntilIdle();
        client->setMessageFeedDelegate(nullptr);
    }

    ManagerOverRecordingClient(const ManagerOverRecordingClient&) = delete;
    ManagerOverRecordingClient& operator=(const ManagerOverRecordingClient&) = delete;

    std::int64_t add(std::string_view name, std::shared_ptr<VexaSubscriptionListener> listener)
    {
        return manager->addMessageListener(name, std::nullopt, 0.0, std::move(listener));
    }

    std::int64_t add(std::string_view name) { return add(name, std::make_shared<testing::RecordingListener>()); }

    Stream createStream(std::string_view name)
    {
        return VexaSubscriptionStream::createStream(name, std::nullopt, std::nullopt, manager);
    }

    void remove(std::int64_t listenerId)
    {
        manager->removeMessageListener(listenerId);
        platform.runUntilIdle();
    }

    Message deliver(std::string_view hash, Dictionary message, bool isTerminating = false)
    {
        Message delivered = client->deliver(hash, std::move(message), isTerminating);
        platform.runUntilIdle();
        return delivered;
    }

    testing::VirtualPlatform platform;
    std::shared_ptr<testing::RecordingClient> client = std::make_shared<testing::RecordingClient>();
    std::shared_ptr<VexaOruSubscriptionManager> manager = VexaOruSubscriptionManager::make(platform, client);
};

/// The whole library between a fake transport and its streams, on virtual time.
struct WholeLibrary {
    explicit WholeLibrary(std::uint64_t seed = testing::defaultSeed()) : platform{seed}
    {
        container.oruClient(transport);
        client = VexaOruClient::make(platform, container);
        manager = VexaOruSubscriptionManager::make(platform, client);
    }

    ~WholeLibrary()
    {
        client->setMessageFeedDelegate(nullptr);
        platform.runUntilIdle();
    }

    WholeLibrary(const WholeLibrary&) = delete;
    WholeLibrary& operator=(const WholeLibrary&) = delete;

    Stream createStream(std::string_view name, const Parameters& params = std::nullopt,
                        std::optional<double> updatedAt = std::nullopt)
    {
        return VexaSubscriptionStream::createStream(name, params, updatedAt, manager);
    }

    testing::VirtualPlatform platform;
    std::shared_ptr<testing::FakeTransport> transport = std::make_shared<testing::FakeTransport>(platform);
    Dependencies container;
    std::shared_ptr<VexaOruClient> client;
    std::shared_ptr<VexaOruSubscriptionManager> manager;
    testing::ScriptedService service{platform, *transport};
};

} // namespace vexa
