#include <host/service/ClientConnection.hpp>

#include <functional>
#include <utility>

namespace vexa::host {

namespace {

/// More than a client has unanswered at a time. A retry of one that was forgotten costs a connection, no message.
constexpr std::size_t rememberedOperations = 256;

} // namespace

ClientConnection::ClientConnection(std::shared_ptr<ServiceState> service, SessionSink sink)
    : service_{std::move(service)}, sink_{std::move(sink)}, operations_{rememberedOperations}
{}

void ClientConnection::open()
{
    isOpen_ = true;
    ++service_->figures.sessions;
}

void ClientConnection::receive(const Message& message)
{
    if (!isOpen_) {
        return;
    }
    if (message == nullptr) {
        ++service_->figures.malformed;
        return;
    }
    switch (kindOf(*message)) {
    case MessageKind::subscribe:
        subscribe(*message);
        return;
    case MessageKind::publish:
        publish(*message);
        return;
    case MessageKind::serverLog:
        keepServerLogRecord(*message);
        return;
    case MessageKind::echo:
        ++service_->figures.echoes;
        service_->echoes.add(message);
        return;
    case MessageKind::unknown:
        ++service_->figures.unknown;
        return;
    }
}

void ClientConnection::whenHandled(std::function<void()> then)
{
    if (answeredPublications_ < begunPublications_) {
        waiting_.push_back({begunPublications_, std::move(then)});
        return;
    }
    callGuarded(service_->platform, "who waits for a session", then);
}

void ClientConnection::close()
{
    if (!std::exchange(isOpen_, false)) {
        return;
    }
    for (const auto& [topic, subscription] : subscriptions_) {
        service_->broker->cancel(subscription->number);
        TopicLedger::subscriptionEnded(*subscription->account);
    }
    service_->figures.subscriptions -= subscriptions_.size();
    --service_->figures.sessions;
    subscriptions_.clear();
}

void ClientConnection::keepServerLogRecord(const Dictionary& message)
{
    auto record = readServerLogRecord(message);
    if (!record) {
        ++service_->figures.malformed;
        return;
    }
    record->receivedAt = service_->platform.now();
    ++service_->figures.serverLogRecords;
    service_->topics.report(record->blob);
    service_->serverLogRecords.add(std::move(*record));
}

void ClientConnection::send(Dictionary message)
{
    if (isOpen_ && sink_.send) {
        callHost(service_->platform, "the sink of a session", [&] { sink_.send(std::move(message)); });
    }
}

void ClientConnection::closeByService(ServiceError reason)
{
    ++service_->figures.closedByService;
    close();
    if (sink_.closed) {
        callHost(service_->platform, "the sink of a session", [&] { sink_.closed(std::move(reason)); });
    }
}

} // namespace vexa::host
