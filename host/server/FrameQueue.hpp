#pragma once

#include <host/service/DataBatch.hpp>

#include <boost/asio/buffer.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace vexa::host {

/// The text of one frame, in pieces: short payloads are copied into it, long ones are shared.
class OutgoingFrame {
public:
    OutgoingFrame() = default;
    explicit OutgoingFrame(std::string text) : text_{std::move(text)} {}

    /// Begins a data message that was sent at a time, in seconds since 1970; then come its entries, then end().
    void begin(double sentAt);
    void add(const std::string& subscriptionId, const DataEntry& entry);
    void end();

    /// The pieces, in order. They live as long as the frame stays where it is and unchanged.
    [[nodiscard]] std::vector<boost::asio::const_buffer> buffers() const;

    [[nodiscard]] std::size_t size() const noexcept { return text_.size() + sharedBytes_; }

    /// How many entries of data messages it holds.
    [[nodiscard]] std::size_t entries() const noexcept { return entries_; }

private:
    /// A payload that stands behind so much of the text.
    struct Shared {
        std::size_t behind;
        std::shared_ptr<const PayloadText> payload;
    };

    std::string text_;
    std::vector<Shared> shared_;
    std::size_t sharedBytes_ = 0;
    std::size_t entries_ = 0;
};

struct FrameQueueLimits {
    std::size_t bytes;         ///< of all that waits and of the frame that is being written
    std::size_t bytesPerFrame; ///< up to which data messages share a frame
};

/// What waits to be sent to one client, in order.
///
/// Data messages that wait next to each other leave in one frame, of whatever topics they are, as one data message sent
/// at the time of the oldest: so everything keeps its order, and a client that is behind, or a busy server, handles
/// fewer and larger frames. Nothing joins a frame behind the message that ends a topic: a client treats what follows
/// the end within the same message as if it came before. For one thread at a time.
class FrameQueue {
public:
    explicit FrameQueue(const FrameQueueLimits& limits) noexcept : limits_{limits} {}

    /// Adds a message. Returns false when it would go beyond the limit, which closes the queue: it takes nothing more,
    /// so that what has been sent has no gap. A message alone may be of any size.
    bool add(std::string text);
    bool add(DataBatch batch);

    /// Closes the queue: what waits can still be taken.
    void close() noexcept { isClosed_ = true; }

    /// The next frame to write; nothing when none waits. The one taken before counts as written.
    [[nodiscard]] std::optional<OutgoingFrame> take();

    /// Drops all that waits.
    void clear();

    /// How many bytes wait or are being written, nearly.
    [[nodiscard]] std::size_t bytes() const noexcept { return bytes_; }

private:
    using Waiting = std::variant<std::string, DataBatch>;

    [[nodiscard]] bool makeRoomFor(std::size_t size) noexcept;
    [[nodiscard]] OutgoingFrame takeData();

    /// A queue that never runs empty must not grow for ever.
    void forgetTaken();

    FrameQueueLimits limits_;
    std::vector<Waiting> waiting_;
    std::size_t first_ = 0; ///< the first in `waiting_` that was not taken
    std::size_t bytes_ = 0;
    std::size_t bytesBeingWritten_ = 0;
    bool isClosed_ = false;
};

} // namespace vexa::host
