#include <host/tool/top/DisplayText.hpp>
#include <host/tool/top/ServiceHeading.hpp>
#include <host/tool/top/ShortNumbers.hpp>
#include <host/tool/top/TopicColumns.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace vexa::host {

namespace {

std::string counted(std::uint64_t count, std::string_view one, std::string_view many)
{
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

std::string messagesLine(const ServiceSample& sample, const std::optional<ServiceRates>& rates)
{
    const auto withRate = [](std::uint64_t count, std::string_view what, const std::optional<double>& perSecond) {
        return fmt::format("{} {}{}", count, what,
                           perSecond ? fmt::format(" ({} a second)", shortRate(*perSecond)) : "");
    };
    return fmt::format(
        "messages  {}, {}, {} replayed",
        withRate(sample.published, "published", rates ? std::optional{rates->publishedPerSecond} : std::nullopt),
        withRate(sample.delivered, "delivered", rates ? std::optional{rates->deliveredPerSecond} : std::nullopt),
        sample.replayed);
}

std::string processLine(const ServiceSample& sample, const std::optional<ServiceRates>& rates)
{
    constexpr double percent = 100;
    std::string line = "process   up " + spanText(sample.uptime);
    if (sample.residentBytes) {
        line += fmt::format(", {} of memory", shortBytes(*sample.residentBytes));
    }
    if (rates && rates->processorShare) {
        line += fmt::format(", {:.0f} % of a processor", *rates->processorShare * percent);
    }
    if (rates) {
        line += fmt::format(", sending {} a second", shortBytes(rates->bytesSentPerSecond));
    }
    return line;
}

} // namespace

std::vector<std::string> serviceHeading(const ServiceSample& sample, const std::optional<ServiceRates>& rates)
{
    std::string clients = fmt::format("clients   {}, {}, {}", counted(sample.connections, "connection", "connections"),
                                      counted(sample.sessions, "session", "sessions"),
                                      counted(sample.subscriptions, "subscription", "subscriptions"));
    if (sample.slowClientsClosed > 0) {
        clients += fmt::format(", {} closed as too slow", sample.slowClientsClosed);
    }
    return {fmt::format("broker    {}{}", sample.isHealthy ? "" : "unavailable: ", sample.broker), std::move(clients),
            messagesLine(sample, rates), processLine(sample, rates)};
}

std::vector<std::string> plainTable(const std::string& url, const ServiceSample& sample,
                                    const std::optional<ServiceRates>& rates,
                                    const std::vector<const TopicSample*>& topics, bool hasUnicode)
{
    std::vector<std::string> lines{displayText("service   " + url, hasUnicode)};
    for (const std::string& each : serviceHeading(sample, rates)) {
        lines.push_back(displayText(each, hasUnicode));
    }
    std::vector<std::string> titles;
    std::size_t titleColumns = traitsOf(TopicColumn::name).heading.size();
    for (const TopicSample* const topic : topics) {
        titles.push_back(displayText(titleOf(*topic), hasUnicode));
        titleColumns = std::max(titleColumns, displayColumns(titles.back()));
    }
    lines.emplace_back();
    std::string heads = atLeft(traitsOf(TopicColumn::name).heading, titleColumns);
    for (const TopicColumnTraits& each : topicColumns) {
        if (each.column != TopicColumn::name) {
            heads += " " + atRight(each.heading, each.width);
        }
    }
    lines.push_back(std::move(heads));
    for (std::size_t place = 0; place < topics.size(); ++place) {
        std::string row = atLeft(titles[place], titleColumns);
        for (const TopicColumnTraits& each : topicColumns) {
            if (each.column != TopicColumn::name) {
                row += " " + atRight(figureOf(*topics[place], each.column, sample.at), each.width);
            }
        }
        lines.push_back(std::move(row));
    }
    if (sample.topicCount > topics.size()) {
        lines.push_back(fmt::format("and {} more topics", sample.topicCount - topics.size()));
    }
    return lines;
}

} // namespace vexa::host
