#pragma once

#include <host/websocket/DrainLoop.hpp>
#include <host/websocket/FrameFault.hpp>
#include <host/websocket/OruWebSocketClientOptions.hpp>
#include <host/websocket/WebSocketAddress.hpp>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ssl/context.hpp>

#include <memory>
#include <string>
#include <string_view>

namespace vexa::host {

/// What becomes of a connection: opened() at most once, then any number of the next three, then closed(), once, and
/// nothing after it. Every call comes on the thread that runs the io_context.
class WebSocketConnectionEvents {
public:
    virtual ~WebSocketConnectionEvents() = default;

    virtual void opened() = 0;

    /// A text message has come, whole. The text is gone when the call returns.
    virtual void received(std::string_view text) = 0;

    /// A message that has come is unusable.
    virtual void refused(FrameFault fault) = 0;

    /// The text given to write() is with the operating system.
    virtual void written() = 0;

    /// The connection is gone, or could not be made, for the reason told.
    virtual void closed(const std::string& reason) = 0;
};

/// What the connections of a client have in common. It outlives them.
struct WebSocketSurroundings {
    boost::asio::io_context& context;
    DrainLoop& drainLoop;
    boost::asio::ssl::context* tlsContext; ///< null for a service without TLS
    const WebSocketAddress& address;
    const OruWebSocketClientOptions& options;
};

/// One connection to a service (RFC 6455), from the look-up of its host to its end. It is never opened again. Every
/// operation is called on the thread that runs the io_context.
class WebSocketConnection {
public:
    virtual ~WebSocketConnection() = default;

    /// Begins to connect and returns. `events`, which hears of everything else, must outlive the connection.
    virtual void open(WebSocketConnectionEvents& events, const std::string& bearerToken) = 0;

    /// Begins to send one text message. Only on an open connection, and only one at a time.
    virtual void write(std::string text) = 0;

    /// Begins to close an open connection as RFC 6455, section 7, has it.
    virtual void close() = 0;

    /// Ends the connection at once, which closed() tells within this call.
    virtual void abort(const std::string& reason) = 0;
};

[[nodiscard]] std::shared_ptr<WebSocketConnection> makePlainConnection(const WebSocketSurroundings& surroundings);
[[nodiscard]] std::shared_ptr<WebSocketConnection> makeTlsConnection(const WebSocketSurroundings& surroundings);

} // namespace vexa::host
