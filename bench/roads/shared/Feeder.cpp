#include <bench/roads/shared/Feeder.hpp>
#include <bench/roads/shared/Sockets.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace vexa::bench {

namespace {

/// How much goes to the kernel at once.
constexpr std::size_t writtenBytes = std::size_t{64} * 1024;

} // namespace

Feeder::Feeder(int socket, int acknowledgements, std::vector<FeedFrame> frames)
    : socket_{socket}, acknowledgements_{acknowledgements}, frames_{std::move(frames)}
{}

void Feeder::run(std::uint64_t total, std::uint64_t window)
{
    while (!hasStarted_) {
        waitForAcknowledgement();
    }
    while (sent_ < total && !hasEnded_) {
        const std::uint64_t batch = frames_[nextFrame_].timesAt.size();
        if (sent_ + batch > acknowledged_ + std::max(window, batch)) {
            waitForAcknowledgement();
            continue;
        }
        fill(std::min(total, acknowledged_ + std::max(window, batch)));
        writeAll(socket_, outgoing_);
        discardInput(socket_);
    }
    while (!hasEnded_) {
        waitForAcknowledgement();
    }
}

void Feeder::fill(std::uint64_t upTo)
{
    outgoing_.clear();
    // A frame may go beyond the total, of which it then sends the last, but never beyond the window.
    do {
        FeedFrame& frame = frames_[nextFrame_];
        for (const std::size_t timeAt : frame.timesAt) {
            writeTime(frame.text.data() + timeAt, sent_++);
        }
        outgoing_ += frame.text;
        nextFrame_ = (nextFrame_ + 1) % frames_.size();
    } while (sent_ + frames_[nextFrame_].timesAt.size() <= upTo && outgoing_.size() < writtenBytes);
}

void Feeder::waitForAcknowledgement()
{
    std::array<pollfd, 2> watched{pollfd{acknowledgements_, POLLIN, 0}, pollfd{socket_, POLLIN, 0}};
    // A socket whose other end is closed is always ready, and says nothing more.
    if (::poll(watched.data(), sent_ > 0 ? 2 : 1, -1) < 0 && errno != EINTR) {
        throw std::system_error{errno, std::generic_category(), "poll"};
    }
    if (watched[1].revents != 0) {
        discardInput(socket_);
    }
    if (watched[0].revents == 0) {
        return;
    }
    std::array<std::uint64_t, 512> counts{};
    const std::size_t size = readSome(acknowledgements_, reinterpret_cast<char*>(counts.data()), sizeof(counts));
    hasEnded_ = size == 0;
    hasStarted_ = true;
    // Threads of the receiver may confirm out of turn.
    for (std::size_t i = 0; i < size / sizeof(std::uint64_t); ++i) {
        acknowledged_ = std::max(acknowledged_, counts[i]);
    }
}

} // namespace vexa::bench
