#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/protocols/VexaFeed.hpp>

#include <memory>
#include <string>
#include <string_view>

namespace vexa {

/// A subscription client over the transport connection.
class VexaClient {
public:
    virtual ~VexaClient() = default;

    /// The subscription hash of a topic: 24 characters that identify (name, params) within this process.
    /// Runs on the caller's thread and touches no state; any thread may call it at any time.
    [[nodiscard]] virtual std::string subscriptionHash(std::string_view name, const Parameters& params) = 0;

    /// Subscribes to a topic, or takes note of a newer `updatedAt` when it is subscribed already.
    ///
    /// \param updatedAt  seconds since 1970 of the newest message that the caller has seen; 0 or less for none.
    /// \return the hash that subscriptionHash() gives for the pair, whatever the state of the connection.
    ///
    /// Blocks until done. Never call it from the client's own state queue: that stops the process with a message.
    virtual std::string createSubscription(std::string_view name, const Parameters& params, double updatedAt) = 0;

    /// Stops the delivery of the subscription `hash`. Returns at once; an unknown hash is accepted.
    virtual void removeSubscription(std::string_view hash) = 0;

    /// Makes `delegate` the receiver of every message from now on, held strongly. Returns at once.
    virtual void setMessageFeedDelegate(std::shared_ptr<VexaFeed> delegate) = 0;
};

} // namespace vexa
