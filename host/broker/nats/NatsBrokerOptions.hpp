#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {

/// What the stream behind a NatsBroker keeps. What a limit does not cover is removed by JetStream, the oldest first.
///
/// A record is what is stored in one piece: the payloads of one publication, or of several that came while the one
/// before them was on its way.
struct NatsRetention {
    std::int64_t recordsPerTopic = 10'000;
    std::optional<double> maximumAge = std::nullopt;         ///< in seconds; longer than publishTimeLimit
    std::optional<std::int64_t> maximumBytes = std::nullopt; ///< of all topics together
};

/// Where a NatsBroker finds its servers, and what it asks of them.
struct NatsBrokerOptions {
    /// Addresses such as nats://127.0.0.1:4222 or tls://broker.example:4222, with user and password in front of the
    /// host where the servers want them. The broker learns the other members of a cluster from any of them.
    std::vector<std::string> servers{"nats://127.0.0.1:4222"};

    std::optional<std::string> token;           ///< for servers that ask for one
    std::optional<std::string> credentialsFile; ///< the JWT and key of a user, as `nsc` writes them
    std::optional<std::string> authorityFile;   ///< PEM; trusted instead of the system's authorities
    std::optional<std::string> certificateFile; ///< PEM; the broker's own certificate chain, together with keyFile
    std::optional<std::string> keyFile;         ///< PEM

    /// The name of the stream, of letters, digits, '-' and '_'. Brokers share their topics when they name the same
    /// stream. It is made when it is missing; one that is there is given the replicas and the retention below once,
    /// when the broker first reaches it.
    std::string stream = "VEXA";

    /// On how many servers every message is stored before it counts as accepted by the stream's majority: with 3 it
    /// survives the loss of one of them. A single server can only do 1.
    int replicas = 3;

    NatsRetention retention;

    double publishTimeLimit = 5;  ///< in seconds; then a publication that is not confirmed completes with an error
    double requestTimeLimit = 2;  ///< in seconds, of one request to JetStream; it is repeated after that
    double connectTimeLimit = 2;  ///< in seconds, of one attempt to reach one server
    double reconnectDelay = 0.25; ///< in seconds, between two rounds of attempts; up to as much is added by chance
    double pingInterval = 2;      ///< in seconds; a server that leaves two pings unanswered is given up
    double heartbeatInterval = 1; ///< in seconds, of a silent feed; three that are missing have it opened anew
    double topicIdleTime = 30;    ///< in seconds; a topic that nobody used for so long is forgotten here

    /// How many payloads may wait to be stored; publications beyond that are refused at once.
    std::size_t waitingPayloads = 100'000;

    /// The newest payloads of each topic in use that are kept here too, so that subscribers who come back after a short
    /// cut are served without asking the servers.
    std::size_t cachedPayloadsPerTopic = 1'000;
};

} // namespace vexa::host
