#pragma once

#include <boost/asio/associated_allocator.hpp>
#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/core/buffer_traits.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/websocket/teardown.hpp>
#include <boost/system/error_code.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

namespace vexa::host {

/// A stream that reads as much at once as there is, and answers small reads out of that: it asks the stream below once
/// for what would otherwise be many questions to the operating system. For one read at a time; writes go through.
template <class NextLayer>
class ReadAheadStream {
public:
    // The names that Boost.Asio and Boost.Beast look for.
    // NOLINTBEGIN(readability-identifier-naming)
    using next_layer_type = NextLayer;
    using executor_type = typename NextLayer::executor_type;

    [[nodiscard]] executor_type get_executor() noexcept { return nextLayer_.get_executor(); }
    [[nodiscard]] next_layer_type& next_layer() noexcept { return nextLayer_; }
    [[nodiscard]] const next_layer_type& next_layer() const noexcept { return nextLayer_; }
    // NOLINTEND(readability-identifier-naming)

    template <class... Arguments>
    explicit ReadAheadStream(Arguments&&... arguments) : nextLayer_(std::forward<Arguments>(arguments)...)
    {}

    /// How many bytes have been read from the stream below.
    [[nodiscard]] std::uint64_t received() const noexcept { return received_; }

    // NOLINTBEGIN(readability-identifier-naming)
    template <class MutableBuffers, class ReadToken>
    auto async_read_some(const MutableBuffers& buffers, ReadToken&& token)
    {
        return boost::asio::async_initiate<ReadToken, void(boost::system::error_code, std::size_t)>(
            [this](auto handler, const MutableBuffers& into) { this->read(into, std::move(handler)); }, token, buffers);
    }

    template <class ConstBuffers, class WriteToken>
    auto async_write_some(const ConstBuffers& buffers, WriteToken&& token)
    {
        return nextLayer_.async_write_some(buffers, std::forward<WriteToken>(token));
    }
    // NOLINTEND(readability-identifier-naming)

private:
    static constexpr std::size_t capacity = std::size_t{64} * 1024;

    /// What waits for the stream below, on the terms of the handler that it completes.
    template <class MutableBuffers, class Handler>
    class FillOperation {
    public:
        FillOperation(ReadAheadStream& stream, const MutableBuffers& buffers, Handler&& handler)
            : stream_{&stream}, buffers_{buffers}, handler_(std::move(handler))
        {}

        void operator()(const boost::system::error_code& error, std::size_t count)
        {
            stream_->received_ += count;
            stream_->begin_ = 0;
            stream_->end_ = count;
            const std::size_t taken = stream_->take(buffers_);
            std::move(handler_)(error, taken);
        }

        // The names that Boost.Asio looks for.
        // NOLINTBEGIN(readability-identifier-naming)
        using executor_type = boost::asio::associated_executor_t<Handler, typename ReadAheadStream::executor_type>;
        using allocator_type = boost::asio::associated_allocator_t<Handler>;
        using cancellation_slot_type = boost::asio::associated_cancellation_slot_t<Handler>;

        [[nodiscard]] executor_type get_executor() const noexcept
        {
            return boost::asio::get_associated_executor(handler_, stream_->get_executor());
        }
        [[nodiscard]] allocator_type get_allocator() const noexcept
        {
            return boost::asio::get_associated_allocator(handler_);
        }
        [[nodiscard]] cancellation_slot_type get_cancellation_slot() const noexcept
        {
            return boost::asio::get_associated_cancellation_slot(handler_);
        }
        // NOLINTEND(readability-identifier-naming)

    private:
        ReadAheadStream* stream_;
        MutableBuffers buffers_;
        Handler handler_;
    };

    template <class MutableBuffers, class Handler>
    void read(const MutableBuffers& buffers, Handler handler)
    {
        if (begin_ == end_ && boost::beast::buffer_bytes(buffers) > 0) {
            nextLayer_.async_read_some(boost::asio::buffer(*ahead_),
                                       FillOperation<MutableBuffers, Handler>{*this, buffers, std::move(handler)});
            return;
        }
        const std::size_t taken = take(buffers);
        const auto executor = boost::asio::get_associated_executor(handler, get_executor());
        boost::asio::post(boost::asio::bind_executor(
            executor, boost::beast::bind_front_handler(std::move(handler), boost::system::error_code{}, taken)));
    }

    template <class MutableBuffers>
    std::size_t take(const MutableBuffers& buffers) noexcept
    {
        const std::size_t taken =
            boost::asio::buffer_copy(buffers, boost::asio::buffer(ahead_->data() + begin_, end_ - begin_));
        begin_ += taken;
        return taken;
    }

    using Bytes = std::array<unsigned char, capacity>;

    NextLayer nextLayer_;
    std::unique_ptr<Bytes> ahead_ = std::make_unique_for_overwrite<Bytes>();
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::uint64_t received_ = 0;
};

/// Closes the stream below in its own way, once the WebSocket protocol has ended. Boost.Beast finds it by this name.
template <class NextLayer, class TeardownHandler>
void async_teardown( // NOLINT(readability-identifier-naming)
    boost::beast::role_type role, ReadAheadStream<NextLayer>& stream, TeardownHandler&& handler)
{
    using boost::beast::websocket::async_teardown;
    async_teardown(role, stream.next_layer(), std::forward<TeardownHandler>(handler));
}

} // namespace vexa::host
