#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <vector>

namespace vexa::host {

/// What a topic is after one of its records. Times are whole microseconds since 1970; 0 is none.
struct TopicState {
    std::uint64_t sequence = 0;        ///< of the record, in the stream; 0 before the first one
    std::int64_t lastMicrosecond = 0;  ///< the time of the newest payload
    std::int64_t formerLivesUntil = 0; ///< the time of the newest terminating payload that others followed
    bool hasEnded = false;             ///< whether the newest payload is a terminating one

    friend bool operator==(const TopicState&, const TopicState&) = default;
};

/// A record of a topic as it stands in the stream.
///
/// It does not hold the times of its payloads, since a publisher cannot know what others store just before it. It holds
/// the publisher's clock and the newest state of the topic that the publisher knew. Whoever reads all records of the
/// topic behind that state computes the same times.
///
/// JetStream's own means, to store a message only if the newest one of its subject is the expected one, does not serve
/// here: publishers would have to take turns, and a cluster of nats-server 2.9 lets several through that come at once.
struct TopicRecord {
    std::uint64_t sequence = 0;
    std::int64_t microsecond = 0; ///< the publisher's clock
    TopicState base; ///< a state of the topic before this record, not always the one just before it; its sequence is
                     ///< 0 when it is none of this stream
    std::vector<Dictionary> payloads;
};

/// A record in its place: its payloads with their times.
struct TopicBatch {
    std::vector<Message> payloads;  ///< each with "updatedAt"
    std::vector<double> updatedAts; ///< the same times, in seconds since 1970
    TopicState before;
    TopicState after;
};

/// The time as it stands in a payload, in seconds since 1970.
[[nodiscard]] double secondsOf(std::int64_t microsecond) noexcept;

/// The state to read on from towards a record: its base, or that before the topic's first record when the base is none
/// of this stream.
[[nodiscard]] TopicState startBefore(const TopicRecord& record) noexcept;

/// The record in its place behind `before`: its first payload has the publisher's time, or one microsecond after the
/// payload before it when that is later, and each further payload one microsecond more.
///
/// When the record's base is later than `before`, the base counts: the stream has removed or lost what its publisher
/// knew.
[[nodiscard]] TopicBatch placed(TopicRecord record, const TopicState& before);
} // namespace vexa::host
