#pragma once

#include <host/broker/MemoryBroker.hpp>
#include <host/service/VexaService.hpp>
#include <testing/ServiceMessages.hpp>
#include <testing/VirtualPlatform.hpp>

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexa::host {

using testing::entry;
using testing::replayHint;
using testing::seeds;
using testing::subscribeRequest;
using testing::success;
using testing::topic;
using testing::VirtualPlatform;

using Messages = std::vector<Dictionary>;

/// The dictionary that a text holds.
inline Dictionary json(std::string_view text)
{
    return boost::json::parse(boost::json::string_view{text.data(), text.size()}).as_object();
}

/// A payload whose content is its place in a sequence.
inline Dictionary numbered(int number)
{
    return {{"number", number}};
}

/// The numbers of the entries of all data messages among `messages`, in order. A replayed one is negative.
inline std::vector<int> numbersIn(const Messages& messages)
{
    std::vector<int> numbers;
    for (const Dictionary& message : messages) {
        if (message.at("type") != "data") {
            continue;
        }
        for (const Value& each : message.at("messages").as_array()) {
            const int number = each.at("payload").at("number").to_number<int>();
            numbers.push_back(each.as_object().contains("replayed") ? -number : number);
        }
    }
    return numbers;
}

/// The entries of all data messages among `messages`, in order.
inline List entriesOf(const Messages& messages)
{
    List entries;
    for (const Dictionary& message : messages) {
        if (message.at("type") == "data") {
            for (const Value& each : message.at("messages").as_array()) {
                entries.push_back(each);
            }
        }
    }
    return entries;
}

/// The "type" of each message.
inline std::vector<std::string> typesOf(const Messages& messages)
{
    std::vector<std::string> types;
    for (const Dictionary& message : messages) {
        types.emplace_back(message.at("type").as_string());
    }
    return types;
}

/// A client at the other end of a session, which keeps what the service sends.
class ServiceClient {
public:
    ServiceClient(VirtualPlatform& platform, VexaService& service)
        : platform_{platform},
          session_{service.connect({[this](Dictionary message) { received_.push_back(std::move(message)); },
                                    [this](ServiceError reason) { closedFor_ = std::move(reason.error); }})}
    {}

    /// Sends a message; nothing runs yet.
    void send(Dictionary message) { session_.receive(std::make_shared<const Dictionary>(std::move(message))); }
    void send(std::string_view text) { send(json(text)); }

    [[nodiscard]] Session& session() noexcept { return session_; }

    /// Why the service has closed the session, by the error's word; nothing while it has not.
    [[nodiscard]] const std::optional<std::string>& closedFor() const noexcept { return closedFor_; }

    /// What has come since the last call, after all that is ready has run.
    Messages take()
    {
        platform_.runUntilIdle();
        return std::exchange(received_, {});
    }

    /// Subscribes to one topic and returns its subscription id. What else came meanwhile stays to be taken.
    std::string subscribe(std::string_view name, const Parameters& parameters = std::nullopt, double updatedAt = 0)
    {
        send(subscribeRequest("O-900", {topic(name, parameters, updatedAt)}));
        platform_.runUntilIdle();
        for (auto message = received_.begin(); message != received_.end(); ++message) {
            if (const Value* operation = message->if_contains("operationId"); operation && *operation == "O-900") {
                std::string id{message->at("topics").at(0).at("subscriptionId").as_string()};
                received_.erase(message);
                return id;
            }
        }
        ADD_FAILURE() << "no answer to the subscribe request for " << name;
        return {};
    }

private:
    VirtualPlatform& platform_;
    Messages received_;
    std::optional<std::string> closedFor_;
    Session session_;
};

/// A service over a memory broker, on virtual time.
struct ServiceUnderTest {
    explicit ServiceUnderTest(std::uint64_t seed = testing::defaultSeed(), const ServiceLimits& limits = {},
                              const MemoryBrokerLimits& brokerLimits = {})
        : platform{seed}, service{MemoryBroker::make(brokerLimits, platform), limits, platform}
    {}

    void publish(int number) { service.publish("scores", std::nullopt, {numbered(number)}); }

    VirtualPlatform platform;
    VexaService service;
};

} // namespace vexa::host
