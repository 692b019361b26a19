#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vexa::host {

/// What JetStream says about a delivery in the message's reply subject, of which there are two forms:
/// $JS.ACK.STREAM.CONSUMER.DELIVERED.STREAM_SEQUENCE.CONSUMER_SEQUENCE.TIME.PENDING, and, from servers with a domain or
/// an account in it, $JS.ACK.DOMAIN.ACCOUNT.STREAM.… with any further tokens at the end.
struct DeliveryInfo {
    static constexpr std::string_view prefix = "$JS.ACK.";

    std::string_view consumer;
    std::uint64_t streamSequence = 0;
    std::uint64_t consumerSequence = 0;
    std::uint64_t behind = 0; ///< how many more messages the consumer knew of

    /// Nothing when `reply` is no such subject. The consumer's name points into `reply`.
    [[nodiscard]] static std::optional<DeliveryInfo> read(std::string_view reply);
};

} // namespace vexa::host
