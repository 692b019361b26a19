#include "SubscriberConnection.hpp"

#include <boost/asio/buffer.hpp>

#include <chrono>
#include <string_view>

namespace vexa::host {

SubscriberConnection::SubscriberConnection(const LoadSurroundings& surroundings)
    : surroundings_{surroundings}, schedule_{surroundings.reconnect}, retryTimer_{surroundings.context}
{}

void SubscriberConnection::connect()
{
    surroundings_.happened(LoadEvent::attempted);
    incoming_.clear();
    stream_.emplace(surroundings_.context);
    stream_->next_layer().async_connect(surroundings_.service, [this](const ErrorCode& error) {
        if (error) {
            closed(LoadEvent::failed);
        } else {
            shakeHands();
        }
    });
}

void SubscriberConnection::subscribe()
{
    subscribes_ = true;
    sendRequest();
}

void SubscriberConnection::shakeHands()
{
    ErrorCode ignored;
    stream_->next_layer().set_option(boost::asio::ip::tcp::no_delay{true}, ignored);
    stream_->async_handshake("127.0.0.1", "/", [this](const ErrorCode& error) {
        if (error) {
            closed(LoadEvent::failed);
        } else {
            opened();
        }
    });
}

void SubscriberConnection::opened()
{
    schedule_.opened(surroundings_.platform.monotonicNow());
    surroundings_.happened(LoadEvent::opened);
    if (subscribes_) {
        sendRequest();
    }
    read();
}

void SubscriberConnection::sendRequest()
{
    if (stream_ && stream_->is_open()) {
        // A connection that breaks under it is noticed by the read.
        stream_->async_write(boost::asio::buffer(surroundings_.subscribeRequest),
                             [](const ErrorCode& /*error*/, std::size_t /*count*/) {});
    }
}

void SubscriberConnection::read()
{
    stream_->async_read(incoming_, [this](const ErrorCode& error, std::size_t /*count*/) {
        if (error) {
            closed(LoadEvent::lost);
        } else {
            take();
            read();
        }
    });
}

void SubscriberConnection::take()
{
    const auto data = incoming_.cdata();
    const std::string_view text{static_cast<const char*>(data.data()), data.size()};
    if (text.find(R"("type":"data")") != std::string_view::npos) {
        surroundings_.happened(LoadEvent::received);
    } else {
        const bool isConfirmed = text.find(R"("success":true)") != std::string_view::npos;
        surroundings_.happened(isConfirmed ? LoadEvent::subscribed : LoadEvent::refused);
    }
    incoming_.clear();
}

void SubscriberConnection::closed(LoadEvent how)
{
    surroundings_.happened(how);
    ErrorCode ignored;
    stream_->next_layer().close(ignored);
    const double delay = schedule_.nextDelay(surroundings_.platform.monotonicNow(), surroundings_.platform);
    retryTimer_.expires_after(
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>{delay}));
    retryTimer_.async_wait([this](const ErrorCode& error) {
        if (!error) {
            connect();
        }
    });
}

} // namespace vexa::host
