#pragma once

#include <host/websocket/ReconnectSchedule.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace vexa::host {

/// What happens to a connection of the load.
enum class LoadEvent : std::uint8_t {
    attempted,  ///< it began to connect
    failed,     ///< the attempt came to nothing
    opened,     ///< the WebSocket is open
    subscribed, ///< the service has confirmed the topic
    refused,    ///< the service answered the subscribe request otherwise
    received,   ///< a message of the topic came
    lost,       ///< the open connection broke
};

inline constexpr std::size_t loadEventCount = 7;

/// What the connections of a load have in common.
struct LoadSurroundings {
    boost::asio::io_context& context;
    Platform& platform;
    boost::asio::ip::tcp::endpoint service;
    std::string subscribeRequest;
    ReconnectOptions reconnect;
    std::function<void(LoadEvent event)> happened;
};

/// One subscriber of a load, over a bare WebSocket, so that thousands fit into one process: it speaks the service's
/// protocol and comes back as OruWebSocketClient does. On the thread of the context, and must outlive its work there.
class SubscriberConnection {
public:
    explicit SubscriberConnection(const LoadSurroundings& surroundings);
    SubscriberConnection(const SubscriberConnection&) = delete;
    SubscriberConnection& operator=(const SubscriberConnection&) = delete;

    /// Begins to connect; from then on a connection that fails or breaks is tried again for ever.
    void connect();

    /// Subscribes, now and on each connection to come.
    void subscribe();

private:
    using Socket = boost::asio::ip::tcp::socket;
    using Stream = boost::beast::websocket::stream<Socket>;
    using ErrorCode = boost::system::error_code;

    void shakeHands();
    void opened();
    void sendRequest();
    void read();
    void take();
    void closed(LoadEvent how);

    const LoadSurroundings& surroundings_;
    std::optional<Stream> stream_;
    boost::beast::flat_buffer incoming_;
    ReconnectSchedule schedule_;
    boost::asio::steady_timer retryTimer_;
    bool subscribes_ = false;
};

} // namespace vexa::host
