#pragma once

#include <host/websocket/OutgoingQueue.hpp>
#include <host/websocket/ReconnectSchedule.hpp>
#include <host/websocket/TlsOptions.hpp>
#include <host/wire/MessageText.hpp>

#include <functional>
#include <string>
#include <string_view>

namespace vexa::host {

/// How long the steps of a connection may take, each in seconds and more than 0.
struct WebSocketTimeLimits {
    double connect = 10;   ///< to look up the host, and to reach each of its addresses
    double handshake = 10; ///< for TLS, and for the WebSocket handshake after it
    double write = 20;     ///< to hand one message to the network
    double idle = 30;      ///< without a sign of the peer, which is asked for one by a ping in time
    double close = 2;      ///< to send what waits and to close, when the client is stopped
};

/// What can be chosen about an OruWebSocketClient. The defaults suit a service across a network.
struct OruWebSocketClientOptions {
    /// ws://HOST[:PORT][/PATH][?QUERY], or wss:// for TLS (RFC 6455, section 3).
    std::string url;
    /// Sent with the handshake as "Authorization: Bearer TOKEN" (RFC 6750); none when empty. Over ws:// anyone on the
    /// way can read it.
    std::string bearerToken;
    TlsOptions tls;
    ReconnectOptions reconnect;
    WebSocketTimeLimits timeLimits;
    /// What an incoming message may hold. One with too many bytes is read past without being kept; at sixteen times as
    /// many the connection is closed with 1009.
    MessageTextLimits incoming;
    OutgoingLimits outgoing;
    /// Takes the lines of the transport's console log, on the thread that logs; it must not block. An empty one drops
    /// them.
    std::function<void(std::string_view line)> console;
};

} // namespace vexa::host
