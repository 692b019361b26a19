#include <host/broker/nats/NatsBroker.hpp>
#include <host/broker/nats/NatsBrokerCore.hpp>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace vexa::host {

namespace {

bool isNamePart(char character) noexcept
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '_';
}

void check(const NatsBrokerOptions& options)
{
    constexpr int mostReplicas = 5;
    if (options.servers.empty()) {
        throw std::invalid_argument{"a NATS broker needs the address of a server"};
    }
    if (options.stream.empty() || !std::all_of(options.stream.begin(), options.stream.end(), isNamePart)) {
        throw std::invalid_argument{"the name of a stream may hold letters, digits, '-' and '_'"};
    }
    if (options.replicas < 1 || options.replicas > mostReplicas) {
        throw std::invalid_argument{"a stream has 1 to 5 replicas"};
    }
    if (options.retention.recordsPerTopic < 1) {
        throw std::invalid_argument{"a topic keeps one record at least"};
    }
    if (!(options.publishTimeLimit > 0) || !(options.requestTimeLimit > 0) || !(options.connectTimeLimit > 0)) {
        throw std::invalid_argument{"time limits are longer than nothing"};
    }
    if (options.retention.maximumAge && !(*options.retention.maximumAge > options.publishTimeLimit)) {
        throw std::invalid_argument{"records are kept for longer than a publication may take"};
    }
}

} // namespace

std::shared_ptr<NatsBroker> NatsBroker::make(const NatsBrokerOptions& options, Platform& platform)
{
    check(options);
    auto core = std::make_shared<NatsBrokerCore>(options, platform);
    core->start();
    return std::shared_ptr<NatsBroker>{new NatsBroker{std::move(core)}};
}

NatsBroker::NatsBroker(std::shared_ptr<NatsBrokerCore> core) : core_{std::move(core)} {}

NatsBroker::~NatsBroker()
{
    core_->stop();
}

void NatsBroker::publish(TopicKey topic, std::vector<Dictionary> payloads, PublishCompletion completion)
{
    core_->publish({}, std::move(topic), std::move(payloads), std::move(completion));
}

void NatsBroker::publishOnce(const std::string& id, TopicKey topic, std::vector<Dictionary> payloads,
                             PublishCompletion completion)
{
    core_->publish(id, std::move(topic), std::move(payloads), std::move(completion));
}

std::int64_t NatsBroker::subscribe(TopicKey topic, double since, std::shared_ptr<BrokerReceiver> receiver)
{
    return core_->subscribe(std::move(topic), since, std::move(receiver));
}

void NatsBroker::cancel(std::int64_t subscription)
{
    core_->cancel(subscription);
}

BrokerStatus NatsBroker::status() const
{
    return core_->status();
}

NatsBrokerFigures NatsBroker::figures() const
{
    return core_->figures();
}

void NatsBroker::stop()
{
    core_->stop();
}

void NatsBroker::releaseLibrary()
{
    constexpr std::int64_t asLongAsItTakes = 0;
    nats_CloseAndWait(asLongAsItTakes);
}

} // namespace vexa::host
