#pragma once

#include <host/websocket/FrameFault.hpp>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vexa::host {

/// Why a WebSocket is no more.
enum class CloseReason : std::uint8_t {
    byClient,  ///< the client closed it
    lost,      ///< the connection broke
    silent,    ///< nothing came from the client for too long
    slow,      ///< the client took what was sent too slowly
    tooLarge,  ///< a message was larger than the limit
    protocol,  ///< the client broke the rules of the protocol
    byService, ///< the service ended the session
    stop,      ///< the server stopped
};

inline constexpr std::size_t closeReasonCount = 8;

/// A word for each reason, as the label of a metric.
[[nodiscard]] std::string_view labelOf(CloseReason reason) noexcept;
[[nodiscard]] std::string_view labelOf(FrameFault fault) noexcept;

/// The status codes of a server's HTTP responses, of which it counts each.
inline constexpr std::array<unsigned, 12> httpStatuses{101, 200, 400, 401, 404, 405, 413, 417, 426, 431, 503, 505};

/// What a server has done since it was made; the first two are of now.
template <class Number>
struct ServerCounts {
    Number connections{};    ///< sockets that are open
    Number webSockets{};     ///< those of them that carry a WebSocket
    Number accepted{};       ///< sockets
    Number acceptFailures{}; ///< attempts to accept one, for want of file descriptors for example
    Number webSocketsOpened{};
    std::array<Number, closeReasonCount> webSocketsClosed{};
    Number framesReceived{}; ///< whole text messages
    Number bytesReceived{};  ///< in them
    Number framesSent{};
    Number bytesSent{};   ///< in them
    Number entriesSent{}; ///< entries of data messages in them
    Number pingsSent{};
    std::array<Number, frameFaultCount> badFrames{};
    std::array<Number, httpStatuses.size()> httpResponses{};
    Number unauthorized{}; ///< requests without a valid token
};

using ServerFigures = ServerCounts<std::uint64_t>;

/// A number that one thread changes and any thread reads.
class OwnCounter {
public:
    void add(std::uint64_t more = 1) noexcept { set(get() + more); }
    void subtract(std::uint64_t less = 1) noexcept { set(get() - less); }
    [[nodiscard]] std::uint64_t get() const noexcept { return number_.load(std::memory_order_relaxed); }

private:
    void set(std::uint64_t number) noexcept { number_.store(number, std::memory_order_relaxed); }

    std::atomic<std::uint64_t> number_{0};
};

/// What one thread of a server counts.
using ThreadCounts = ServerCounts<OwnCounter>;

void countHttpResponse(ThreadCounts& counts, unsigned status) noexcept;

/// Adds what a thread has counted.
void addCounts(ServerFigures& figures, const ThreadCounts& counts) noexcept;

} // namespace vexa::host
