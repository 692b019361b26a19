#pragma once

#include <host/websocket/DrainLoop.hpp>
#include <host/websocket/KeepAlive.hpp>
#include <host/websocket/ReadAheadStream.hpp>
#include <host/websocket/WebSocketConnection.hpp>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/ip/basic_resolver.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/stream_traits.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/system/error_code.hpp>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace vexa::host {

/// A connection by Boost.Beast over `Layer`, a TCP socket or a TLS stream over one.
///
/// It keeps itself alive for as long as one of its operations is under way.
template <class Layer>
class BeastConnection final : public WebSocketConnection, public std::enable_shared_from_this<BeastConnection<Layer>> {
public:
    explicit BeastConnection(const WebSocketSurroundings& surroundings);

    void open(WebSocketConnectionEvents& events, const std::string& bearerToken) override;
    void write(std::string text) override;
    void close() override;
    void abort(const std::string& reason) override;

private:
    using Executor = boost::asio::io_context::executor_type;
    using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, Executor>;
    using Timer = boost::asio::basic_waitable_timer<std::chrono::steady_clock,
                                                    boost::asio::wait_traits<std::chrono::steady_clock>, Executor>;
    using Resolver = boost::asio::ip::basic_resolver<boost::asio::ip::tcp, Executor>;
    using Step = boost::asio::awaitable<bool, Executor>;
    using ErrorCode = boost::system::error_code;

    [[nodiscard]] static Layer makeLayer(const WebSocketSurroundings& surroundings);

    // The steps to an open connection. Each answers whether to go on; one that fails has ended the connection.
    [[nodiscard]] boost::asio::awaitable<void, Executor> establish(std::shared_ptr<BeastConnection> self);
    [[nodiscard]] Step reachHost();
    [[nodiscard]] Step secure();
    [[nodiscard]] Step shakeHands();

    /// Has an operation be awaited and put what went wrong into `error`.
    [[nodiscard]] static auto into(ErrorCode& error)
    {
        return boost::asio::redirect_error(boost::asio::use_awaitable_t<Executor>{}, error);
    }

    /// Ends the connection unless the step that has come out with `error` has succeeded. Returns whether it has.
    [[nodiscard]] bool hasSucceeded(std::string_view step, const ErrorCode& error);

    void readMore();
    void readSome(const ErrorCode& error, std::size_t count);
    void messageEnded();
    void readFailed(const ErrorCode& error);

    /// Why an open connection has ended, one of whose operations has come out with `error`.
    [[nodiscard]] std::string whyEnded(const ErrorCode& error) const;

    void watchPeer();
    void ping();

    /// Closes the socket when `seconds` pass before the time limit is set anew or lifted.
    void setTimeLimit(double seconds);
    void liftTimeLimit();

    [[nodiscard]] Socket& socket() noexcept { return boost::beast::get_lowest_layer(stream_); }

    const WebSocketSurroundings surroundings_;
    WebSocketConnectionEvents* events_ = nullptr; ///< null again once the end has been told
    std::string bearerToken_;
    Resolver resolver_;
    Timer timeLimit_;
    bool timeLimitHasPassed_ = false;
    Timer keepAliveTimer_;
    KeepAlive keepAlive_;
    bool isPinging_ = false;
    bool isClosedByPeer_ = false; ///< the peer has asked to close
    boost::beast::websocket::stream<ReadAheadStream<Layer>, false> stream_;
    boost::beast::flat_buffer incoming_;
    bool isSkipping_ = false; ///< what comes belongs to a message that is not kept
    std::string outgoing_;
};

} // namespace vexa::host
