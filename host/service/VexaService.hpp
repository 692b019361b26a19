#pragma once

#include <host/broker/Broker.hpp>
#include <host/service/ServiceFigures.hpp>
#include <host/service/ServiceMessages.hpp>
#include <host/service/Session.hpp>
#include <host/service/TopicFigures.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace vexa::host {

struct ServiceState;

/// The publish/subscribe service, without any socket: clients connect through sessions, topics live in a broker, and
/// the host that runs the service can publish directly.
///
/// Everything it does happens on one serial queue, "vexaservice". Operations may be called on any thread; those that
/// answer with a value wait for that queue and must not be called from a sink or a completion. Sessions and
/// publications under way keep what they need of the service alive.
class VexaService {
public:
    explicit VexaService(std::shared_ptr<Broker> broker, const ServiceLimits& limits = {},
                         Platform& platform = Platform::system());
    ~VexaService();
    VexaService(const VexaService&) = delete;
    VexaService& operator=(const VexaService&) = delete;

    /// Connects a client, whom the service reaches through `sink`.
    [[nodiscard]] Session connect(SessionSink sink);

    /// Publishes payloads on a topic. A payload whose "isTerminating" is true ends the topic. Returns at once; the
    /// completion, which may be empty, is called on the service's queue.
    void publish(std::string_view name, const Parameters& parameters, std::vector<Dictionary> payloads,
                 PublishCompletion completion = {});

    /// Ends a topic with a last message, which is `payload` with "isTerminating" set to true. Publishing on the topic
    /// opens it again.
    void end(std::string_view name, const Parameters& parameters, Dictionary payload,
             PublishCompletion completion = {});

    [[nodiscard]] ServiceFigures figures() const;

    /// The diagnostic records that clients sent, as many as are kept, the oldest first.
    [[nodiscard]] std::vector<ServerLogRecord> serverLogRecords() const;

    /// The echo messages that clients sent, whole, as many as are kept, the oldest first.
    [[nodiscard]] std::vector<Message> echoes() const;

    /// What each topic has seen, in no order, but for topics beyond ServiceLimits::countedTopics.
    [[nodiscard]] std::vector<TopicFigures> topicFigures() const;

    /// The same without waiting: the completion is called on the service's queue and returns at once. Of the
    /// records, the `atMost` newest.
    void figures(std::function<void(ServiceFigures figures)> completion) const;
    void serverLogRecords(std::size_t atMost,
                          std::function<void(std::vector<ServerLogRecord> records)> completion) const;
    void topicFigures(std::function<void(std::vector<TopicFigures> topics)> completion) const;

    /// How the broker is. Returns at once.
    [[nodiscard]] BrokerStatus brokerStatus() const;

private:
    [[nodiscard]] PublishCompletion counted(TopicKey topic, PublishCompletion completion) const;

    const std::shared_ptr<ServiceState> state_;
};

} // namespace vexa::host
