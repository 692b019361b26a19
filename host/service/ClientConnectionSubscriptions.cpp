#include <host/service/ClientConnection.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <functional>
#include <iterator>
#include <string>
#include <utility>

namespace vexa::host {

/// Brings what the broker says about one subscription onto the service's queue.
class ClientConnection::TopicReceiver final : public BrokerReceiver {
public:
    TopicReceiver(const std::shared_ptr<ClientConnection>& connection, TopicKey topic,
                  std::shared_ptr<Subscription> subscription)
        : connection_{connection},
          queue_{connection->service_->queue},
          topic_{std::move(topic)},
          subscription_{std::move(subscription)},
          beginning_{subscription_->beginnings}
    {}

    void subscribed() override
    {
        onQueue([subscription = subscription_](ClientConnection& open) { open.subscribed(subscription); });
    }

    void refused(ServiceError reason) override
    {
        onQueue([topic = topic_, subscription = subscription_, reason = std::move(reason)](ClientConnection& open) {
            open.refused(topic, subscription, reason);
        });
    }

    void received(std::vector<Delivery> deliveries) override
    {
        onQueue([subscription = subscription_, deliveries = std::move(deliveries)](ClientConnection& open) mutable {
            open.received(*subscription, std::move(deliveries));
        });
    }

private:
    /// Does `work` unless the subscription was begun anew since.
    template <class Work>
    void onQueue(Work work)
    {
        queue_->async([connection = connection_, subscription = subscription_, beginning = beginning_,
                       work = std::move(work)]() mutable {
            const auto open = connection.lock();
            if (open != nullptr && subscription->beginnings == beginning) {
                work(*open);
            }
        });
    }

    const std::weak_ptr<ClientConnection> connection_;
    const SerialQueueHandle queue_;
    const TopicKey topic_;
    const std::shared_ptr<Subscription> subscription_;
    const std::uint64_t beginning_;
};

void ClientConnection::subscribe(const Dictionary& message)
{
    const auto request = readSubscribeRequest(message);
    if (!request) {
        ++service_->figures.malformed;
        return;
    }
    if (request->error) {
        ++service_->figures.malformed;
        send(subscriptionResponse(request->operationId, {}, request->error));
        return;
    }
    const NewestTimes newest = newestTimes(*request);
    if (mayHaveMissedData(request->operationId, newest)) {
        closeByService({"Ambiguous", "A topic was requested again, and it is unknown what of it has arrived"});
        return;
    }
    operations_.add(std::hash<std::string>{}(request->operationId));
    const auto answer = std::make_shared<Answer>();
    answer->operationId = request->operationId;
    answer->topics.resize(request->topics.size());
    bool isWhole = true;
    for (std::size_t position = 0; position < request->topics.size(); ++position) {
        if (const auto* topic = std::get_if<TopicRequest>(&request->topics[position])) {
            subscribeTo(*topic, newest.at(topic->topic), answer, position);
        } else {
            isWhole = false;
            answer->topics[position] = std::get<ServiceError>(request->topics[position]);
        }
    }
    if (!isWhole) {
        ++service_->figures.malformed;
    }
    sendWhenSettled(*answer);
}

ClientConnection::NewestTimes ClientConnection::newestTimes(const SubscribeRequest& request)
{
    NewestTimes newest;
    for (const auto& each : request.topics) {
        if (const auto* topic = std::get_if<TopicRequest>(&each)) {
            double& time = newest[topic->topic];
            time = std::max(time, topic->updatedAt);
        }
    }
    return newest;
}

bool ClientConnection::mayHaveMissedData(const std::string& operationId, const NewestTimes& newest) const
{
    const bool isBehind = std::any_of(newest.begin(), newest.end(), [this](const auto& each) {
        const auto found = subscriptions_.find(each.first);
        return found != subscriptions_.end() && each.second < found->second->sentUntil;
    });
    // A retry repeats a request whose answer is on its way, and with it all that was sent.
    const auto& known = operations_.all();
    return isBehind && std::find(known.begin(), known.end(), std::hash<std::string>{}(operationId)) == known.end();
}

std::optional<ServiceError> ClientConnection::refusalOf(const TopicKey& topic) const
{
    if (topic.text().size() > service_->limits.topicBytes) {
        return ServiceError{"TopicTooLong", joined({"The name and the parameters of a topic may take ",
                                                    std::to_string(service_->limits.topicBytes), " bytes as JSON"})};
    }
    return std::nullopt;
}

void ClientConnection::subscribeTo(const TopicRequest& topic, double newest, const std::shared_ptr<Answer>& answer,
                                   std::size_t position)
{
    if (const auto refusal = refusalOf(topic.topic)) {
        answer->topics[position] = *refusal;
        return;
    }
    auto found = subscriptions_.find(topic.topic);
    if (found == subscriptions_.end()) {
        if (subscriptions_.size() >= service_->limits.subscriptionsPerSession) {
            answer->topics[position] =
                ServiceError{"TooManySubscriptions", "This connection has as many subscriptions as it may"};
            return;
        }
        const auto subscription = std::make_shared<Subscription>();
        subscription->id = service_->nextSubscriptionId();
        subscription->idText = std::make_shared<const std::string>(joined({"\"", subscription->id, "\""}));
        subscription->account = &service_->topics.subscriptionBegan(topic.topic, service_->platform.monotonicNow());
        found = subscriptions_.emplace(topic.topic, subscription).first;
        ++service_->figures.subscriptions;
        beginAtBroker(topic.topic, subscription, newest);
    } else if (const auto& known = found->second; known->requestedFrom <= 0 && newest > 0 && known->sentUntil <= 0) {
        // Asked without a time, the broker began with the topic's present life; the client may be in an earlier one.
        service_->broker->cancel(known->number);
        known->held.clear();
        known->stands = false;
        beginAtBroker(topic.topic, known, newest);
    }
    const std::shared_ptr<Subscription>& subscription = found->second;
    subscription->requestedFrom = std::max(subscription->requestedFrom, newest);
    if (topic.updatedAt < subscription->requestedFrom) {
        // A client takes the time of the last request that succeeds for its own, and would ask for what it has.
        answer->topics[position] =
            ServiceError{"AlreadySubscribed", "The topic is subscribed on this connection, from a later time"};
        return;
    }
    answer->topics[position] = subscription->id;
    answer->subscriptions.push_back(subscription);
    ++subscription->owedAnswers;
    if (!subscription->stands) {
        ++answer->unsettled;
        subscription->waiting.push_back({answer, position});
    }
}

void ClientConnection::beginAtBroker(const TopicKey& topic, const std::shared_ptr<Subscription>& subscription,
                                     double since)
{
    ++subscription->beginnings;
    subscription->number = service_->broker->subscribe(
        topic, since, std::make_shared<TopicReceiver>(shared_from_this(), topic, subscription));
}

void ClientConnection::subscribed(const std::shared_ptr<Subscription>& subscription)
{
    subscription->stands = true;
    for (const AnswerPlace& place : std::exchange(subscription->waiting, {})) {
        --place.answer->unsettled;
        sendWhenSettled(*place.answer);
    }
}

void ClientConnection::refused(const TopicKey& topic, const std::shared_ptr<Subscription>& subscription,
                               const ServiceError& reason)
{
    const auto found = subscriptions_.find(topic);
    if (found == subscriptions_.end() || found->second != subscription) {
        return;
    }
    // Forgotten, so that a later request for the topic asks the broker again.
    TopicLedger::subscriptionEnded(*subscription->account);
    subscriptions_.erase(found);
    --service_->figures.subscriptions;
    for (const AnswerPlace& place : std::exchange(subscription->waiting, {})) {
        --place.answer->unsettled;
        place.answer->topics[place.position] = reason;
        sendWhenSettled(*place.answer);
    }
}

void ClientConnection::received(Subscription& subscription, std::vector<Delivery> deliveries)
{
    if (subscription.owedAnswers == 0) {
        deliver(subscription, std::move(deliveries));
        return;
    }
    // The client may not know whose messages these are before it has the answer.
    std::move(deliveries.begin(), deliveries.end(), std::back_inserter(subscription.held));
}

} // namespace vexa::host
