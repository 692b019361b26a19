#pragma once

#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/platform/TextTable.hpp>
#include <VexaClient/protocols/VexaClient.hpp>
#include <VexaClient/protocols/VexaSubscriptionManager.hpp>
#include <VexaClient/subscription_client/BatchFeed.hpp>
#include <VexaClient/subscription_manager/FanOut.hpp>
#include <VexaClient/subscription_manager/ListenerTables.hpp>
#include <VexaClient/transport/Kivora.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vexa {

/// The listener registry: lets many listeners share one subscription of its client, and fans each message out to them.
///
/// Its state belongs to the queue "vexasubiq"; listeners are called on the queue "vexacbq".
class VexaOruSubscriptionManager final : public VexaSubscriptionManager,
                                         public BatchFeed,
                                         public std::enable_shared_from_this<VexaOruSubscriptionManager> {
    struct Private {};

public:
    /// One registration.
    struct ListenerRecord {
        std::string hash;
        std::int64_t listenerId;
        std::shared_ptr<VexaSubscriptionListener> listener;
    };

    /// All that the manager remembers.
    struct State {
        std::int64_t nextListenerId = 1;
        std::unordered_map<std::int64_t, ListenerRecord> listenersById;

        /// The listeners of each subscription, in the order of their registration. No list is empty.
        TextTable<std::vector<std::int64_t>> listenersBySub;
    };

    /// The one manager of the process. Made on first use and never destroyed. Any thread.
    [[nodiscard]] static const std::shared_ptr<VexaOruSubscriptionManager>& sharedSubscriptionManager();

    /// A manager with a VexaOruClient of its own, whose feed delegate it becomes. The two keep each other alive.
    [[nodiscard]] static std::shared_ptr<VexaOruSubscriptionManager>
    make(Platform& platform = Platform::system(), Dependencies& container = Dependencies::shared());

    /// A manager over a given client, whose feed delegate it becomes.
    [[nodiscard]] static std::shared_ptr<VexaOruSubscriptionManager> make(Platform& platform,
                                                                          std::shared_ptr<VexaClient> client);

    VexaOruSubscriptionManager(Private, Platform& platform);

    // VexaSubscriptionManager
    [[nodiscard]] std::string subscriptionHash(std::string_view name, const Parameters& params) override;
    [[nodiscard]] std::vector<std::int64_t> anyListenersFor(std::string_view name, const Parameters& params) override;
    std::int64_t addMessageListener(std::string_view name, const Parameters& params, double updatedAt,
                                    std::shared_ptr<VexaSubscriptionListener> listener) override;
    void removeMessageListener(std::int64_t listenerId) override;

    // BatchFeed
    void messageFeed(std::string_view hash, const Message& message, bool isTerminating) override;
    void batchFeed(FedBatch batch) override;

    /// A copy of the state as it is between two items of the state queue, for tests and diagnosis. Blocks until taken;
    /// never call it from the state queue.
    [[nodiscard]] State state();

    /// The platform that the manager runs on.
    [[nodiscard]] Platform& platform() const noexcept { return platform_; }

private:
    /// Registers a stream as addMessageListener() does, and lets it finish its own registration in the same step.
    friend class VexaSubscriptionStream;

    // Everything below runs on the state queue.
    std::int64_t addListener(std::string_view name, const Parameters& params, double updatedAt,
                             std::shared_ptr<VexaSubscriptionListener> listener);
    void removeListener(std::int64_t listenerId);
    void removeFromList(SubscriptionListeners& list, std::int64_t listenerId);

    /// Adds to `fanOut` the calls that bring a message to its listeners.
    void deliverToListeners(std::string_view hash, Message message, bool isTerminating, FanOut& fanOut);
    void call(FanOut fanOut);

    Platform& platform_;
    SerialQueueHandle queue_;
    SerialQueueHandle cbq_;
    std::shared_ptr<VexaClient> client_;
    ListenerTables tables_;
    std::int64_t nextListenerId_ = 1;
};

} // namespace vexa
