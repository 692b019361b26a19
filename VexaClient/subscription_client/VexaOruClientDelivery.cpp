#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Text.hpp>
#include <VexaClient/subscription_client/TopicMessage.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>

#include <utility>

namespace vexa {

void VexaOruClient::handleDataMessage(const Message& message)
{
    const List* entries = dictionariesAt(*message, "messages");
    if (entries == nullptr) {
        return;
    }
    std::vector<RoutedEntry> routed;
    Deliveries deliveries;
    route(message, *entries, routed, deliveries);
    logMessageDelivery(*message, routed);
    deliver(std::move(deliveries));
}

void VexaOruClient::route(const Message& batch, const List& entries, std::vector<RoutedEntry>& routed,
                          Deliveries& deliveries)
{
    routed.reserve(entries.size());
    deliveries.reserve(entries.size());
    for (const Value& value : entries) {
        const Dictionary& entry = value.get_object();
        const TopicMessage message = topicMessage(entry);
        if (!message.subscriptionId) {
            continue;
        }
        const auto known = state_.subscriptionIdToHash.find(*message.subscriptionId);
        if (known == state_.subscriptionIdToHash.end()) {
            routed.push_back({std::make_shared<const std::string>(*message.subscriptionId), nullptr, message.replayed});
            continue;
        }
        const auto& [subscriptionId, hash] = known->second;
        const auto current = state_.currentSubscriptions.find(hash);
        if (current == state_.currentSubscriptions.end()) {
            routed.push_back({subscriptionId, nullptr, message.replayed});
            continue;
        }
        TopicSubscription& topic = current->second;
        if (message.updatedAt && *message.updatedAt > topic.updatedAt) {
            topic.updatedAt = *message.updatedAt;
        }
        routed.push_back({subscriptionId, &topic, message.replayed});
        if (state_.removedSubscriptions.contains(hash)) {
            platform_.log(joined({"Subscription for ", *subscriptionId, " was previously removed, not notifying"}));
            continue;
        }
        deliveries.push_back({topic, Message{batch, &entry}, message.isTerminating});
    }
}

void VexaOruClient::logMessageDelivery(const Dictionary& message, const std::vector<RoutedEntry>& routed)
{
    DeliveryReport report{doubleAt(message, "sentAt").value_or(0.0), platform_.now(), isVisible(), {}};
    report.records.reserve(routed.size());
    for (const RoutedEntry& entry : routed) {
        report.records.push_back({entry.subscriptionId,
                                  entry.topic != nullptr ? std::optional{*entry.topic} : std::nullopt, entry.replayed});
    }
    sendServerLog(std::move(report));
}

void VexaOruClient::deliver(Deliveries deliveries)
{
    if (deliveries.empty()) {
        return;
    }
    std::vector<std::string> ended;
    for (const Delivery& delivery : deliveries) {
        if (delivery.isTerminating) {
            ended.push_back(delivery.topic.hash());
        }
    }
    if (state_.delegate != nullptr) {
        // One item for the batch: the callbacks run in its order, one at a time, as items of their own would.
        cbq_->async([&platform = platform_, delegate = state_.delegate, prompt = delegateReturnsPromptly_,
                     deliveries = std::move(deliveries)] {
            for (const Delivery& delivery : deliveries) {
                const auto feed = [&] {
                    delegate->messageFeed(delivery.topic.hash(), delivery.message, delivery.isTerminating);
                };
                if (prompt) {
                    callGuarded(platform, "VexaFeed::messageFeed", feed);
                } else {
                    callHost(platform, "VexaFeed::messageFeed", feed);
                }
            }
        });
    }
    for (const std::string& hash : ended) {
        remove(hash);
    }
}

} // namespace vexa
