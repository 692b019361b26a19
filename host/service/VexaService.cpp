#include <host/service/ClientConnection.hpp>
#include <host/service/ServiceState.hpp>
#include <host/service/VexaService.hpp>

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
    state_->broker->publish(TopicKey{name, parameters}, std::move(payloads), counted(std::move(completion)));
}

void VexaService::end(std::string_view name, const Parameters& parameters, Dictionary payload,
                      PublishCompletion completion)
{
    state_->broker->end(TopicKey{name, parameters}, std::move(payload), counted(std::move(completion)));
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

PublishCompletion VexaService::counted(PublishCompletion completion) const
{
    return [state = state_, completion = std::move(completion)](PublishResult result) {
        state->queue->async([state, completion, result = std::move(result)]() mutable {
            state->figures.published += result.accepted;
            if (completion) {
                callHost(state->platform, "the completion of a publication", [&] { completion(std::move(result)); });
            }
        });
    };
}

} // namespace vexa::host
