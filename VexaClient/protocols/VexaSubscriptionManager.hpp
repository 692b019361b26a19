#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/protocols/VexaSubscriptionListener.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vexa {

/// The registry that lets many listeners share one subscription.
class VexaSubscriptionManager {
public:
    virtual ~VexaSubscriptionManager() = default;

    /// The subscription hash of a topic, as the client computes it. Any thread.
    [[nodiscard]] virtual std::string subscriptionHash(std::string_view name, const Parameters& params) = 0;

    /// The ids of the listeners of a topic, in the order of their registration; empty when there is none.
    /// Blocks until done. Never call it from the manager's own state queue: that stops the process with a message.
    [[nodiscard]] virtual std::vector<std::int64_t> anyListenersFor(std::string_view name,
                                                                    const Parameters& params) = 0;

    /// Registers `listener`, held strongly until it is removed, and asks the client for the subscription.
    ///
    /// \param updatedAt  seconds since 1970 of the newest message that the caller has seen; 0 or less for none.
    /// \return the listener's id, 1 or more, never used again; 0 when `listener` is null, which is logged.
    ///
    /// Blocks until done. Never call it from the manager's or the client's state queue: that stops the process.
    virtual std::int64_t addMessageListener(std::string_view name, const Parameters& params, double updatedAt,
                                            std::shared_ptr<VexaSubscriptionListener> listener) = 0;

    /// Removes a listener. Returns at once; an unknown id is logged and otherwise ignored. A message that was fanned
    /// out before the removal took place still reaches the listener.
    virtual void removeMessageListener(std::int64_t listenerId) = 0;
};

} // namespace vexa
