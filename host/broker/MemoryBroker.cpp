#include <host/broker/MemoryBroker.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <algorithm>
#include <cmath>
#include <utility>

namespace vexa::host {

namespace {

constexpr double microsecondsPerSecond = 1e6;

ServiceError noRoomForTopic()
{
    return {"TooManyTopics", "The service holds as many topics as it may"};
}

} // namespace

std::shared_ptr<MemoryBroker> MemoryBroker::make(const MemoryBrokerLimits& limits, Platform& platform)
{
    return std::shared_ptr<MemoryBroker>{new MemoryBroker{limits, platform}};
}

MemoryBroker::MemoryBroker(const MemoryBrokerLimits& limits, Platform& platform)
    : limits_{limits}, platform_{platform}, queue_{platform.makeQueue("vexabroker")}
{}

void MemoryBroker::publish(TopicKey topic, std::vector<Dictionary> payloads, PublishCompletion completion)
{
    queue_->async([self = shared_from_this(), topic = std::move(topic), payloads = std::move(payloads),
                   completion = std::move(completion)]() mutable {
        self->publishOnQueue(topic, std::move(payloads), completion);
    });
}

std::int64_t MemoryBroker::subscribe(TopicKey topic, double since, std::shared_ptr<BrokerReceiver> receiver)
{
    const std::int64_t subscription = ++lastSubscription_;
    queue_->async([self = shared_from_this(), topic = std::move(topic), since, subscription,
                   receiver = std::move(receiver)]() mutable {
        self->subscribeOnQueue(topic, since, subscription, std::move(receiver));
    });
    return subscription;
}

void MemoryBroker::cancel(std::int64_t subscription)
{
    queue_->async([self = shared_from_this(), subscription] {
        const auto found = self->topicOfSubscription_.find(subscription);
        if (found != self->topicOfSubscription_.end()) {
            found->second->receivers.erase(subscription);
            self->topicOfSubscription_.erase(found);
        }
    });
}

void MemoryBroker::publishOnQueue(const TopicKey& key, std::vector<Dictionary> payloads,
                                  const PublishCompletion& completion)
{
    PublishResult result;
    Topic* const topic = topicAt(key);
    if (topic == nullptr) {
        result.error = noRoomForTopic();
    } else {
        std::vector<Delivery> deliveries;
        deliveries.reserve(payloads.size());
        for (Dictionary& payload : payloads) {
            deliveries.push_back({store(*topic, std::move(payload)), false});
        }
        forgetOld(*topic);
        result.accepted = deliveries.size();
        if (!deliveries.empty()) {
            for (const auto& [subscription, receiver] : topic->receivers) {
                callHost(platform_, "a receiver of the broker", [&] { receiver->received(deliveries); });
            }
        }
    }
    if (completion) {
        callHost(platform_, "the completion of a publication", [&] { completion(std::move(result)); });
    }
}

void MemoryBroker::subscribeOnQueue(const TopicKey& key, double since, std::int64_t subscription,
                                    std::shared_ptr<BrokerReceiver> receiver)
{
    Topic* const topic = topicAt(key);
    if (topic == nullptr) {
        callHost(platform_, "a receiver of the broker", [&] { receiver->refused(noRoomForTopic()); });
        return;
    }
    forgetOld(*topic);
    const double after = since > 0 ? since : topic->formerLivesUntil;
    auto entry = std::upper_bound(topic->history.begin(), topic->history.end(), after,
                                  [](double time, const Entry& each) { return time < each.updatedAt; });
    std::vector<Delivery> replay;
    for (; entry != topic->history.end(); ++entry) {
        replay.push_back({entry->payload, true});
    }
    callHost(platform_, "a receiver of the broker", [&] {
        receiver->subscribed();
        if (!replay.empty()) {
            receiver->received(std::move(replay));
        }
    });
    topic->receivers.emplace(subscription, std::move(receiver));
    topicOfSubscription_.emplace(subscription, topic);
}

MemoryBroker::Topic* MemoryBroker::topicAt(const TopicKey& key)
{
    const auto found = topics_.find(key);
    if (found != topics_.end()) {
        return &found->second;
    }
    return topics_.size() < limits_.topics ? &topics_[key] : nullptr;
}

Message MemoryBroker::store(Topic& topic, Dictionary payload)
{
    if (std::exchange(topic.hasEnded, boolAt(payload, "isTerminating").value_or(false))) {
        topic.formerLivesUntil = static_cast<double>(topic.lastMicrosecond) / microsecondsPerSecond;
    }
    const auto now = static_cast<std::int64_t>(std::floor(platform_.now() * microsecondsPerSecond));
    topic.lastMicrosecond = std::max(now, topic.lastMicrosecond + 1);
    const double updatedAt = static_cast<double>(topic.lastMicrosecond) / microsecondsPerSecond;
    payload["updatedAt"] = updatedAt;
    auto message = std::make_shared<const Dictionary>(std::move(payload));
    topic.history.push_back({message, updatedAt, platform_.monotonicNow()});
    return message;
}

void MemoryBroker::forgetOld(Topic& topic) const
{
    auto& history = topic.history;
    if (history.size() > limits_.messagesPerTopic) {
        const auto surplus = history.size() - limits_.messagesPerTopic;
        history.erase(history.begin(), history.begin() + static_cast<std::ptrdiff_t>(surplus));
    }
    if (limits_.maximumAge) {
        const double oldest = platform_.monotonicNow() - *limits_.maximumAge;
        while (!history.empty() && history.front().storedAt < oldest) {
            history.pop_front();
        }
    }
}

} // namespace vexa::host
