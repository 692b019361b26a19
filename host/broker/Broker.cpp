#include <host/broker/Broker.hpp>

#include <utility>

namespace vexa::host {

void Broker::publishOnce(const std::string& /*id*/, TopicKey topic, std::vector<Dictionary> payloads,
                         PublishCompletion completion)
{
    publish(std::move(topic), std::move(payloads), std::move(completion));
}

void Broker::end(TopicKey topic, Dictionary payload, PublishCompletion completion)
{
    payload["isTerminating"] = true;
    std::vector<Dictionary> payloads;
    payloads.push_back(std::move(payload));
    publish(std::move(topic), std::move(payloads), std::move(completion));
}

} // namespace vexa::host
