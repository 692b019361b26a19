#pragma once

#include <nats/nats.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace vexa::bench {

/// Throws std::runtime_error when a call has failed.
inline void check(natsStatus status)
{
    if (status != NATS_OK) {
        throw std::runtime_error{std::string{"nats: "} + natsStatus_GetText(status)};
    }
}

/// Which threads of nats.c call the subscribers.
enum class NatsThreads {
    one, ///< each subscription has one of its own, which is the library's default
    pool ///< few threads for all subscriptions, which its documentation advises for many
};

/// A connection to a nats-server on loopback, and its options.
class NatsConnection {
public:
    /// Does not connect yet.
    explicit NatsConnection(std::uint16_t port, NatsThreads threads = NatsThreads::pool)
    {
        check(natsOptions_Create(&options_));
        check(natsOptions_SetURL(options_, ("nats://127.0.0.1:" + std::to_string(port)).c_str()));
        check(natsOptions_UseGlobalMessageDelivery(options_, threads == NatsThreads::pool));
    }

    ~NatsConnection()
    {
        natsConnection_Destroy(connection_);
        natsOptions_Destroy(options_);
    }

    NatsConnection(const NatsConnection&) = delete;
    NatsConnection& operator=(const NatsConnection&) = delete;

    /// For what else is to be chosen before it connects.
    [[nodiscard]] natsOptions* options() const noexcept { return options_; }

    /// Throws std::runtime_error when it cannot.
    void connect() { check(natsConnection_Connect(&connection_, options_)); }

    [[nodiscard]] natsConnection* get() const noexcept { return connection_; }

private:
    natsOptions* options_ = nullptr;
    natsConnection* connection_ = nullptr;
};

} // namespace vexa::bench
