#pragma once

#include <bench/roads/shared/TopicTexts.hpp>

#include <cstddef>
#include <string>
#include <vector>

/// What a sender writes to publish messages, made once for all of them: one frame for each topic, or for each stretch
/// of topics that share one.
namespace vexa::bench {

struct FeedFrame {
    std::string text;
    std::vector<std::size_t> timesAt; ///< where the time of each of its messages stands
};

/// Data messages of `batch` entries each in WebSocket frames (RFC 6455, section 5.2), unmasked as a service sends them.
[[nodiscard]] std::vector<FeedFrame> webSocketFrames(std::size_t topics, std::size_t batch);

/// PUBLISH commands of Redis (RESP 2).
[[nodiscard]] std::vector<FeedFrame> redisFrames(std::size_t topics);

/// PUB operations of the NATS client protocol.
[[nodiscard]] std::vector<FeedFrame> natsFrames(std::size_t topics);

/// PUBLISH packets of MQTT 3.1.1, quality of service 0.
[[nodiscard]] std::vector<FeedFrame> mqttFrames(std::size_t topics);

} // namespace vexa::bench
