#pragma once

#include <host/broker/Broker.hpp>
#include <host/service/PayloadTexts.hpp>
#include <host/service/RecentPublications.hpp>
#include <host/service/RecentRecords.hpp>
#include <host/service/ServiceFigures.hpp>
#include <host/service/ServiceMessages.hpp>
#include <host/service/TopicLedger.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <cstdint>
#include <memory>
#include <string>

namespace vexa::host {

/// What a service shares with the connections of its clients.
struct ServiceState {
    ServiceState(std::shared_ptr<Broker> topicBroker, const ServiceLimits& bounds, Platform& outside);

    Platform& platform;
    const SerialQueueHandle queue;
    const std::shared_ptr<Broker> broker;
    const ServiceLimits limits;

    // On the queue.
    ServiceFigures figures;
    RecentRecords<ServerLogRecord> serverLogRecords;
    RecentRecords<Message> echoes;
    RecentPublications publications;
    PayloadTexts payloadTexts;
    TopicLedger topics;

    /// Counts what the broker took.
    void countPublication(const TopicKey& topic, const PublishResult& result);

    /// An id that no other subscription of this service has, and hardly one of another service.
    [[nodiscard]] std::string nextSubscriptionId();

private:
    const std::string idPrefix_;
    std::int64_t lastSubscription_ = 0;
};

} // namespace vexa::host
