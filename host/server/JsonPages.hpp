#pragma once

#include <host/broker/Broker.hpp>
#include <host/server/ServerFigures.hpp>
#include <host/service/ServiceFigures.hpp>
#include <host/service/ServiceMessages.hpp>
#include <host/service/TopicFigures.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// The pages of a server that are JSON texts, as pure functions. Times are in seconds since 1970, durations in seconds.
namespace vexa::host {

/// {"status":"ok" or "unavailable","broker":a sentence,"uptime":seconds}
[[nodiscard]] std::string healthPage(const BrokerStatus& broker, double uptime);

/// {"records":[{"receivedAt","category","severity","blob"}…]}, in the order given.
[[nodiscard]] std::string recordsPage(std::vector<ServerLogRecord> records);

/// What the page of topics says of the service as a whole.
struct ServiceOverview {
    double now = 0;
    double uptime = 0;
    ServiceFigures service;
    ServerFigures server;
    BrokerStatus broker;
};

/// {"now","uptime","service":{…},"topicCount","topics":[…]}, the busiest topics first and no more than `atMost`. Each
/// of them is {"name","parameters"?,"subscribers","published","received","delivered","replayed","messagesPerSecond",
/// "newestAt"?,"delay"?:{"count","mean","minimum","maximum","median","percentile99"},"reportedReplays",
/// "failedSubscriptions","timedOutSubscriptions"}, with the meaning that TopicFigures gives them; "newestAt" is left
/// out when there was no message and "delay" when no client has reported one.
[[nodiscard]] std::string topicsPage(const ServiceOverview& overview, std::vector<TopicFigures> topics,
                                     std::optional<std::size_t> atMost);

/// {"error","errorMessage"}
[[nodiscard]] std::string errorPage(const ServiceError& error);

} // namespace vexa::host
