#include <VexaClient/subscription_client/DiagnosticReport.hpp>

#include <string_view>
#include <utility>

namespace vexa {

namespace {

template <class Records, class ToDictionary>
Dictionary reportOf(std::string_view key, const Records& records, ToDictionary&& toDictionary)
{
    List list;
    list.reserve(records.size());
    for (const auto& record : records) {
        list.emplace_back(toDictionary(record));
    }
    Dictionary dictionary;
    dictionary.emplace(key, std::move(list));
    return dictionary;
}

} // namespace

Dictionary SubscriptionResponseReport::asDictionary() const
{
    return reportOf("vexaSubscriptionResponses", records, [this](const Record& record) {
        Dictionary dictionary;
        dictionary.emplace("operationId", operationId);
        dictionary.emplace("status", record.success ? "success" : "fail");
        dictionary.emplace("topic", record.topic.asDictionary());
        dictionary.emplace("visible", visible);
        if (record.route != nullptr) {
            dictionary.emplace("subscriptionId", record.route->subscriptionId);
        }
        if (record.failure != nullptr) {
            dictionary.emplace("error", record.failure->error);
            dictionary.emplace("errorMessage", record.failure->errorMessage);
        }
        return dictionary;
    });
}

Dictionary TimeoutReport::asDictionary() const
{
    return reportOf("vexaSubscriptionResponses", topics, [this](const TopicSubscription& topic) {
        Dictionary dictionary;
        dictionary.emplace("topic", topic.asDictionary());
        dictionary.emplace("status", "fail");
        dictionary.emplace("operationId", operationId);
        dictionary.emplace("error", "SubscriptionTimeoutError");
        dictionary.emplace("visible", visible);
        dictionary.emplace("errorMessage", "Subscription timed out");
        dictionary.emplace("retries", retries);
        return dictionary;
    });
}

Dictionary DeliveryReport::asDictionary() const
{
    return reportOf("vexaMessages", records, [this](const Record& record) {
        Dictionary dictionary;
        dictionary.emplace("delivery", record.replayed ? "offline" : "online");
        dictionary.emplace("subscriptionId", record.route->subscriptionId);
        dictionary.emplace("sentAt", sentAt);
        dictionary.emplace("receivedAt", receivedAt);
        dictionary.emplace("visible", visible);
        if (record.topic != nullptr) {
            dictionary.emplace("topic", topicDescription(*record.topic, record.updatedAt));
        }
        return dictionary;
    });
}

} // namespace vexa
