#include <host/service/ClientConnection.hpp>
#include <host/service/ServiceState.hpp>
#include <host/service/VexaService.hpp>

#include <algorithm>
#include <utility>

namespace vexa::host {

VexaService::VexaService(std::shared_ptr<Broker> broker, const ServiceLimits& limits, Platform& platform)
    : state_{std::make_shared<ServiceState>(std::move(broker), limits, platform)}
{}

VexaService::~VexaService() = default;

Session VexaService::connect(SessionSink sink)
{
    auto connection = std::make_shared<ClientConnection>(state_, std::move(sink));
    state_->queue->async([connection] { connection->open(); });
    return Session{std::move(connection)};
}

void VexaService::publish(std::string_view name, const Parameters& parameters, std::vector<Dictionary> payloads,
                          PublishCompletion completion)
{
    TopicKey topic{name, parameters};
    PublishCompletion counting = counted(topic, std::move(completion));
    state_->broker->publish(std::move(topic), std::move(payloads), std::move(counting));
}

void VexaService::end(std::string_view name, const Parameters& parameters, Dictionary payload,
                      PublishCompletion completion)
{
    TopicKey topic{name, parameters};
    PublishCompletion counting = counted(topic, std::move(completion));
    state_->broker->end(std::move(topic), std::move(payload), std::move(counting));
}

ServiceFigures VexaService::figures() const
{
    return state_->queue->sync([this] { return state_->figures; });
}

std::vector<ServerLogRecord> VexaService::serverLogRecords() const
{
    return state_->queue->sync([this] {
        const auto& kept = state_->serverLogRecords.all();
        return std::vector<ServerLogRecord>(kept.begin(), kept.end());
    });
}

std::vector<Message> VexaService::echoes() const
{
    return state_->queue->sync([this] {
        const auto& kept = state_->echoes.all();
        return std::vector<Message>(kept.begin(), kept.end());
    });
}

std::vector<TopicFigures> VexaService::topicFigures() const
{
    return state_->queue->sync([this] { return state_->topics.figures(state_->platform.monotonicNow()); });
}

void VexaService::figures(std::function<void(ServiceFigures)> completion) const
{
    state_->queue->async([state = state_, completion = std::move(completion)] {
        callGuarded(state->platform, "who asked for figures", [&] { completion(state->figures); });
    });
}

void VexaService::serverLogRecords(std::size_t atMost,
                                   std::function<void(std::vector<ServerLogRecord>)> completion) const
{
    state_->queue->async([state = state_, atMost, completion = std::move(completion)] {
        const auto& kept = state->serverLogRecords.all();
        const auto count = static_cast<std::ptrdiff_t>(std::min(atMost, kept.size()));
        callGuarded(state->platform, "who asked for records",
                    [&] { completion(std::vector<ServerLogRecord>(kept.end() - count, kept.end())); });
    });
}

void VexaService::topicFigures(std::function<void(std::vector<TopicFigures>)> completion) const
{
    state_->queue->async([state = state_, completion = std::move(completion)] {
        callGuarded(state->platform, "who asked for figures",
                    [&] { completion(state->topics.figures(state->platform.monotonicNow())); });
    });
}

BrokerStatus VexaService::brokerStatus() const
{
    return state_->broker->status();
}

PublishCompletion VexaService::counted(TopicKey topic, PublishCompletion completion) const
{
    return [state = state_, topic = std::move(topic), completion = std::move(completion)](PublishResult result) {
        state->queue->async([state, topic, completion, result = std::move(result)]() mutable {
            state->countPublication(topic, result);
            if (completion) {
                callHost(state->platform, "the completion of a publication", [&] { completion(std::move(result)); });
            }
        });
    };
}

} // namespace vexa::host
