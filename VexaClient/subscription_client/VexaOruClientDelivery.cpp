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
    FedBatch deliveries;
    DeliveryReport report{doubleAt(*message, "sentAt").value_or(0.0), 0.0, false, {}};
    route(message, *entries, deliveries, report);
    logMessageDelivery(std::move(report));
    deliver(std::move(deliveries));
}

void VexaOruClient::logMessageDelivery(DeliveryReport report)
{
    report.receivedAt = platform_.now();
    report.visible = isVisible();
    sendServerLog(std::move(report));
}

void VexaOruClient::route(const Message& batch, const List& entries, FedBatch& deliveries, DeliveryReport& report)
{
    report.records.reserve(entries.size());
    deliveries.reserve(entries.size());
    for (const Value& value : entries) {
        const Dictionary& entry = value.get_object();
        const TopicMessage message = topicMessage(entry);
        if (!message.subscriptionId) {
            continue;
        }
        SubscriptionRoute* const route = tables_.route(*message.subscriptionId);
        if (route == nullptr) {
            report.records.push_back({SubscriptionRoutePointer{new SubscriptionRoute{*message.subscriptionId}}, nullptr,
                                      0.0, message.replayed});
            continue;
        }
        ConfirmedTopic& topic = *route->topic;
        if (!topic.isCurrent) {
            report.records.push_back({route, nullptr, 0.0, message.replayed});
            continue;
        }
        TopicSubscription& subscription = topic.subscription;
        if (message.updatedAt && *message.updatedAt > subscription.updatedAt) {
            subscription.updatedAt = *message.updatedAt;
        }
        report.records.push_back({route, subscription.identity(), 0.0, message.replayed});
        if (topic.isRemoved) {
            platform_.log(
                joined({"Subscription for ", route->subscriptionId, " was previously removed, not notifying"}));
            continue;
        }
        deliveries.push_back({subscription.identity(), Message{batch, &entry}, message.isTerminating});
    }
    // Every record tells the moment that its topic has reached with the whole batch.
    for (DeliveryReport::Record& record : report.records) {
        if (record.topic != nullptr) {
            record.updatedAt = record.route->topic->subscription.updatedAt;
        }
    }
}

void VexaOruClient::deliver(FedBatch deliveries)
{
    std::vector<TopicIdentity::Pointer> ended;
    for (const FedMessage& delivery : deliveries) {
        if (delivery.isTerminating) {
            ended.push_back(delivery.topic);
        }
    }
    if (!deliveries.empty() && batchDelegate_ != nullptr) {
        cbq_->asyncPrompt([&platform = platform_, delegate = state_.delegate, feed = batchDelegate_,
                           deliveries = std::move(deliveries)]() mutable {
            callGuarded(platform, "VexaFeed::messageFeed", [&] { feed->batchFeed(std::move(deliveries)); });
        });
    } else if (!deliveries.empty() && state_.delegate != nullptr) {
        // One item for the batch: the callbacks run in its order, one at a time, as items of their own would.
        cbq_->async([&platform = platform_, delegate = state_.delegate, deliveries = std::move(deliveries)] {
            for (const FedMessage& each : deliveries) {
                callHost(platform, "VexaFeed::messageFeed",
                         [&] { delegate->messageFeed(each.topic->hash(), each.message, each.isTerminating); });
            }
        });
    }
    for (const auto& topic : ended) {
        remove(topic->hash());
    }
}

} // namespace vexa
