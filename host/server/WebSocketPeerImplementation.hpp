#pragma once

#include <host/server/WebSocketPeer.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/asio/bind_executor.hpp>
#include <boost/beast/core/stream_traits.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/websocket/error.hpp>
#include <boost/json/error.hpp>

#include <algorithm>
#include <utility>

namespace vexa::host {

namespace websocket = boost::beast::websocket;

template <class Layer>
WebSocketPeer<Layer>::WebSocketPeer(ServerThread& thread, SharedReadStream<Layer> stream)
    : ServerPeer{thread}, stream_{std::move(stream)}
{}

template <class Layer>
WebSocketPeer<Layer>::~WebSocketPeer() = default;

template <class Layer>
std::shared_ptr<WebSocketPeer<Layer>> WebSocketPeer<Layer>::self()
{
    return std::static_pointer_cast<WebSocketPeer>(this->shared_from_this());
}

template <class Layer>
void WebSocketPeer<Layer>::open(const boost::beast::http::request<boost::beast::http::string_body>& request)
{
    keepAlive();
    deadline_ = in(options().timeLimits.response);
    // One message is one frame, whatever its size.
    stream_.auto_fragment(false);
    stream_.text(true);
    stream_.read_message_max(options().limits.messageBytes);
    stream_.set_option(websocket::stream_base::decorator(
        [](websocket::response_type& response) { response.set(boost::beast::http::field::server, "vexa"); }));
    stream_.async_accept(request, [self = self()](const ErrorCode& error) { self->accepted(error); });
}

template <class Layer>
void WebSocketPeer<Layer>::accepted(const ErrorCode& error)
{
    if (hasEnded_) {
        return;
    }
    if (error) {
        countHttpResponse(thread().counts(), 400);
        cut();
        return;
    }
    ThreadCounts& counts = thread().counts();
    countHttpResponse(counts, 101);
    counts.webSocketsOpened.add();
    counts.webSockets.add();
    isOpen_ = true;
    deadline_ = never;
    nextCheck_ = in(options().timeLimits.idle / 3);
    const ServerLimits& limits = options().limits;
    Owner& owner = *this;
    outbox_ = std::make_shared<ClientOutbox>(FrameQueueLimits{limits.queueBytes, limits.frameBytes},
                                             thread().readyOutboxes(), owner);
    session_.emplace(thread().shared()->service().connect(makeSink()));
    readMore();
    if (thread().isStopping()) {
        stop();
    }
}

template <class Layer>
SessionSink WebSocketPeer<Layer>::makeSink() const
{
    SessionSink sink;
    sink.send = [outbox = outbox_](const Dictionary& message) { outbox->send(message); };
    sink.closed = [outbox = outbox_](ServiceError reason) { outbox->closed(std::move(reason)); };
    sink.deliver = [outbox = outbox_](DataBatch batch) { outbox->deliver(std::move(batch)); };
    return sink;
}

// -------------------------------------------------------------------------------------------- what comes in

template <class Layer>
void WebSocketPeer<Layer>::readMore()
{
    if (hasEnded_ || isReading_) {
        return;
    }
    // A client that sends faster than the service works waits at its own end.
    if (!closingFor_ && unhandledBytes_ >= options().limits.unhandledBytes) {
        return;
    }
    makeRoom();
    isReading_ = true;
    char* const begin = longMessage_.empty() ? shortMessage_.data() : longMessage_.data();
    const std::size_t size = longMessage_.empty() ? shortMessage_.size() : longMessage_.size();
    stream_.async_read_some(boost::asio::buffer(begin + messageSize_, size - messageSize_),
                            boost::asio::bind_executor(thread().drainLoop().executor(),
                                                       [self = self()](const ErrorCode& error, std::size_t count) {
                                                           self->readSome(error, count);
                                                       }));
}

template <class Layer>
void WebSocketPeer<Layer>::makeRoom()
{
    constexpr std::size_t firstSize = std::size_t{4} * 1024;
    if (longMessage_.empty() && messageSize_ == shortMessage_.size()) {
        longMessage_.resize(firstSize);
        std::copy(shortMessage_.begin(), shortMessage_.end(), longMessage_.begin());
    } else if (!longMessage_.empty() && messageSize_ == longMessage_.size()) {
        longMessage_.resize(2 * longMessage_.size());
    }
}

template <class Layer>
void WebSocketPeer<Layer>::readSome(const ErrorCode& error, std::size_t count)
{
    isReading_ = false;
    if (hasEnded_) {
        return;
    }
    if (error) {
        readFailed(error);
        return;
    }
    messageSize_ += count;
    if (stream_.is_message_done()) {
        messageRead();
        messageSize_ = 0;
        longMessage_ = {};
    }
    readMore();
}

template <class Layer>
void WebSocketPeer<Layer>::messageRead()
{
    ThreadCounts& counts = thread().counts();
    if (stream_.got_binary()) {
        countFault(FrameFault::binary);
        return;
    }
    counts.framesReceived.add();
    counts.bytesReceived.add(messageSize_);
    if (closingFor_) {
        return;
    }
    const std::string_view text{longMessage_.empty() ? shortMessage_.data() : longMessage_.data(), messageSize_};
    ErrorCode error;
    Dictionary message = thread().reader().read(text, error);
    if (error == boost::json::error::too_deep) {
        countFault(FrameFault::tooDeep);
    } else if (error == boost::json::error::not_object) {
        countFault(FrameFault::notADictionary);
    } else if (error) {
        countFault(FrameFault::notJson);
    } else {
        session_->receive(std::make_shared<const Dictionary>(std::move(message)));
        unhandledBytes_ += messageSize_;
        watchService();
    }
}

template <class Layer>
void WebSocketPeer<Layer>::watchService()
{
    // Asked often enough that a client at full speed never has to wait for the answer alone.
    constexpr std::size_t parts = 4;
    if (watchedBytes_ == 0 && unhandledBytes_ >= options().limits.unhandledBytes / parts) {
        watchedBytes_ = unhandledBytes_;
        session_->whenHandled([outbox = outbox_] { outbox->handled(); });
    }
}

template <class Layer>
void WebSocketPeer<Layer>::countFault(FrameFault fault)
{
    thread().counts().badFrames[static_cast<std::size_t>(fault)].add();
    thread().shared()->notice(labelOf(fault), [this, fault](std::uint64_t times) {
        ErrorCode error;
        const auto from = boost::beast::get_lowest_layer(stream_).remote_endpoint(error);
        return joined({"a client at ", error ? "an unknown address" : from.address().to_string(), " sent a frame that ",
                       description(fault), " (", decimal(static_cast<std::int64_t>(times)),
                       times == 1 ? " time" : " times", " since this was last told)"});
    });
}

template <class Layer>
void WebSocketPeer<Layer>::readFailed(const ErrorCode& error)
{
    if (error == websocket::error::closed) {
        end(closingFor_.value_or(CloseReason::byClient));
    } else if (error == websocket::error::message_too_big) {
        countFault(FrameFault::tooLarge);
        end(CloseReason::tooLarge);
    } else if (error == websocket::error::bad_frame_payload) {
        countFault(FrameFault::notUtf8);
        end(CloseReason::protocol);
    } else if (error == websocket::condition::protocol_violation) {
        countFault(FrameFault::protocolViolation);
        end(CloseReason::protocol);
    } else if (!isClosing_) {
        end(closingFor_.value_or(CloseReason::lost));
    }
    // Else the closing handshake tells how it went.
}

// -------------------------------------------------------------------------------------------- what goes out

template <class Layer>
void WebSocketPeer<Layer>::outboxReady()
{
    const ClientOutbox::News news = outbox_->takeNews();
    if (news.isHandled) {
        unhandledBytes_ -= std::exchange(watchedBytes_, 0);
        if (!closingFor_) {
            watchService();
            readMore();
        }
    }
    if (news.closedFor) {
        beginClose(CloseReason::byService, websocket::close_code::policy_error, news.closedFor->errorMessage);
    }
    if (news.isOverfull) {
        beginClose(CloseReason::slow, websocket::close_code::try_again_later, "too much waits to be read");
    }
    writeNext();
}

template <class Layer>
void WebSocketPeer<Layer>::writeNext()
{
    if (isWriting_ || isClosing_ || hasEnded_) {
        return;
    }
    auto next = outbox_->take();
    if (!next) {
        frame_ = {};
        if (closingFor_) {
            close();
        }
        return;
    }
    frame_ = *std::move(next);
    isWriting_ = true;
    ++framesBegun_;
    stream_.async_write(frame_.buffers(),
                        [self = self()](const ErrorCode& error, std::size_t /*count*/) { self->written(error); });
}

template <class Layer>
void WebSocketPeer<Layer>::written(const ErrorCode& error)
{
    isWriting_ = false;
    if (hasEnded_) {
        return;
    }
    if (error) {
        // What breaks a write breaks the read under way too, which tells why; a read that waits for room cannot.
        if (!isReading_) {
            end(closingFor_.value_or(CloseReason::lost));
        }
        return;
    }
    ThreadCounts& counts = thread().counts();
    counts.framesSent.add();
    counts.bytesSent.add(frame_.size());
    counts.entriesSent.add(frame_.entries());
    writeNext();
}

template <class Layer>
void WebSocketPeer<Layer>::ping()
{
    // One that still waits behind a long message asks the same.
    if (isClosing_ || std::exchange(isPinging_, true)) {
        return;
    }
    thread().counts().pingsSent.add();
    stream_.async_ping({}, [self = self()](const ErrorCode& /*error*/) { self->isPinging_ = false; });
}

// -------------------------------------------------------------------------------------------- the end

template <class Layer>
void WebSocketPeer<Layer>::tick(double now)
{
    if (stream_.next_layer().isTearingDown() && deadline_ == never) {
        deadline_ = now + options().timeLimits.closing;
    }
    if (now >= deadline_) {
        cut();
        return;
    }
    if (!isOpen_ || closingFor_) {
        return;
    }
    if (!isWriting_ || framesBegun_ != watchedFrame_) {
        watchedFrame_ = framesBegun_;
        frameDeadline_ = now + options().timeLimits.response;
    } else if (now >= frameDeadline_) {
        end(CloseReason::slow);
        return;
    }
    if (now < nextCheck_) {
        return;
    }
    nextCheck_ = now + options().timeLimits.idle / 3;
    // A client that is not being read from cannot show that it lives.
    if (isReading_) {
        switch (keepAlive_.periodEnded(stream_.next_layer().received())) {
        case KeepAlive::Action::nothing:
            break;
        case KeepAlive::Action::ping:
            ping();
            break;
        case KeepAlive::Action::giveUp:
            end(CloseReason::silent);
            break;
        }
    }
}

template <class Layer>
void WebSocketPeer<Layer>::stop()
{
    // One that is about to open is closed as soon as it has.
    if (!isOpen_) {
        return;
    }
    beginClose(CloseReason::stop, websocket::close_code::going_away, "the server is stopping");
    writeNext();
}

template <class Layer>
void WebSocketPeer<Layer>::cut()
{
    end(closingFor_.value_or(CloseReason::lost));
}

template <class Layer>
void WebSocketPeer<Layer>::beginClose(CloseReason reason, websocket::close_code code, std::string_view sentence)
{
    if (closingFor_ || hasEnded_) {
        return;
    }
    closingFor_ = reason;
    // A control frame has room for 123 bytes of it (RFC 6455, section 5.5).
    constexpr std::size_t longest = 123;
    sentence = sentence.substr(0, longest);
    closeReason_ = websocket::close_reason{code, {sentence.data(), sentence.size()}};
    session_->close();
    outbox_->closeQueue();
    deadline_ = in(options().timeLimits.closing);
    if (reason == CloseReason::slow) {
        thread().shared()->notice("slow", [](std::uint64_t times) {
            return joined({"a client that read too slowly was closed (", decimal(static_cast<std::int64_t>(times)),
                           times == 1 ? " time" : " times", " since this was last told)"});
        });
    }
    // Without a read the peer's part of the closing handshake would not be noticed while the rest is written.
    readMore();
}

template <class Layer>
void WebSocketPeer<Layer>::close()
{
    isClosing_ = true;
    stream_.async_close(closeReason_, [self = self()](const ErrorCode& /*error*/) {
        self->end(self->closingFor_.value_or(CloseReason::lost));
    });
}

template <class Layer>
void WebSocketPeer<Layer>::end(CloseReason reason)
{
    if (std::exchange(hasEnded_, true)) {
        return;
    }
    if (isOpen_) {
        ThreadCounts& counts = thread().counts();
        counts.webSockets.subtract();
        counts.webSocketsClosed[static_cast<std::size_t>(reason)].add();
        session_.reset();
        outbox_->detach();
    }
    ErrorCode ignored;
    boost::beast::get_lowest_layer(stream_).close(ignored);
    letGo();
}

} // namespace vexa::host
