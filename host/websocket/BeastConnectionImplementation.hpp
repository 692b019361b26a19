#pragma once

#include <host/websocket/BeastConnection.hpp>
#include <host/websocket/SteadyDuration.hpp>
#include <host/websocket/TlsContext.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/stream_traits.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/version.hpp>
#include <boost/beast/websocket/error.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include <exception>
#include <limits>
#include <type_traits>
#include <utility>

namespace vexa::host {

namespace websocket = boost::beast::websocket;

inline constexpr std::size_t readSize = std::size_t{64} * 1024;

// A message that is far too large is not worth reading to its end.
inline constexpr std::size_t skippedSizes = 16;

inline std::string whatOf(const std::exception_ptr& exception)
{
    try {
        std::rethrow_exception(exception);
    } catch (const std::exception& known) {
        return known.what();
    } catch (...) {
        return "an exception of an unknown kind";
    }
}

template <class Layer>
BeastConnection<Layer>::BeastConnection(const WebSocketSurroundings& surroundings)
    : surroundings_{surroundings},
      resolver_{surroundings.context.get_executor()},
      timeLimit_{surroundings.context.get_executor()},
      keepAliveTimer_{surroundings.context.get_executor()},
      stream_{makeLayer(surroundings)}
{}

template <class Layer>
Layer BeastConnection<Layer>::makeLayer(const WebSocketSurroundings& surroundings)
{
    if constexpr (std::is_same_v<Layer, Socket>) {
        return Layer{surroundings.context.get_executor()};
    } else {
        return Layer{surroundings.context.get_executor(), *surroundings.tlsContext};
    }
}

template <class Layer>
void BeastConnection<Layer>::open(WebSocketConnectionEvents& events, const std::string& bearerToken)
{
    events_ = &events;
    bearerToken_ = bearerToken;
    auto self = this->shared_from_this();
    boost::asio::co_spawn(surroundings_.context.get_executor(), establish(self),
                          [self](const std::exception_ptr& exception) {
                              if (exception != nullptr) {
                                  self->abort(joined({"the attempt failed: ", whatOf(exception)}));
                              }
                          });
}

template <class Layer>
boost::asio::awaitable<void, typename BeastConnection<Layer>::Executor>
BeastConnection<Layer>::establish(std::shared_ptr<BeastConnection> self)
{
    // The end may have been told before the first step, and nothing may be begun behind it.
    if (self->events_ == nullptr) {
        co_return;
    }
    const bool isReached = co_await self->reachHost();
    if (!isReached) {
        co_return;
    }
    const bool isSecured = co_await self->secure();
    if (!isSecured) {
        co_return;
    }
    const bool isOpen = co_await self->shakeHands();
    if (isOpen) {
        self->liftTimeLimit();
        self->watchPeer();
        self->events_->opened();
        self->readMore();
    }
}

template <class Layer>
typename BeastConnection<Layer>::Step BeastConnection<Layer>::reachHost()
{
    ErrorCode error;
    const WebSocketAddress& address = surroundings_.address;
    const double seconds = surroundings_.options.timeLimits.connect;
    setTimeLimit(seconds);
    const auto found = co_await resolver_.async_resolve(address.host, address.port, into(error));
    if (!hasSucceeded("the look-up of the host", error)) {
        co_return false;
    }
    for (const auto& entry : found) {
        ErrorCode ignored;
        socket().close(ignored);
        setTimeLimit(seconds);
        co_await socket().async_connect(entry.endpoint(), into(error));
        if (!error || events_ == nullptr) {
            break;
        }
    }
    if (!hasSucceeded("reaching the host", error)) {
        co_return false;
    }
    // Messages are small and wait for nothing.
    ErrorCode ignored;
    socket().set_option(boost::asio::ip::tcp::no_delay{true}, ignored);
    co_return true;
}

template <class Layer>
typename BeastConnection<Layer>::Step BeastConnection<Layer>::secure()
{
    if constexpr (!std::is_same_v<Layer, Socket>) {
        Layer& tls = stream_.next_layer().next_layer();
        if (!tieToHost(tls.native_handle(), surroundings_.address.host)) {
            abort("OpenSSL cannot use the name of the host");
            co_return false;
        }
        setTimeLimit(surroundings_.options.timeLimits.handshake);
        ErrorCode error;
        co_await tls.async_handshake(boost::asio::ssl::stream_base::client, into(error));
        const std::string trouble = error ? certificateTrouble(tls.native_handle()) : std::string{};
        if (!trouble.empty() && surroundings_.options.tls.verifiesPeer && !timeLimitHasPassed_) {
            abort(joined({"the service's certificate is not accepted: ", trouble}));
        }
        co_return hasSucceeded("the TLS handshake", error);
    } else {
        co_return true;
    }
}

template <class Layer>
typename BeastConnection<Layer>::Step BeastConnection<Layer>::shakeHands()
{
    const OruWebSocketClientOptions& options = surroundings_.options;
    // One message is one frame, whatever its size.
    stream_.auto_fragment(false);
    stream_.text(true);
    stream_.read_message_max(options.incoming.bytes <= std::numeric_limits<std::size_t>::max() / skippedSizes
                                 ? options.incoming.bytes * skippedSizes
                                 : std::numeric_limits<std::size_t>::max());
    stream_.set_option(websocket::stream_base::decorator([this](websocket::request_type& request) {
        request.set(boost::beast::http::field::user_agent, BOOST_BEAST_VERSION_STRING);
        if (!bearerToken_.empty()) {
            request.set(boost::beast::http::field::authorization, joined({"Bearer ", bearerToken_}));
        }
    }));
    // A service that asks to close has little time to do so, whatever is written meanwhile.
    stream_.control_callback([this](websocket::frame_type kind, boost::beast::string_view /*payload*/) {
        if (kind == websocket::frame_type::close && events_ != nullptr) {
            setTimeLimit(surroundings_.options.timeLimits.close);
            isClosedByPeer_ = true;
        }
    });
    setTimeLimit(options.timeLimits.handshake);
    ErrorCode error;
    websocket::response_type response;
    co_await stream_.async_handshake(response, surroundings_.address.authority, surroundings_.address.target,
                                     into(error));
    if (error == websocket::error::upgrade_declined && !timeLimitHasPassed_) {
        const boost::beast::string_view reason = response.reason();
        abort(joined({"the service answered ", decimal(response.result_int()), " ",
                      std::string_view{reason.data(), reason.size()}}));
    }
    co_return hasSucceeded("the WebSocket handshake", error);
}

template <class Layer>
bool BeastConnection<Layer>::hasSucceeded(std::string_view step, const ErrorCode& error)
{
    if (events_ == nullptr) {
        return false;
    }
    if (timeLimitHasPassed_) {
        abort(joined({step, " took too long"}));
    } else if (error) {
        abort(joined({step, " failed: ", error.message()}));
    }
    return events_ != nullptr;
}

template <class Layer>
void BeastConnection<Layer>::readMore()
{
    if (events_ == nullptr) {
        return;
    }
    stream_.async_read_some(
        incoming_.prepare(readSize),
        boost::asio::bind_executor(surroundings_.drainLoop.executor(),
                                   [self = this->shared_from_this()](const ErrorCode& error, std::size_t count) {
                                       self->readSome(error, count);
                                   }));
}

template <class Layer>
void BeastConnection<Layer>::readSome(const ErrorCode& error, std::size_t count)
{
    if (events_ == nullptr) {
        return;
    }
    if (error) {
        readFailed(error);
        return;
    }
    incoming_.commit(count);
    isSkipping_ = isSkipping_ || stream_.got_binary() || incoming_.size() > surroundings_.options.incoming.bytes;
    if (isSkipping_) {
        incoming_.clear();
    }
    if (stream_.is_message_done()) {
        messageEnded();
    }
    readMore();
}

template <class Layer>
void BeastConnection<Layer>::messageEnded()
{
    if (!isSkipping_) {
        events_->received({static_cast<const char*>(incoming_.data().data()), incoming_.size()});
    } else {
        events_->refused(stream_.got_binary() ? FrameFault::binary : FrameFault::tooLarge);
    }
    isSkipping_ = false;
    incoming_.clear();
    if (incoming_.capacity() > skippedSizes * readSize) {
        incoming_.shrink_to_fit();
    }
}

template <class Layer>
void BeastConnection<Layer>::readFailed(const ErrorCode& error)
{
    if (error == websocket::error::bad_frame_payload) {
        events_->refused(FrameFault::notUtf8);
    } else if (error == websocket::error::message_too_big) {
        events_->refused(FrameFault::tooLarge);
    } else if (error == websocket::condition::protocol_violation) {
        events_->refused(FrameFault::protocolViolation);
    }
    abort(whyEnded(error));
}

template <class Layer>
std::string BeastConnection<Layer>::whyEnded(const ErrorCode& error) const
{
    // What came first counts: a socket that was closed over it fails in other words.
    if (isClosedByPeer_ || error == websocket::error::closed) {
        const websocket::close_reason& reason = stream_.reason();
        return joined({"the service closed the connection with ", decimal(reason.code), " ",
                       std::string_view{reason.reason.data(), reason.reason.size()}});
    }
    return timeLimitHasPassed_ ? std::string{"a message could not be written in time"} : error.message();
}

template <class Layer>
void BeastConnection<Layer>::write(std::string text)
{
    outgoing_ = std::move(text);
    if (!isClosedByPeer_) {
        setTimeLimit(surroundings_.options.timeLimits.write);
    }
    stream_.async_write(boost::asio::buffer(outgoing_),
                        [self = this->shared_from_this()](const ErrorCode& error, std::size_t /*count*/) {
                            if (self->events_ == nullptr) {
                                return;
                            }
                            if (!error) {
                                if (!self->isClosedByPeer_) {
                                    self->liftTimeLimit();
                                }
                                self->events_->written();
                            } else if (error != boost::asio::error::operation_aborted) {
                                self->abort(self->whyEnded(error));
                            }
                            // What aborts a write ends the read that is under way too, which then tells why.
                        });
}

template <class Layer>
void BeastConnection<Layer>::close()
{
    stream_.async_close(websocket::close_code::normal, [self = this->shared_from_this()](const ErrorCode& error) {
        self->abort(error ? joined({"closing failed: ", error.message()}) : std::string{"closed"});
    });
}

template <class Layer>
void BeastConnection<Layer>::abort(const std::string& reason)
{
    if (events_ == nullptr) {
        return;
    }
    WebSocketConnectionEvents& events = *std::exchange(events_, nullptr);
    timeLimit_.cancel();
    keepAliveTimer_.cancel();
    resolver_.cancel();
    ErrorCode ignored;
    socket().close(ignored);
    events.closed(reason);
}

template <class Layer>
void BeastConnection<Layer>::watchPeer()
{
    // The peer is found dead after three periods at the latest.
    keepAliveTimer_.expires_after(steadyDuration(surroundings_.options.timeLimits.idle / 3));
    keepAliveTimer_.async_wait([self = this->shared_from_this()](const ErrorCode& error) {
        if (error || self->events_ == nullptr) {
            return;
        }
        switch (self->keepAlive_.periodEnded(self->stream_.next_layer().received())) {
        case KeepAlive::Action::nothing:
            break;
        case KeepAlive::Action::ping:
            self->ping();
            break;
        case KeepAlive::Action::giveUp:
            self->abort("the service has fallen silent");
            return;
        }
        self->watchPeer();
    });
}

template <class Layer>
void BeastConnection<Layer>::ping()
{
    // One that still waits behind a long message asks the same.
    if (std::exchange(isPinging_, true)) {
        return;
    }
    stream_.async_ping({}, [self = this->shared_from_this()](const ErrorCode& /*error*/) { self->isPinging_ = false; });
}

template <class Layer>
void BeastConnection<Layer>::setTimeLimit(double seconds)
{
    timeLimitHasPassed_ = false;
    timeLimit_.expires_after(steadyDuration(seconds));
    timeLimit_.async_wait([self = this->shared_from_this()](const ErrorCode& error) {
        // A time limit that was set anew meanwhile has not passed, although the wait for the old one may have ended.
        if (error || self->events_ == nullptr || self->timeLimit_.expiry() > std::chrono::steady_clock::now()) {
            return;
        }
        self->timeLimitHasPassed_ = true;
        self->resolver_.cancel();
        ErrorCode ignored;
        self->socket().close(ignored);
    });
}

template <class Layer>
void BeastConnection<Layer>::liftTimeLimit()
{
    // Later than any moment, so that a wait that has ended already does not count.
    timeLimit_.expires_at(std::chrono::steady_clock::time_point::max());
}

} // namespace vexa::host
