#pragma once

#include <host/websocket/TlsOptions.hpp>
#include <host/websocket/WebSocketAddress.hpp>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/system/error_code.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace vexa::host {

struct HttpClientOptions {
    WebSocketAddress address; ///< of the server, whose pages are on the same port as its WebSocket
    TlsOptions tls;
    std::string bearerToken;                               ///< RFC 6750; none when empty
    double timeLimit = 10;                                 ///< seconds for a request, with all that it takes
    std::uint32_t headBytes = std::uint32_t{64} * 1024;    ///< the most of a response's head
    std::size_t bodyBytes = std::size_t{64} * 1024 * 1024; ///< the most of a response's body
};

struct HttpReply {
    unsigned status = 0;
    std::string reason; ///< the phrase that the server has for the status
    std::string body;
};

/// What kept a request from being answered.
enum class HttpTrouble : std::uint8_t {
    unreachable, ///< no connection could be made, or it broke
    untrusted,   ///< the certificate of the server was not accepted
    late,        ///< the time limit has passed
    unreadable   ///< what came is no answer, or larger than the limits
};

/// A request that was not answered. The text is a clause such as "reaching the host failed: Connection refused".
class HttpFailure : public std::runtime_error {
public:
    HttpFailure(HttpTrouble trouble, const std::string& what) : std::runtime_error{what}, trouble_{trouble} {}

    [[nodiscard]] HttpTrouble trouble() const noexcept { return trouble_; }

private:
    HttpTrouble trouble_;
};

/// Fetches pages over HTTP/1.1 (RFC 9112), or the same by TLS, through one connection that it keeps between requests
/// and makes anew when it has to. For the thread of the context; one request at a time. It must live until the context
/// runs no request of it any more.
class HttpClient {
public:
    /// Throws std::invalid_argument when the TLS options cannot be used.
    HttpClient(boost::asio::io_context& context, HttpClientOptions options);
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    /// Asks for a page, whatever its status is; nothing is redirected. Throws HttpFailure when there is no answer. A
    /// connection that was kept and turns out to have been closed meanwhile is made anew once (RFC 9112, section
    /// 9.3.1).
    [[nodiscard]] boost::asio::awaitable<HttpReply> get(std::string target);

private:
    using ErrorCode = boost::system::error_code;
    using Endpoints = boost::asio::ip::tcp::resolver::results_type;
    using PlainStream = boost::beast::tcp_stream;
    using TlsStream = boost::asio::ssl::stream<boost::beast::tcp_stream>;

    [[nodiscard]] bool isOpen() const noexcept { return plain_ != nullptr || tls_ != nullptr; }
    void close() noexcept;

    boost::asio::awaitable<void> open();
    boost::asio::awaitable<Endpoints> lookUp();
    boost::asio::awaitable<HttpReply> exchange(const std::string& target, ErrorCode& error);
    template <class Stream>
    boost::asio::awaitable<HttpReply> exchangeOver(Stream& stream, const std::string& target, ErrorCode& error);

    [[noreturn]] void fail(const std::string& step, const ErrorCode& error) const;

    boost::asio::io_context& context_;
    const HttpClientOptions options_;
    std::optional<boost::asio::ssl::context> tlsContext_;
    std::unique_ptr<PlainStream> plain_;
    std::unique_ptr<TlsStream> tls_;
    boost::beast::flat_buffer buffer_;
    std::chrono::steady_clock::time_point deadline_;
};

} // namespace vexa::host
