#pragma once

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/compose.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/socket_base.hpp>
#include <boost/beast/core/buffer_traits.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/websocket/teardown.hpp>
#include <boost/system/error_code.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace vexa::host {

/// A connection as it was accepted.
using ServerSocket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, boost::asio::io_context::executor_type>;

/// A stream that reads as much at once as there is into memory that all streams of a thread share, and keeps only what
/// it was not asked for: a connection that is silent has no buffer, and a busy one asks the operating system once for
/// many messages. A stream over TLS has a buffer below it anyway and is read directly. For one read at a time; writes
/// go through.
template <class NextLayer>
class SharedReadStream {
public:
    using SharedMemory = std::array<unsigned char, std::size_t{64} * 1024>;

    // The names that Boost.Asio and Boost.Beast look for.
    // NOLINTBEGIN(readability-identifier-naming)
    using next_layer_type = NextLayer;
    using executor_type = typename NextLayer::executor_type;

    [[nodiscard]] executor_type get_executor() noexcept { return nextLayer_.get_executor(); }
    [[nodiscard]] next_layer_type& next_layer() noexcept { return nextLayer_; }
    [[nodiscard]] const next_layer_type& next_layer() const noexcept { return nextLayer_; }
    // NOLINTEND(readability-identifier-naming)

    SharedReadStream(NextLayer nextLayer, SharedMemory& memory) : nextLayer_{std::move(nextLayer)}, memory_{&memory} {}

    /// How many bytes have come from the stream below.
    [[nodiscard]] std::uint64_t received() const noexcept { return received_; }

    /// Has the next reads begin with these bytes, which were read before.
    void putBack(std::span<const unsigned char> bytes) { leftover_.assign(bytes.begin(), bytes.end()); }

    /// Whether the WebSocket protocol has ended and waits for the peer to close its side.
    [[nodiscard]] bool isTearingDown() const noexcept { return isTearingDown_; }
    void noteTeardown() noexcept { isTearingDown_ = true; }

    // NOLINTBEGIN(readability-identifier-naming)
    template <class MutableBuffers, class ReadToken>
    auto async_read_some(const MutableBuffers& buffers, ReadToken&& token)
    {
        return boost::asio::async_compose<ReadToken, void(boost::system::error_code, std::size_t)>(
            ReadOperation<MutableBuffers>{this, buffers}, token, nextLayer_);
    }

    template <class ConstBuffers, class WriteToken>
    auto async_write_some(const ConstBuffers& buffers, WriteToken&& token)
    {
        return nextLayer_.async_write_some(buffers, std::forward<WriteToken>(token));
    }
    // NOLINTEND(readability-identifier-naming)

private:
    template <class MutableBuffers>
    struct ReadOperation {
        enum class Step : std::uint8_t { begin, takeLeftover, readNow, done };

        SharedReadStream* stream;
        MutableBuffers buffers;
        Step step = Step::begin;

        template <class Self>
        void operator()(Self& self, const boost::system::error_code& error = {}, std::size_t count = 0)
        {
            switch (step) {
            case Step::begin:
                begin(self);
                return;
            case Step::takeLeftover:
                self.complete({}, stream->takeLeftover(buffers));
                return;
            case Step::readNow:
                readNow(self, error);
                return;
            case Step::done:
                stream->received_ += count;
                self.complete(error, count);
                return;
            }
        }

        template <class Self>
        void begin(Self& self)
        {
            if (!stream->leftover_.empty() || boost::beast::buffer_bytes(buffers) == 0) {
                step = Step::takeLeftover;
                boost::asio::post(std::move(self));
            } else if constexpr (std::is_same_v<NextLayer, ServerSocket>) {
                step = Step::readNow;
                stream->nextLayer_.async_wait(boost::asio::socket_base::wait_read, std::move(self));
            } else {
                step = Step::done;
                // The operation moves while the buffers are read.
                const MutableBuffers into = buffers;
                stream->nextLayer_.async_read_some(into, std::move(self));
            }
        }

        template <class Self>
        void readNow(Self& self, boost::system::error_code error)
        {
            if constexpr (std::is_same_v<NextLayer, ServerSocket>) {
                std::size_t count = 0;
                if (!error) {
                    count = stream->nextLayer_.read_some(boost::asio::buffer(*stream->memory_), error);
                    if (error == boost::asio::error::would_block) {
                        stream->nextLayer_.async_wait(boost::asio::socket_base::wait_read, std::move(self));
                        return;
                    }
                }
                self.complete(error, stream->share(count, buffers));
            }
        }
    };

    /// Copies `count` bytes of the shared memory into `buffers` and keeps what does not fit. Returns how many did.
    template <class MutableBuffers>
    std::size_t share(std::size_t count, const MutableBuffers& buffers)
    {
        received_ += count;
        const std::size_t taken = boost::asio::buffer_copy(buffers, boost::asio::buffer(*memory_, count));
        leftover_.assign(memory_->data() + taken, memory_->data() + count);
        return taken;
    }

    template <class MutableBuffers>
    std::size_t takeLeftover(const MutableBuffers& buffers)
    {
        const std::size_t taken = boost::asio::buffer_copy(
            buffers, boost::asio::buffer(leftover_.data() + leftoverBegin_, leftover_.size() - leftoverBegin_));
        leftoverBegin_ += taken;
        if (leftoverBegin_ == leftover_.size()) {
            leftover_ = {};
            leftoverBegin_ = 0;
        }
        return taken;
    }

    NextLayer nextLayer_;
    SharedMemory* memory_;
    std::vector<unsigned char> leftover_;
    std::size_t leftoverBegin_ = 0;
    std::uint64_t received_ = 0;
    bool isTearingDown_ = false;
};

/// The end of the stream below, in its own way. However that goes, the WebSocket has had its closing handshake by then,
/// and why it ended is not for a peer to change that leaves without a word, as many do over TLS.
template <class NextLayer>
struct TeardownOperation {
    boost::beast::role_type role;
    SharedReadStream<NextLayer>* stream;
    bool hasBegun = false;

    template <class Self>
    void operator()(Self& self, const boost::system::error_code& /*error*/ = {})
    {
        if (std::exchange(hasBegun, true)) {
            self.complete({});
            return;
        }
        stream->noteTeardown();
        // The operation moves while it is begun.
        NextLayer& nextLayer = stream->next_layer();
        const boost::beast::role_type ownRole = role;
        using boost::beast::websocket::async_teardown;
        async_teardown(ownRole, nextLayer, std::move(self));
    }
};

/// Closes the stream below, once the WebSocket protocol has ended. Boost.Beast finds it by this name.
template <class NextLayer, class TeardownHandler>
void async_teardown( // NOLINT(readability-identifier-naming)
    boost::beast::role_type role, SharedReadStream<NextLayer>& stream, TeardownHandler&& handler)
{
    boost::asio::async_compose<TeardownHandler, void(boost::system::error_code)>(
        TeardownOperation<NextLayer>{role, &stream}, handler, stream.next_layer());
}

} // namespace vexa::host
