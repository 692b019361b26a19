#pragma once

#include <bench/roads/shared/FeedFrames.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vexa::bench {

/// Sends messages as fast as whoever gets them confirms them: no more than a window of them is ever on the way, so that
/// no server on the way has a reason to drop any.
///
/// The receiver confirms out of band, over a pipe: each record of eight bytes is how many messages it has got in all,
/// in the byte order of the machine. The first one, of none, starts the sender.
class Feeder {
public:
    /// \param socket            where the frames go; what comes from there is dropped.
    /// \param acknowledgements  the reading end of the pipe.
    Feeder(int socket, int acknowledgements, std::vector<FeedFrame> frames);

    /// Sends `total` messages, or the few more that fill the last frame. Returns when the pipe has been closed.
    void run(std::uint64_t total, std::uint64_t window);

private:
    void waitForAcknowledgement();
    void fill(std::uint64_t upTo);

    const int socket_;
    const int acknowledgements_;
    std::vector<FeedFrame> frames_;
    std::size_t nextFrame_ = 0;
    std::string outgoing_;
    std::uint64_t sent_ = 0;
    std::uint64_t acknowledged_ = 0;
    bool hasStarted_ = false;
    bool hasEnded_ = false;
};

} // namespace vexa::bench
