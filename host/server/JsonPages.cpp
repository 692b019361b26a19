#include <host/server/JsonPages.hpp>
#include <VexaClient/platform/Json.hpp>

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

namespace vexa::host {

namespace {

boost::json::string_view text(std::string_view view) noexcept
{
    return {view.data(), view.size()};
}

std::string page(const Dictionary& content)
{
    return boost::json::serialize(content) + "\n";
}

Dictionary delayOf(const DelayFigures& delay)
{
    return {{"count", delay.count},     {"mean", delay.mean},     {"minimum", delay.minimum},
            {"maximum", delay.maximum}, {"median", delay.median}, {"percentile99", delay.percentile99}};
}

Dictionary topicOf(TopicFigures topic)
{
    Dictionary shown;
    shown["name"] = text(topic.name);
    if (topic.parameters) {
        shown["parameters"] = *std::move(topic.parameters);
    }
    shown["subscribers"] = topic.subscribers;
    shown["published"] = topic.published;
    shown["received"] = topic.received;
    shown["delivered"] = topic.delivered;
    shown["replayed"] = topic.replayed;
    shown["messagesPerSecond"] = topic.messagesPerSecond;
    if (topic.newestAt > 0) {
        shown["newestAt"] = topic.newestAt;
    }
    if (topic.delay.count > 0) {
        shown["delay"] = delayOf(topic.delay);
    }
    shown["reportedReplays"] = topic.reportedReplays;
    shown["failedSubscriptions"] = topic.failedSubscriptions;
    shown["timedOutSubscriptions"] = topic.timedOutSubscriptions;
    return shown;
}

Dictionary serviceOf(const ServiceOverview& overview)
{
    const ServiceFigures& service = overview.service;
    const ServerFigures& server = overview.server;
    return {{"sessions", service.sessions},
            {"subscriptions", service.subscriptions},
            {"published", service.published},
            {"delivered", service.delivered},
            {"replayed", service.replayed},
            {"serverLogRecords", service.serverLogRecords},
            {"echoes", service.echoes},
            {"malformed", service.malformed},
            {"unknown", service.unknown},
            {"connections", server.connections},
            {"webSockets", server.webSockets},
            {"framesReceived", server.framesReceived},
            {"bytesReceived", server.bytesReceived},
            {"framesSent", server.framesSent},
            {"bytesSent", server.bytesSent},
            {"slowClientsClosed", server.webSocketsClosed[static_cast<std::size_t>(CloseReason::slow)]},
            {"brokerIsHealthy", overview.broker.isHealthy},
            {"broker", text(overview.broker.text)}};
}

bool isBusier(const TopicFigures& one, const TopicFigures& other)
{
    const auto traffic = [](const TopicFigures& topic) {
        return std::tuple{topic.messagesPerSecond, topic.subscribers, std::max(topic.published, topic.received)};
    };
    const auto first = traffic(one);
    const auto second = traffic(other);
    return first != second ? first > second : one.name < other.name;
}

} // namespace

std::string healthPage(const BrokerStatus& broker, double uptime)
{
    return page(
        {{"status", broker.isHealthy ? "ok" : "unavailable"}, {"broker", text(broker.text)}, {"uptime", uptime}});
}

std::string recordsPage(std::vector<ServerLogRecord> records)
{
    List shown;
    shown.reserve(records.size());
    for (ServerLogRecord& each : records) {
        Dictionary record{
            {"receivedAt", each.receivedAt}, {"category", text(each.category)}, {"severity", each.severity}};
        record["blob"] = std::move(each.blob);
        shown.push_back(std::move(record));
    }
    Dictionary content;
    content["records"] = std::move(shown);
    return page(content);
}

std::string topicsPage(const ServiceOverview& overview, std::vector<TopicFigures> topics,
                       std::optional<std::size_t> atMost)
{
    const std::size_t all = topics.size();
    const std::size_t count = std::min(atMost.value_or(all), all);
    std::partial_sort(topics.begin(), topics.begin() + static_cast<std::ptrdiff_t>(count), topics.end(), isBusier);
    topics.resize(count);
    List shown;
    shown.reserve(count);
    for (TopicFigures& topic : topics) {
        shown.push_back(topicOf(std::move(topic)));
    }
    Dictionary content{{"now", overview.now}, {"uptime", overview.uptime}, {"topicCount", all}};
    content["service"] = serviceOf(overview);
    content["topics"] = std::move(shown);
    return page(content);
}

std::string errorPage(const ServiceError& error)
{
    return page({{"error", text(error.error)}, {"errorMessage", text(error.errorMessage)}});
}

} // namespace vexa::host
