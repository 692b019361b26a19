#pragma once

#include <host/broker/Broker.hpp>
#include <host/server/ProcessUse.hpp>
#include <host/server/ServerFigures.hpp>
#include <host/service/ServiceFigures.hpp>

#include <optional>
#include <string>

namespace vexa::host {

/// What the metrics are made from.
struct MetricsSources {
    ServiceFigures service;
    ServerFigures server;
    BrokerStatus broker;
    std::optional<ProcessUse> process;
    double startedAt = 0; ///< of the server, in seconds since 1970
};

/// All metrics, in the text format of Prometheus.
[[nodiscard]] std::string metricsPage(const MetricsSources& sources);

} // namespace vexa::host
