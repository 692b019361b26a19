#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace vexa::host {

struct OutgoingLimits {
    std::size_t bytes = std::size_t{8} * 1024 * 1024; ///< of all the messages that wait to be written
};

/// How many messages a queue has dropped, and why.
struct OutgoingDrops {
    std::uint64_t whileClosed = 0;   ///< sent while there was no connection, and not of a kind that is kept
    std::uint64_t forLackOfRoom = 0; ///< they, or what came after them, would have gone beyond the limit
    std::uint64_t lostWithConnection =
        0; ///< they waited for a connection that closed, and are not of a kind that is kept
};

/// What is done with a message when it cannot be written at once.
enum class WhileClosed : std::uint8_t {
    keep, ///< it waits for the next connection, and makes room for newer messages when there is too little
    drop  ///< it only makes sense on the connection for which it was sent
};

/// The texts on their way to the service, in the order in which they were sent.
///
/// A text that would go beyond the limit drops the oldest that are marked to be kept, which are diagnostics, until
/// there is room; when that cannot make enough of it, the text itself is dropped. For one thread at a time.
class OutgoingQueue {
public:
    explicit OutgoingQueue(const OutgoingLimits& limits) noexcept : limits_{limits} {}

    /// A connection has opened, or is gone. The queue is closed at first. Closing drops what is not marked to be kept.
    void open() noexcept { isOpen_ = true; }
    void close();

    /// Ends the queue: it drops what is added from now on.
    void end() noexcept { hasEnded_ = true; }

    /// Returns whether the text waits now.
    bool add(std::string text, WhileClosed whileClosed);

    /// The next text to write, which the queue then forgets; nothing when none waits or the queue is closed.
    [[nodiscard]] std::optional<std::string> take();

    [[nodiscard]] bool isOpen() const noexcept { return isOpen_; }

    /// How many texts wait, and their bytes.
    [[nodiscard]] std::size_t size() const noexcept { return waiting_.size(); }
    [[nodiscard]] std::size_t bytes() const noexcept { return bytes_; }
    [[nodiscard]] const OutgoingDrops& drops() const noexcept { return drops_; }

private:
    struct Waiting {
        std::string text;
        WhileClosed whileClosed;
    };

    /// Makes room for `needed` bytes if that can be done. Returns whether there is room.
    [[nodiscard]] bool makeRoom(std::size_t needed);

    OutgoingLimits limits_;
    std::deque<Waiting> waiting_;
    std::size_t bytes_ = 0;
    std::size_t keptBytes_ = 0;
    bool isOpen_ = false;
    bool hasEnded_ = false;
    OutgoingDrops drops_;
};

} // namespace vexa::host
