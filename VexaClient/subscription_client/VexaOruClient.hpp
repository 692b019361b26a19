#pragma once

#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/platform/ReturnsPromptly.hpp>
#include <VexaClient/platform/TextTable.hpp>
#include <VexaClient/protocols/VexaClient.hpp>
#include <VexaClient/subscription_client/BatchFeed.hpp>
#include <VexaClient/subscription_client/ClientTables.hpp>
#include <VexaClient/subscription_client/DiagnosticReport.hpp>
#include <VexaClient/subscription_client/OperationId.hpp>
#include <VexaClient/subscription_client/TopicSubscription.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/transport/OruClient.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexa {

/// The subscription client over the application's transport: the one object that owns all subscription state.
///
/// Its state belongs to the queue "vexaint"; the feed delegate is called on the queue "vexacb". It registers with the
/// transport at its first subscription, for its whole life, and while its retry timer runs that timer keeps it alive.
class VexaOruClient final : public VexaClient,
                            public OruClientMessageListener,
                            public OruClientConnectionListener,
                            public ReturnsPromptly,
                            public std::enable_shared_from_this<VexaOruClient> {
    struct Private {};

public:
    /// All that the client remembers.
    struct State {
        std::optional<std::int64_t> messageListenerId;
        std::optional<std::int64_t> connectionListenerId;
        std::int64_t nextOperationId = 0;

        /// Topics requested, or about to be, that the service has not answered, by operation id.
        std::map<std::string, std::vector<TopicSubscription>, OperationOrder> pendingSubscriptions;

        /// Topics that the service has confirmed, by subscription hash.
        TextTable<TopicSubscription> currentSubscriptions;

        /// Subscription hashes whose messages are withheld.
        TextSet removedSubscriptions;

        /// For which subscription each subscription id of the service stands.
        TextTable<std::string> subscriptionIdToHash;

        double pendingSubTime = 0; ///< when a request was last handed to the transport: seconds since 1970
        TextSet loggedOperationIds;
        std::int64_t subscriptionRetryCount = 0;
        std::shared_ptr<RepeatingTimer> pendingSubTimer;
        std::shared_ptr<VexaFeed> delegate;
    };

    /// A client over the transport that `container` holds whenever one is needed.
    [[nodiscard]] static std::shared_ptr<VexaOruClient> make(Platform& platform = Platform::system(),
                                                             Dependencies& container = Dependencies::shared());

    VexaOruClient(Private, Platform& platform, Dependencies& container);

    // VexaClient
    [[nodiscard]] std::string subscriptionHash(std::string_view name, const Parameters& params) override;
    std::string createSubscription(std::string_view name, const Parameters& params, double updatedAt) override;
    void removeSubscription(std::string_view hash) override;
    void setMessageFeedDelegate(std::shared_ptr<VexaFeed> delegate) override;

    // OruClientMessageListener
    void handleMessage(Message message) override;
    void messageListenerRemoved(std::int64_t listenerId) override;

    // OruClientConnectionListener
    void connectionOpened() override;
    void connectionClosed() override;

    /// A copy of the state as it is between two items of the state queue, for tests and diagnosis. Blocks until taken;
    /// never call it from the state queue.
    [[nodiscard]] State state();

private:
    // Everything below runs on the state queue.

    // Creation: VexaOruClient.cpp
    std::string createOnQueue(std::string_view name, const Parameters& params, double updatedAt);
    void registerListeners();
    void remove(std::string_view hash);

    // Requests: VexaOruClientRequests.cpp
    void addPendingSubscription(std::string_view hash, std::string_view name, const Parameters& params,
                                double updatedAt);
    void sendSubscriptionRequest(const std::string& operationId);
    void startPendingSubTimer();
    void cancelPendingSubTimer();
    void retryPendingSubscriptions();
    void revertSubscriptionsToPending();
    [[nodiscard]] std::string nextOperation();

    // Responses: VexaOruClientResponses.cpp
    void dispatch(const Message& message);
    void handleSubscriptionResponse(const Dictionary& response);
    void settle(const std::string& operationId, const std::vector<TopicSubscription>& pending, const List& topics);
    SubscriptionRoutePointer confirm(const TopicSubscription& topic, std::string_view subscriptionId);
    void logTimedOutSubscriptions();

    /// Gives a report to the transport's logger once it has waited.
    template <class Report>
    void sendServerLog(Report report);

    // Delivery: VexaOruClientDelivery.cpp
    void handleDataMessage(const Message& message);
    void route(const Message& batch, const List& entries, FedBatch& deliveries, DeliveryReport& report);
    void logMessageDelivery(DeliveryReport report);
    void deliver(FedBatch deliveries);

    /// Asks the transport, as code of the host unless it returns promptly.
    template <class Answer, class F>
    [[nodiscard]] Answer askTransport(std::string_view what, Answer otherwise, F&& question);
    [[nodiscard]] bool returnsPromptly(const std::shared_ptr<OruClient>& transport);

    [[nodiscard]] bool isVisible();
    [[nodiscard]] std::shared_ptr<OruClientLogger> logger();

    Platform& platform_;
    Dependency<std::shared_ptr<OruClient>> _oruClient;
    SerialQueueHandle queue_;
    SerialQueueHandle cbq_;
    std::weak_ptr<OruClient> lastTransport_; ///< of which the next is known
    bool lastReturnsPromptly_ = false;
    ClientTables tables_;
    State state_;                        ///< all but what is in the tables
    BatchFeed* batchDelegate_ = nullptr; ///< the delegate, if it takes batches
};

} // namespace vexa
