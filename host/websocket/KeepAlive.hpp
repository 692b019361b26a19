#pragma once

#include <cstdint>

namespace vexa::host {

/// Decides, at regular moments, whether a peer lives (RFC 6455, section 5.5.2): one that has sent nothing for a whole
/// period is asked by a ping, and one that has sent nothing in the period after that is dead. It is found so after two
/// to three periods.
class KeepAlive {
public:
    enum class Action : std::uint8_t { nothing, ping, giveUp };

    /// What to do at the end of a period. `received` counts the bytes that have come from the peer so far.
    [[nodiscard]] Action periodEnded(std::uint64_t received) noexcept
    {
        if (received != receivedBefore_) {
            receivedBefore_ = received;
            isAsked_ = false;
            return Action::nothing;
        }
        if (!isAsked_) {
            isAsked_ = true;
            return Action::ping;
        }
        return Action::giveUp;
    }

private:
    std::uint64_t receivedBefore_ = 0;
    bool isAsked_ = false;
};

} // namespace vexa::host
