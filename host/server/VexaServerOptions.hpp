#pragma once

#include <host/server/ListenAddress.hpp>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace vexa::host {

/// The files, all PEM, with which a server speaks TLS, of which it takes version 1.2 (RFC 5246) and up.
struct ServerTlsFiles {
    std::string certificateChain;  ///< the server's certificate, then those that lead to its authority; none for no TLS
    std::string privateKey;        ///< of that certificate
    std::string clientAuthorities; ///< whose certificates clients must show; none when they need none
};

/// How long a server waits, in seconds.
struct ServerTimeLimits {
    double request = 20;  ///< for a TLS handshake, a whole HTTP request, and the next one on the same connection
    double response = 30; ///< for a client to take an HTTP response or one WebSocket frame
    double idle = 60;     ///< a WebSocket peer that sends nothing, not even an answer to a ping, is dead by then
    double closing = 5;   ///< for what waits to be written and the closing handshake (RFC 6455, section 7.1.2)
    double stop = 10;     ///< for all connections together, when the server stops
};

/// What a server lets one connection have.
struct ServerLimits {
    /// Of an incoming message. A longer one is not read, so that nothing can be answered: its connection is closed with
    /// 1009. Leave room for the one request with which a client asks for all its topics after a cut.
    std::size_t messageBytes = std::size_t{16} * 1024 * 1024;
    std::size_t messageDepth = 64;                         ///< of lists and dictionaries within each other
    std::size_t queueBytes = std::size_t{8} * 1024 * 1024; ///< of outgoing messages; closed with 1013 beyond
    std::size_t frameBytes = std::size_t{256} * 1024;      ///< up to which messages that wait share a frame
    std::size_t unhandledBytes = std::size_t{1024} * 1024; ///< of messages that the service has yet to handle; more
                                                           ///< are not read until it has
    std::size_t headerBytes = std::size_t{8} * 1024;       ///< of an HTTP request; answered with 431 beyond
    std::size_t bodyBytes = std::size_t{64} * 1024;        ///< of an HTTP request; answered with 413 beyond
};

struct VexaServerOptions {
    ListenAddress listen;
    std::size_t threads = 0; ///< that carry the connections; 0 for one for each processor
    ServerTlsFiles tls;
    std::string tokenFile; ///< the bearer tokens, one of which clients must bring (see BearerTokens); none when empty
    ServerLimits limits;
    ServerTimeLimits timeLimits;

    /// Takes a sentence about something that whoever runs the server should know of, such as clients that are too slow;
    /// the same kind of thing is told at most every ten seconds. Any thread may call it. Nothing is told when empty.
    std::function<void(std::string_view sentence)> notice;
};

} // namespace vexa::host
