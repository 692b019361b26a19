#pragma once

#include <host/service/DelayHistogram.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <string>

namespace vexa::host {

/// What a service has seen of one topic since it first heard of it. The subscribers and the rate are of now.
struct TopicFigures {
    std::string name;
    Parameters parameters;
    std::uint64_t subscribers = 0; ///< subscriptions of this service's clients
    std::uint64_t published = 0;   ///< messages that the broker took from this service's clients and its host
    std::uint64_t received = 0;    ///< new messages, whoever published them, that came while there was a subscriber
    std::uint64_t delivered = 0;   ///< entries of data messages that went out
    std::uint64_t replayed = 0;    ///< those of them that were marked as replayed
    double messagesPerSecond = 0;  ///< new messages over the last ten seconds
    double newestAt = 0;           ///< the time of the newest message, in seconds since 1970; 0 for none

    /// What the clients' diagnostic records say, which come up to five minutes later.
    DelayFigures delay;                      ///< from the sending to the arrival of messages that were not replayed
    std::uint64_t reportedReplays = 0;       ///< replayed messages that arrived
    std::uint64_t failedSubscriptions = 0;   ///< subscribe requests that were answered with an error
    std::uint64_t timedOutSubscriptions = 0; ///< subscribe requests that had no answer for a minute
};

} // namespace vexa::host
