#include <host/tool/top/SampleJson.hpp>
#include <host/wire/MessageText.hpp>

#include <algorithm>
#include <string_view>
#include <utility>

namespace vexa::host {

namespace {

void addKnown(Dictionary& dictionary, std::string_view key, const std::optional<double>& number)
{
    if (number) {
        dictionary[boost::json::string_view{key.data(), key.size()}] = *number;
    }
}

Dictionary topicJson(const TopicSample& topic, double now)
{
    Dictionary shown;
    shown["name"] = topic.name;
    if (topic.parameters) {
        shown["parameters"] = *topic.parameters;
    }
    shown["subscribers"] = topic.subscribers;
    shown["messagesPerSecond"] = topic.messagesPerSecond;
    shown["published"] = topic.published;
    shown["delivered"] = topic.delivered;
    shown["replayed"] = topic.replayed;
    if (topic.newestAt) {
        shown["newestAt"] = *topic.newestAt;
        shown["age"] = std::max(0.0, now - *topic.newestAt);
    }
    if (topic.medianDelay && topic.percentile99Delay) {
        shown["delay"] = Dictionary{{"count", topic.reportedDeliveries},
                                    {"median", *topic.medianDelay},
                                    {"percentile99", *topic.percentile99Delay}};
    }
    shown["failedSubscriptions"] = topic.failedSubscriptions;
    shown["timedOutSubscriptions"] = topic.timedOutSubscriptions;
    return shown;
}

} // namespace

std::string sampleJson(const std::string& url, const ServiceSample& sample, const std::optional<ServiceRates>& rates,
                       const std::vector<const TopicSample*>& topics)
{
    Dictionary shown{{"url", url},
                     {"at", sample.at},
                     {"uptime", sample.uptime},
                     {"isHealthy", sample.isHealthy},
                     {"broker", sample.broker},
                     {"connections", sample.connections},
                     {"sessions", sample.sessions},
                     {"subscriptions", sample.subscriptions},
                     {"published", sample.published},
                     {"delivered", sample.delivered},
                     {"replayed", sample.replayed},
                     {"slowClientsClosed", sample.slowClientsClosed},
                     {"bytesSent", sample.bytesSent}};
    addKnown(shown, "residentBytes", sample.residentBytes);
    addKnown(shown, "processorSeconds", sample.processorSeconds);
    if (rates) {
        shown["publishedPerSecond"] = rates->publishedPerSecond;
        shown["deliveredPerSecond"] = rates->deliveredPerSecond;
        shown["bytesSentPerSecond"] = rates->bytesSentPerSecond;
        addKnown(shown, "processorShare", rates->processorShare);
    }
    List list;
    list.reserve(topics.size());
    for (const TopicSample* const topic : topics) {
        list.push_back(topicJson(*topic, sample.at));
    }
    shown["topicCount"] = sample.topicCount;
    shown["topics"] = std::move(list);
    return messageText(shown);
}

std::string failureJson(const std::string& url, const std::string& reason)
{
    return messageText({{"url", url}, {"error", reason}});
}

} // namespace vexa::host
