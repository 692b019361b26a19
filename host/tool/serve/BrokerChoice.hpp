#pragma once

#include <host/broker/Broker.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace vexa::host {

/// Which broker a service is to have.
struct BrokerChoice {
    std::string name = "memory";                     ///< or addresses of NATS servers, with commas between them
    std::size_t messagesPerTopic = 10'000;           ///< the newest ones are kept
    std::optional<double> maximumAge = std::nullopt; ///< in seconds; none keeps messages however old they are

    // Of NATS alone.
    std::string stream = "VEXA"; ///< which services that name the same one share
    int replicas = 0;            ///< of every message; 0 for as many as there are addresses, but no more than 3
    double publishTimeLimit = 5; ///< in seconds, until a publication that is not stored is answered with an error
    std::string token;           ///< for servers that ask for one
    std::string credentialsFile; ///< the JWT and key of a user
    std::string authoritiesFile; ///< PEM; trusted instead of the system's
    std::string certificateFile; ///< PEM; shown to the servers, together with the key
    std::string keyFile;         ///< PEM
};

/// What is wrong with the name of a broker, in a sentence; empty when nothing is.
[[nodiscard]] std::string complaintAboutBroker(const std::string& name);

/// The broker of a choice. Throws std::invalid_argument, with a sentence that says what is wrong, when there is none.
[[nodiscard]] std::shared_ptr<Broker> makeBroker(const BrokerChoice& choice);

/// Gives back what brokers hold for the whole process. For the end of a program, when no broker is left.
void releaseBrokers();

} // namespace vexa::host
