#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {

/// What a service says of one topic.
struct TopicSample {
    std::string name;
    Parameters parameters;
    std::uint64_t subscribers = 0;
    std::uint64_t published = 0;
    std::uint64_t delivered = 0;
    std::uint64_t replayed = 0;
    double messagesPerSecond = 0;         ///< new ones, over the last ten seconds
    std::optional<double> newestAt;       ///< in seconds since 1970; none without a message
    std::uint64_t reportedDeliveries = 0; ///< by clients, which the delays are of
    std::optional<double> medianDelay;    ///< in seconds; none without a report
    std::optional<double> percentile99Delay;
    std::uint64_t failedSubscriptions = 0;
    std::uint64_t timedOutSubscriptions = 0;
};

/// What a service says of itself at one moment. Counts are of the time since it was started.
struct ServiceSample {
    double at = 0;     ///< by the service's clock, in seconds since 1970
    double uptime = 0; ///< in seconds
    bool isHealthy = false;
    std::string broker; ///< a sentence about how its broker is
    std::uint64_t connections = 0;
    std::uint64_t sessions = 0;
    std::uint64_t subscriptions = 0;
    std::uint64_t published = 0;
    std::uint64_t delivered = 0;
    std::uint64_t replayed = 0;
    std::uint64_t slowClientsClosed = 0;
    std::uint64_t bytesSent = 0;
    std::optional<double> residentBytes;    ///< memory of its process
    std::optional<double> processorSeconds; ///< that its process has used
    std::uint64_t topicCount = 0;           ///< of which there may be more than are here
    std::vector<TopicSample> topics;
};

/// The pages that a sample is read from, as they came.
struct ServicePages {
    std::string_view health;
    std::string_view topics;
    std::string_view metrics;
};

/// Reads the pages. What is missing in them counts as 0 or as unknown. Throws std::invalid_argument, with a clause that
/// says what is wrong, when one of the first two is no page of a service.
[[nodiscard]] ServiceSample readServiceSample(const ServicePages& pages);

/// How fast things went between two samples.
struct ServiceRates {
    double publishedPerSecond = 0;
    double deliveredPerSecond = 0;
    double bytesSentPerSecond = 0;
    std::optional<double> processorShare; ///< 1 for one processor in full use
};

/// Nothing when the samples tell no rate: no time lies between them, or the service was started anew.
[[nodiscard]] std::optional<ServiceRates> ratesBetween(const ServiceSample& earlier, const ServiceSample& later);

} // namespace vexa::host
