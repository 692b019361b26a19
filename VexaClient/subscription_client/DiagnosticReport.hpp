#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/subscription_client/ClientTables.hpp>
#include <VexaClient/subscription_client/TopicSubscription.hpp>

#include <boost/container/small_vector.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The diagnostic reports for the service. A report waits for minutes before it is sent, so each is kept in a compact
/// form in which everything is fixed, and becomes a dictionary when it goes out. None keeps a received message alive.
namespace vexa {

/// What became of the topics of one answered request.
struct SubscriptionResponseReport {
    /// Why a topic was not subscribed.
    struct Failure {
        std::string error;
        std::string errorMessage;
    };

    struct Record {
        TopicSubscription topic;
        bool success;
        SubscriptionRoutePointer route;         ///< null without a subscription id
        std::shared_ptr<const Failure> failure; ///< null without one
    };

    std::string operationId;
    bool visible;
    std::vector<Record> records;

    /// {"vexaSubscriptionResponses": [one record for each topic]}.
    [[nodiscard]] Dictionary asDictionary() const;
};

/// The topics of one request that was never answered.
struct TimeoutReport {
    std::string operationId;
    bool visible;
    std::int64_t retries;
    std::vector<TopicSubscription> topics;

    /// {"vexaSubscriptionResponses": [one record for each topic]}.
    [[nodiscard]] Dictionary asDictionary() const;
};

/// The messages of one data message.
struct DeliveryReport {
    struct Record {
        SubscriptionRoutePointer route;
        TopicIdentity::Pointer topic; ///< null when the subscription is not known
        double updatedAt;             ///< of the topic, when there is one
        bool replayed;
    };

    double sentAt;     ///< seconds since 1970; 0 for not given
    double receivedAt; ///< seconds since 1970
    bool visible;

    /// A message that came alone has its record in the report itself.
    boost::container::small_vector<Record, 1> records;

    /// {"vexaMessages": [one record for each message]}.
    [[nodiscard]] Dictionary asDictionary() const;
};

} // namespace vexa
