#pragma once

#include <host/server/ServerFigures.hpp>
#include <host/server/VexaServerOptions.hpp>
#include <host/service/VexaService.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <memory>
#include <string>

namespace vexa::host {

/// Puts a service on the network: a WebSocket (RFC 6455) at "/", on which each text message is one message of the
/// transport, and, on the same port, over HTTP/1.1 and for GET and HEAD:
///
///     /healthz   200 when the broker can do its work, else 503; needs no token
///     /metrics   what the server and the service have done, as Prometheus reads it
///     /records   the clients' diagnostic records, the newest last; ?limit=N for the N newest
///     /topics    what each topic has seen, the busiest first; ?limit=N for the first N
///
/// Where tokens are asked for, everything else needs one, in the Authorization field (RFC 6750).
///
/// A client that is too slow is sent what has been queued for it and closed with 1013; it has missed nothing when it
/// subscribes again from the time of the last message that it got. Messages of topics that wait for one client leave in
/// one frame. A message that is too large closes the connection with 1009, text that is not UTF-8 with 1007, a breach
/// of the protocol with 1002. A frame that is binary, no JSON text, no JSON object or nested too deeply is counted and
/// otherwise ignored. The service itself closes a session with 1008, and a server that stops with 1001. There is no
/// compression.
///
/// Connections are carried by a few threads of the server's own, each by one of them.
class VexaServer {
public:
    /// Opens the port and serves. Throws std::invalid_argument when a file of the options cannot be used, and
    /// std::runtime_error when the address cannot be listened on, each with a sentence that says what is wrong.
    explicit VexaServer(std::shared_ptr<VexaService> service, VexaServerOptions options = {},
                        Platform& platform = Platform::system());

    /// Stops.
    ~VexaServer();

    VexaServer(const VexaServer&) = delete;
    VexaServer& operator=(const VexaServer&) = delete;

    /// Where it listens, with the port that it got. Any thread.
    [[nodiscard]] const ListenAddress& address() const noexcept;

    /// The URL for clients, such as ws://127.0.0.1:4780. Any thread.
    [[nodiscard]] std::string url() const;

    /// Any thread; returns at once.
    [[nodiscard]] ServerFigures figures() const;

    /// Reads the token file again, if there is one; open connections stay. Throws std::invalid_argument when it cannot
    /// be used, and goes on with the tokens it has. Any thread.
    void reloadTokens();

    /// Stops accepting, closes every WebSocket once what waits for it is written, lets HTTP requests that are being
    /// answered end, and then ends the threads, after the time limit at the latest. Returns when all that is done,
    /// whichever thread began it; from a thread of the server's own, which runs the notices, it returns at once. A
    /// second call does nothing more.
    void stop();

private:
    class Core;
    const std::unique_ptr<Core> core_;
};

} // namespace vexa::host
