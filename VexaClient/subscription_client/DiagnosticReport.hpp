#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/subscription_client/TopicSubscription.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// The diagnostic reports for the service. A report waits for minutes before it is sent, so each is kept in a compact
/// form in which everything is fixed, and becomes a dictionary when it goes out. None keeps a received message alive.
namespace vexa {

/// What became of the topics of one answered request.
struct SubscriptionResponseReport {
    struct Record {
        TopicSubscription topic;
        bool success;
        std::optional<std::string> subscriptionId;
        std::optional<std::string> error;
        std::optional<std::string> errorMessage;
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
        std::shared_ptr<const std::string> subscriptionId;
        std::optional<TopicSubscription> topic; ///< absent when the subscription is not known
        bool replayed;
    };

    double sentAt;     ///< seconds since 1970; 0 for not given
    double receivedAt; ///< seconds since 1970
    bool visible;
    std::vector<Record> records;

    /// {"vexaMessages": [one record for each message]}.
    [[nodiscard]] Dictionary asDictionary() const;
};

using DiagnosticReport = std::variant<SubscriptionResponseReport, TimeoutReport, DeliveryReport>;

/// The report as the service's log takes it.
[[nodiscard]] Dictionary asDictionary(const DiagnosticReport& report);

} // namespace vexa
