#pragma once

#include "ServiceClient.hpp"
#include <host/broker/Broker.hpp>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {

/// A broker that answers subscriptions when it is told to.
class SlowBroker final : public Broker {
public:
    void publish(TopicKey, std::vector<Dictionary>, PublishCompletion) override {}
    std::int64_t subscribe(TopicKey topic, double since, std::shared_ptr<BrokerReceiver> receiver) override
    {
        begunFrom[topic.text()].push_back(since);
        receivers[topic.text()] = std::move(receiver);
        return static_cast<std::int64_t>(receivers.size());
    }
    void cancel(std::int64_t) override { ++cancelled; }

    std::map<std::string, std::shared_ptr<BrokerReceiver>> receivers;
    std::map<std::string, std::vector<double>> begunFrom; ///< the times of all subscriptions
    int cancelled = 0;
};

/// A message of a broker.
inline Delivery delivery(int number, double updatedAt = 1, bool isReplayed = false)
{
    Dictionary payload = numbered(number);
    payload["updatedAt"] = updatedAt;
    return {std::make_shared<const Dictionary>(std::move(payload)), isReplayed};
}

} // namespace vexa::host
