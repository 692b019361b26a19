#pragma once

#include <host/server/ClientOutbox.hpp>
#include <host/server/ServerFigures.hpp>
#include <host/server/ServerThread.hpp>
#include <host/server/SharedReadStream.hpp>
#include <host/service/Session.hpp>
#include <host/websocket/KeepAlive.hpp>

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/system/error_code.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {

/// A connection over `Layer`, a TCP socket or a TLS stream over one, that carries a WebSocket (RFC 6455): one text
/// message is one message of the transport.
///
/// Once the connection is to end, what waits is still written, then the closing handshake is done, both within a time
/// limit; the service hears nothing more of the client from the beginning of that.
template <class Layer>
class WebSocketPeer final : public ServerPeer, private ClientOutbox::Owner {
public:
    WebSocketPeer(ServerThread& thread, SharedReadStream<Layer> stream);
    ~WebSocketPeer() override;

    /// Answers the request that asks for the WebSocket.
    void open(const boost::beast::http::request<boost::beast::http::string_body>& request);

    void tick(double now) override;
    void stop() override;
    void cut() override;

private:
    using ErrorCode = boost::system::error_code;

    [[nodiscard]] std::shared_ptr<WebSocketPeer> self();
    [[nodiscard]] const VexaServerOptions& options() const noexcept { return this->thread().shared()->options(); }

    void accepted(const ErrorCode& error);
    [[nodiscard]] SessionSink makeSink() const;

    // What comes in.
    void readMore();
    void readSome(const ErrorCode& error, std::size_t count);
    void makeRoom();
    void messageRead();
    void countFault(FrameFault fault);
    void readFailed(const ErrorCode& error);
    void watchService();

    // What goes out.
    void outboxReady() override;
    void writeNext();
    void written(const ErrorCode& error);
    void ping();

    // The end.
    void beginClose(CloseReason reason, boost::beast::websocket::close_code code, std::string_view sentence);
    void close();
    void end(CloseReason reason);

    boost::beast::websocket::stream<SharedReadStream<Layer>, false> stream_;
    std::shared_ptr<ClientOutbox> outbox_;
    std::optional<Session> session_;

    std::array<char, 256> shortMessage_; ///< enough for a silent connection to wait with
    std::vector<char> longMessage_;      ///< takes the place of the above for a message that does not fit
    std::size_t messageSize_ = 0;
    std::size_t unhandledBytes_ = 0; ///< that the service has got and may not have handled
    std::size_t watchedBytes_ = 0;   ///< those of them that it will have handled when it says so next; 0 for none
    bool isReading_ = false;

    OutgoingFrame frame_;
    bool isWriting_ = false;
    bool isPinging_ = false;
    std::uint64_t framesBegun_ = 0;
    std::uint64_t watchedFrame_ = 0; ///< the frame that was being written at some tick
    double frameDeadline_ = never;   ///< for that frame

    KeepAlive keepAlive_;
    double nextCheck_ = never;
    double deadline_ = never;
    std::optional<CloseReason> closingFor_;
    boost::beast::websocket::close_reason closeReason_;
    bool isOpen_ = false;
    bool isClosing_ = false; ///< the closing handshake has begun
    bool hasEnded_ = false;
};

} // namespace vexa::host
