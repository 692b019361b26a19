#include <host/tool/top/MetricsText.hpp>
#include <host/tool/top/ServiceSample.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace vexa::host {

namespace {

Dictionary pageIn(std::string_view text, std::string_view name)
{
    MessageTextLimits limits;
    limits.bytes = text.size();
    boost::system::error_code error;
    Dictionary page = readMessage(text, error, limits);
    if (error) {
        throw std::invalid_argument{joined({"its page ", name, " is no JSON object"})};
    }
    return page;
}

std::uint64_t countAt(const Dictionary& dictionary, std::string_view key)
{
    constexpr double beyondAll = 18446744073709551616.0;
    const double number = std::floor(doubleAt(dictionary, key).value_or(0));
    return number > 0 && number < beyondAll ? static_cast<std::uint64_t>(number) : 0;
}

TopicSample topicIn(const Dictionary& shown)
{
    TopicSample topic;
    topic.name = stringAt(shown, "name").value_or("");
    if (const Value* const parameters = shown.if_contains("parameters")) {
        topic.parameters = *parameters;
    }
    topic.subscribers = countAt(shown, "subscribers");
    topic.published = countAt(shown, "published");
    topic.delivered = countAt(shown, "delivered");
    topic.replayed = countAt(shown, "replayed");
    topic.messagesPerSecond = doubleAt(shown, "messagesPerSecond").value_or(0);
    topic.newestAt = doubleAt(shown, "newestAt");
    if (const Dictionary* const delay = dictionaryAt(shown, "delay")) {
        topic.reportedDeliveries = countAt(*delay, "count");
        topic.medianDelay = doubleAt(*delay, "median");
        topic.percentile99Delay = doubleAt(*delay, "percentile99");
    }
    topic.failedSubscriptions = countAt(shown, "failedSubscriptions");
    topic.timedOutSubscriptions = countAt(shown, "timedOutSubscriptions");
    return topic;
}

void readService(const Dictionary& service, ServiceSample& sample)
{
    sample.connections = countAt(service, "connections");
    sample.sessions = countAt(service, "sessions");
    sample.subscriptions = countAt(service, "subscriptions");
    sample.published = countAt(service, "published");
    sample.delivered = countAt(service, "delivered");
    sample.replayed = countAt(service, "replayed");
    sample.slowClientsClosed = countAt(service, "slowClientsClosed");
    sample.bytesSent = countAt(service, "bytesSent");
}

/// How much a count has grown, a second.
double growth(std::uint64_t earlier, std::uint64_t later, double seconds)
{
    return later > earlier ? static_cast<double>(later - earlier) / seconds : 0;
}

} // namespace

ServiceSample readServiceSample(const ServicePages& pages)
{
    ServiceSample sample;
    const Dictionary health = pageIn(pages.health, "/healthz");
    sample.isHealthy = stringAt(health, "status") == "ok";
    sample.broker = stringAt(health, "broker").value_or("");

    const Dictionary overview = pageIn(pages.topics, "/topics");
    const Dictionary* const service = dictionaryAt(overview, "service");
    const List* const topics = dictionariesAt(overview, "topics");
    if (service == nullptr || topics == nullptr) {
        throw std::invalid_argument{"its page /topics tells nothing of topics"};
    }
    sample.at = doubleAt(overview, "now").value_or(0);
    sample.uptime = doubleAt(overview, "uptime").value_or(0);
    readService(*service, sample);
    sample.topicCount = countAt(overview, "topicCount");
    sample.topics.reserve(topics->size());
    for (const Value& each : *topics) {
        sample.topics.push_back(topicIn(each.get_object()));
    }

    const TextTable<double> metrics = metricValues(pages.metrics);
    if (const auto found = metrics.find("process_resident_memory_bytes"); found != metrics.end()) {
        sample.residentBytes = found->second;
    }
    if (const auto found = metrics.find("process_cpu_seconds_total"); found != metrics.end()) {
        sample.processorSeconds = found->second;
    }
    return sample;
}

std::optional<ServiceRates> ratesBetween(const ServiceSample& earlier, const ServiceSample& later)
{
    // The time that the service has been running is the same clock as its "now", but tells a new start as well.
    const double seconds = later.uptime - earlier.uptime;
    if (!(seconds > 0) || later.published < earlier.published || later.delivered < earlier.delivered) {
        return std::nullopt;
    }
    ServiceRates rates;
    rates.publishedPerSecond = growth(earlier.published, later.published, seconds);
    rates.deliveredPerSecond = growth(earlier.delivered, later.delivered, seconds);
    rates.bytesSentPerSecond = growth(earlier.bytesSent, later.bytesSent, seconds);
    if (earlier.processorSeconds && later.processorSeconds) {
        rates.processorShare = std::max(0.0, *later.processorSeconds - *earlier.processorSeconds) / seconds;
    }
    return rates;
}

} // namespace vexa::host
