#pragma once

#include <host/server/HttpAnswers.hpp>
#include <host/server/ServerThread.hpp>
#include <host/server/SharedReadStream.hpp>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/system/error_code.hpp>

#include <cstdint>
#include <memory>
#include <optional>

namespace vexa::host {

/// A connection over `Layer`, a TCP socket or a TLS stream over one, as long as it speaks HTTP/1.1 (RFC 9112): one
/// request after the other, also when they come without waiting for responses. When a request opens a WebSocket, a
/// WebSocketPeer takes the connection over.
template <class Layer>
class HttpPeer final : public ServerPeer {
public:
    HttpPeer(ServerThread& thread, Layer layer);

    void start();

    void tick(double now) override;
    void stop() override;
    void cut() override;

private:
    using ErrorCode = boost::system::error_code;
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;

    [[nodiscard]] std::shared_ptr<HttpPeer> self();
    [[nodiscard]] ServerSocket& socket() noexcept;

    void readRequest();
    void headRead(const ErrorCode& error);
    void bodyRead(const ErrorCode& error);
    void serve();
    void openWebSocket();
    void answer(HttpAnswer answer);
    void answered(const ErrorCode& error);
    void finish();
    void discard();

    SharedReadStream<Layer> stream_;
    boost::beast::flat_buffer buffer_;
    std::optional<Parser> parser_;
    std::optional<HttpResponse> response_;
    double deadline_ = never;
    bool isIdle_ = false; ///< nothing of a request has been asked for that is owed an answer
    bool hasEnded_ = false;
    bool isStopping_ = false;
};

} // namespace vexa::host
