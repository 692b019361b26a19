#pragma once

#include <host/websocket/FrameFault.hpp>
#include <host/websocket/OutgoingQueue.hpp>

#include <array>
#include <cstddef>
#include <cstdint>

namespace vexa::host {

/// What an OruWebSocketClient has done since it was made.
struct OruWebSocketFigures {
    struct Traffic {
        std::uint64_t frames = 0; ///< messages, each counted once whatever the number of its fragments
        std::uint64_t bytes = 0;  ///< of their texts
    };

    std::uint64_t attempts = 0;   ///< tries to connect
    std::uint64_t connects = 0;   ///< tries that succeeded
    std::uint64_t reconnects = 0; ///< those of them that followed an earlier connection
    Traffic received;             ///< text messages with no more bytes than the limit
    Traffic sent;                 ///< handed to the operating system
    OutgoingDrops drops;
    std::uint64_t unsendable = 0; ///< messages that were not sent since they hold text that is not UTF-8
    std::uint64_t unrouted = 0;   ///< messages for whose "category" there is no listener, or that have none
    std::array<std::uint64_t, frameFaultCount> faults{};

    /// How many frames had a fault.
    [[nodiscard]] std::uint64_t faulty(FrameFault fault) const noexcept
    {
        return faults[static_cast<std::size_t>(fault)];
    }
};

} // namespace vexa::host
