#include <host/embedded/EmbeddedTransport.hpp>
#include <host/service/ServiceMessages.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <utility>

namespace vexa::host {

/// Outlives the transport, since a diagnostic record holds it for minutes.
class EmbeddedTransport::Logger final : public OruClientLogger {
public:
    Logger(std::weak_ptr<EmbeddedTransport> transport, std::function<void(std::string_view)> console)
        : transport_{std::move(transport)}, console_{std::move(console)}
    {}

    void consoleLog(std::string_view line) override
    {
        if (console_) {
            console_(line);
        }
    }

    void serverLog(std::string_view category, Dictionary blob, std::int64_t severity) override
    {
        if (const auto transport = transport_.lock()) {
            transport->send(serverLogMessage(category, std::move(blob), severity));
        }
    }

private:
    const std::weak_ptr<EmbeddedTransport> transport_;
    const std::function<void(std::string_view)> console_;
};

std::shared_ptr<EmbeddedTransport> EmbeddedTransport::make(std::shared_ptr<VexaService> service,
                                                           EmbeddedTransportOptions options, Platform& platform)
{
    std::shared_ptr<EmbeddedTransport> transport{
        new EmbeddedTransport{std::move(service), std::move(options), platform}};
    transport->logger_ = std::make_shared<Logger>(transport, transport->options_.console);
    return transport;
}

EmbeddedTransport::EmbeddedTransport(std::shared_ptr<VexaService> service, EmbeddedTransportOptions options,
                                     Platform& platform)
    : service_{std::move(service)},
      options_{std::move(options)},
      platform_{platform},
      queue_{platform.makeQueue("vexatransport")},
      kept_{options_.keptWhileClosed}
{}

EmbeddedTransport::~EmbeddedTransport() = default;

template <class Work>
void EmbeddedTransport::onQueue(Work work)
{
    queue_->async([transport = weak_from_this(), work = std::move(work)]() mutable {
        if (const auto self = transport.lock()) {
            work(*self);
        }
    });
}

void EmbeddedTransport::open()
{
    onQueue([](EmbeddedTransport& self) { self.openOnQueue(); });
}

void EmbeddedTransport::close()
{
    onQueue([](EmbeddedTransport& self) { self.closeOnQueue(); });
}

void EmbeddedTransport::lose(TrafficDirection direction, LossRule rule)
{
    onQueue([direction, rule = std::move(rule)](EmbeddedTransport& self) mutable {
        (direction == TrafficDirection::toService ? self.toServiceRule_ : self.toClientRule_) = std::move(rule);
    });
}

TransportFigures EmbeddedTransport::figures()
{
    return queue_->sync([this] { return figures_; });
}

std::shared_ptr<OruClientLogger> EmbeddedTransport::logger()
{
    return logger_;
}

std::int64_t EmbeddedTransport::addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener)
{
    return listeners_.addConnectionListener(std::move(listener));
}

std::int64_t EmbeddedTransport::addCategoryListener(std::string_view category,
                                                    std::shared_ptr<OruClientMessageListener> listener)
{
    return listeners_.addCategoryListener(category, std::move(listener));
}

void EmbeddedTransport::send(Dictionary message)
{
    onQueue([message = std::move(message)](EmbeddedTransport& self) mutable { self.sendOnQueue(std::move(message)); });
}

void EmbeddedTransport::openOnQueue()
{
    if (session_) {
        return;
    }
    const std::uint64_t connection = ++connection_;
    ++figures_.openings;
    session_.emplace(service_->connect(sinkFor(connection)));
    for (Dictionary& message : kept_.take()) {
        passToService(std::move(message));
    }
    for (const auto& listener : listeners_.setOpen(true)) {
        callHost(platform_, "a connection listener", [&] { listener->connectionOpened(); });
    }
}

SessionSink EmbeddedTransport::sinkFor(std::uint64_t connection)
{
    SessionSink sink;
    sink.send = [transport = weak_from_this(), connection](Dictionary message) {
        if (const auto self = transport.lock()) {
            self->onQueue([connection, message = std::move(message)](EmbeddedTransport& carrier) mutable {
                carrier.passToClient(connection, std::move(message));
            });
        }
    };
    sink.closed = [transport = weak_from_this(), connection](const ServiceError&) {
        if (const auto self = transport.lock()) {
            self->onQueue([connection](EmbeddedTransport& closing) {
                if (closing.session_ && connection == closing.connection_) {
                    closing.closeOnQueue();
                    closing.openOnQueue();
                }
            });
        }
    };
    return sink;
}

void EmbeddedTransport::closeOnQueue()
{
    if (!session_) {
        return;
    }
    session_.reset();
    for (const auto& listener : listeners_.setOpen(false)) {
        callHost(platform_, "a connection listener", [&] { listener->connectionClosed(); });
    }
}

void EmbeddedTransport::sendOnQueue(Dictionary message)
{
    if (session_) {
        passToService(std::move(message));
        return;
    }
    const MessageKind kind = kindOf(message);
    const bool isKept = kind == MessageKind::serverLog || kind == MessageKind::echo;
    if (!isKept || kept_.add(std::move(message))) {
        ++figures_.toService.dropped;
    }
}

void EmbeddedTransport::passToService(Dictionary message)
{
    if (Message carried = carry(std::move(message), toServiceRule_, figures_.toService)) {
        session_->receive(std::move(carried));
    }
}

void EmbeddedTransport::passToClient(std::uint64_t connection, Dictionary message)
{
    if (!session_ || connection != connection_) {
        ++figures_.toClient.dropped;
        return;
    }
    const Message carried = carry(std::move(message), toClientRule_, figures_.toClient);
    if (carried == nullptr) {
        return;
    }
    if (const auto listeners = listeners_.listenersOf(stringAt(*carried, "category").value_or(""))) {
        for (const auto& each : *listeners) {
            each.deliver(carried, platform_);
        }
    }
}

Message EmbeddedTransport::carry(Dictionary message, const LossRule& rule, TransportFigures::Traffic& traffic) const
{
    if (rule && rule(message)) {
        ++traffic.lost;
        return nullptr;
    }
    if (options_.throughText) {
        boost::system::error_code error;
        message = readMessage(messageText(message), error);
        if (error) {
            ++traffic.unreadable;
            return nullptr;
        }
    }
    ++traffic.passed;
    return std::make_shared<const Dictionary>(std::move(message));
}

} // namespace vexa::host
