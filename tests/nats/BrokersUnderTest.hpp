#pragma once

#include "NatsServer.hpp"
#include <host/broker/MemoryBroker.hpp>
#include <host/broker/nats/NatsBroker.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>

namespace vexa::host {

/// The server that the tests share which do not stop it. Started on first use.
[[nodiscard]] inline NatsServer& sharedServer()
{
    static SingleNatsServer server;
    return server.server();
}

/// Options for a stream that no other test uses.
[[nodiscard]] inline NatsBrokerOptions optionsOf(const NatsServer& server)
{
    static std::atomic<int> lastStream{0};
    NatsBrokerOptions options;
    options.servers = {server.address()};
    options.stream = "TEST" + std::to_string(++lastStream);
    options.replicas = 1;
    options.publishTimeLimit = 30;
    return options;
}

struct MemoryBrokers {
    static std::shared_ptr<Broker> make(Platform& platform, std::size_t kept)
    {
        MemoryBrokerLimits limits;
        limits.messagesPerTopic = kept;
        return MemoryBroker::make(limits, platform);
    }
};

struct NatsBrokers {
    static std::shared_ptr<Broker> make(Platform& platform, std::size_t kept)
    {
        NatsBrokerOptions options = optionsOf(sharedServer());
        options.retention.recordsPerTopic = static_cast<std::int64_t>(kept);
        return NatsBroker::make(options, platform);
    }
};

struct BrokerName {
    template <class T>
    static std::string GetName(int /*index*/) // NOLINT(readability-identifier-naming): GoogleTest calls it so
    {
        return std::is_same_v<T, MemoryBrokers> ? "Memory" : "Nats";
    }
};

using BrokersUnderTest = ::testing::Types<MemoryBrokers, NatsBrokers>;

} // namespace vexa::host
