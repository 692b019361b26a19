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

void addIfGiven(Dictionary& dictionary, std::string_view key, const std::optional<std::string>& value)
{
    if (value) {
        dictionary.emplace(key, *value);
    }
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
        addIfGiven(dictionary, "subscriptionId", record.subscriptionId);
        addIfGiven(dictionary, "error", record.error);
        addIfGiven(dictionary, "errorMessage", record.errorMessage);
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
        dictionary.emplace("subscriptionId", *record.subscriptionId);
        dictionary.emplace("sentAt", sentAt);
        dictionary.emplace("receivedAt", receivedAt);
        dictionary.emplace("visible", visible);
        if (record.topic) {
            dictionary.emplace("topic", record.topic->asDictionary());
        }
        return dictionary;
    });
}

Dictionary asDictionary(const DiagnosticReport& report)
{
    return std::visit([](const auto& each) { return each.asDictionary(); }, report);
}

} // namespace vexa
