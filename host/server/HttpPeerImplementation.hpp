#pragma once

#include <host/server/HttpPeer.hpp>
#include <host/server/WebSocketPeer.hpp>

#include <boost/asio/ssl/stream_base.hpp>
#include <boost/beast/core/stream_traits.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/verb.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include <string>
#include <type_traits>
#include <utility>

namespace vexa::host {

template <class Layer>
HttpPeer<Layer>::HttpPeer(ServerThread& thread, Layer layer)
    : ServerPeer{thread}, stream_{std::move(layer), thread.readMemory()}
{}

template <class Layer>
std::shared_ptr<HttpPeer<Layer>> HttpPeer<Layer>::self()
{
    return std::static_pointer_cast<HttpPeer>(this->shared_from_this());
}

template <class Layer>
ServerSocket& HttpPeer<Layer>::socket() noexcept
{
    return boost::beast::get_lowest_layer(stream_);
}

template <class Layer>
void HttpPeer<Layer>::start()
{
    keepAlive();
    deadline_ = in(thread().shared()->options().timeLimits.request);
    if constexpr (std::is_same_v<Layer, ServerSocket>) {
        readRequest();
    } else {
        isIdle_ = true;
        stream_.next_layer().async_handshake(boost::asio::ssl::stream_base::server,
                                             [self = self()](const ErrorCode& error) {
                                                 if (error) {
                                                     self->cut();
                                                 } else {
                                                     self->readRequest();
                                                 }
                                             });
    }
}

template <class Layer>
void HttpPeer<Layer>::readRequest()
{
    if (hasEnded_) {
        return;
    }
    const ServerLimits& limits = thread().shared()->options().limits;
    deadline_ = in(thread().shared()->options().timeLimits.request);
    isIdle_ = true;
    response_.reset();
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(limits.headerBytes));
    parser_->body_limit(limits.bodyBytes);
    boost::beast::http::async_read_header(
        stream_, buffer_, *parser_,
        [self = self()](const ErrorCode& error, std::size_t /*count*/) { self->headRead(error); });
}

template <class Layer>
void HttpPeer<Layer>::headRead(const ErrorCode& error)
{
    if (hasEnded_) {
        return;
    }
    isIdle_ = false;
    if (error) {
        auto unreadable = answerToUnreadable(error);
        if (unreadable) {
            answer(*std::move(unreadable));
        } else {
            finish();
        }
        return;
    }
    auto refused = refuse(*thread().shared(), parser_->get());
    const bool isExpecting = parser_->get().count(boost::beast::http::field::expect) > 0;
    if (!parser_->is_done() && isExpecting) {
        // No page depends on a body, so the client is told the end of it instead of being asked to send one.
        if (!refused) {
            refused = refusal(413, {"BodyTooLarge", "The request needs no body"});
        }
        refused->closes = true;
    }
    if (refused && (refused->closes || parser_->is_done())) {
        answer(*std::move(refused));
    } else if (!parser_->is_done()) {
        boost::beast::http::async_read(
            stream_, buffer_, *parser_,
            [self = self()](const ErrorCode& failed, std::size_t /*count*/) { self->bodyRead(failed); });
    } else {
        serve();
    }
}

template <class Layer>
void HttpPeer<Layer>::bodyRead(const ErrorCode& error)
{
    if (hasEnded_) {
        return;
    }
    if (error) {
        auto unreadable = answerToUnreadable(error);
        if (unreadable) {
            answer(*std::move(unreadable));
        } else {
            finish();
        }
        return;
    }
    if (auto refused = refuse(*thread().shared(), parser_->get())) {
        answer(*std::move(refused));
    } else {
        serve();
    }
}

template <class Layer>
void HttpPeer<Layer>::serve()
{
    const auto& request = parser_->get();
    if (boost::beast::websocket::is_upgrade(request) && request.target().substr(0, request.target().find('?')) == "/") {
        openWebSocket();
        return;
    }
    // The service may hold the completion for longer than this connection lasts.
    servePage(thread().shared(), thread().door(), {request.target().data(), request.target().size()},
              [peer = std::weak_ptr{self()}](HttpAnswer made) {
                  if (const auto waiting = peer.lock(); waiting != nullptr && !waiting->hasEnded_) {
                      waiting->answer(std::move(made));
                  }
              });
}

template <class Layer>
void HttpPeer<Layer>::openWebSocket()
{
    const auto request = parser_->release();
    // What came behind the request, without waiting for the answer, belongs to the WebSocket.
    const auto behind = buffer_.data();
    stream_.putBack({static_cast<const unsigned char*>(behind.data()), behind.size()});
    auto peer = std::make_shared<WebSocketPeer<Layer>>(thread(), std::move(stream_));
    hasEnded_ = true;
    peer->open(request);
    letGo();
}

template <class Layer>
void HttpPeer<Layer>::answer(HttpAnswer answer)
{
    const auto& request = parser_->get();
    if (answer.status == 401) {
        thread().counts().unauthorized.add();
    }
    countHttpResponse(thread().counts(), answer.status);
    const bool isReadable = parser_->is_header_done();
    response_.emplace(makeResponse(
        std::move(answer), isReadable ? request.version() : 11, isReadable && request.keep_alive() && !isStopping_,
        isReadable && request.method() == boost::beast::http::verb::head, thread().shared()->platform().now()));
    deadline_ = in(thread().shared()->options().timeLimits.response);
    boost::beast::http::async_write(
        stream_, *response_, [self = self()](const ErrorCode& error, std::size_t /*count*/) { self->answered(error); });
}

template <class Layer>
void HttpPeer<Layer>::answered(const ErrorCode& error)
{
    if (hasEnded_) {
        return;
    }
    if (error) {
        cut();
    } else if (!response_->keep_alive() || isStopping_) {
        finish();
    } else {
        readRequest();
    }
}

template <class Layer>
void HttpPeer<Layer>::finish()
{
    // Closing with unread bytes would reset the connection and could destroy the response on its way (RFC 9112,
    // section 9.6), so what still comes is read and dropped for a while.
    deadline_ = in(thread().shared()->options().timeLimits.closing);
    isIdle_ = true;
    if constexpr (std::is_same_v<Layer, ServerSocket>) {
        ErrorCode ignored;
        socket().shutdown(boost::asio::socket_base::shutdown_send, ignored);
        discard();
    } else {
        stream_.next_layer().async_shutdown([self = self()](const ErrorCode& /*error*/) { self->cut(); });
    }
}

template <class Layer>
void HttpPeer<Layer>::discard()
{
    constexpr std::size_t atOnce = 1024;
    buffer_.clear();
    stream_.async_read_some(buffer_.prepare(atOnce), [self = self()](const ErrorCode& error, std::size_t /*count*/) {
        if (error || self->hasEnded_) {
            self->cut();
        } else {
            self->discard();
        }
    });
}

template <class Layer>
void HttpPeer<Layer>::tick(double now)
{
    if (now >= deadline_) {
        cut();
    }
}

template <class Layer>
void HttpPeer<Layer>::stop()
{
    isStopping_ = true;
    // A request that is being answered still gets its answer.
    if (isIdle_) {
        cut();
    }
}

template <class Layer>
void HttpPeer<Layer>::cut()
{
    if (std::exchange(hasEnded_, true)) {
        return;
    }
    ErrorCode ignored;
    socket().close(ignored);
    letGo();
}

} // namespace vexa::host
