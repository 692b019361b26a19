#pragma once

#include <host/broker/nats/JetStream.hpp>
#include <host/broker/nats/NatsBrokerOptions.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace vexa::host {

/// The counts behind NatsBrokerFigures; any thread may read them.
struct NatsCounters {
    std::atomic<std::uint64_t> connects{0};
    std::atomic<std::uint64_t> recordsStored{0};
    std::atomic<std::uint64_t> payloadsStored{0};
    std::atomic<std::uint64_t> repeatedRecords{0};
    std::atomic<std::uint64_t> duplicateAnswers{0};
    std::atomic<std::uint64_t> recordsReceived{0};
    std::atomic<std::uint64_t> feedsOpened{0};
    std::atomic<std::uint64_t> historyReads{0};
    std::atomic<std::uint64_t> topics{0};
    std::atomic<std::uint64_t> gaps{0};
};

/// What the topics of a broker share. On the broker's queue.
struct TopicServices {
    const NatsBrokerOptions& options;
    Platform& platform;
    JetStream& jetStream;
    NatsCounters& counters;
    const std::string recordIdPrefix; ///< which no other broker has
    std::uint64_t lastRecordId = 0;
    std::size_t waitingPayloads = 0; ///< of all topics, neither stored nor given up
    std::size_t largestRecord = 0;   ///< in bytes
    bool isReady = false;            ///< whether there is a connection, and the stream
};

} // namespace vexa::host
