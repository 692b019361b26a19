#pragma once

#include <host/tool/top/ServiceSample.hpp>

#include <optional>
#include <string>
#include <vector>

namespace vexa::host {

/// A sample as one JSON object without a line break: {"url","at","uptime","isHealthy","broker","connections",
/// "sessions","subscriptions","published","delivered","replayed","slowClientsClosed","bytesSent","residentBytes"?,
/// "processorSeconds"?,"publishedPerSecond"?,"deliveredPerSecond"?,"bytesSentPerSecond"?,"processorShare"?,"topicCount",
/// "topics":[{"name","parameters"?,"subscribers","messagesPerSecond","published","delivered","replayed","newestAt"?,
/// "age"?,"delay"?:{"count","median","percentile99"},"failedSubscriptions","timedOutSubscriptions"}…]}, in the order of
/// `topics`. Times are in seconds since 1970, durations in seconds; what is not known is left out.
[[nodiscard]] std::string sampleJson(const std::string& url, const ServiceSample& sample,
                                     const std::optional<ServiceRates>& rates,
                                     const std::vector<const TopicSample*>& topics);

/// {"url","error"}: there is no sample, and why.
[[nodiscard]] std::string failureJson(const std::string& url, const std::string& reason);

} // namespace vexa::host
