#pragma once

#include <cstddef>
#include <cstdint>

namespace vexa::host {

/// What a service lets its clients have and what it keeps of them.
struct ServiceLimits {
    std::size_t subscriptionsPerSession = 10'000; ///< further topics are refused
    std::size_t topicBytes = 16'384;              ///< of a topic's name and parameters as JSON; longer ones are refused
    std::size_t entriesPerDataMessage = 256;      ///< a longer replay goes out in several messages
    std::size_t keptServerLogRecords = 1'000;     ///< the newest ones
    std::size_t keptEchoes = 1'000;               ///< the newest ones
    std::size_t knownPublications = 100'000;      ///< whose repetition adds nothing to a topic; the newest ones
    std::size_t countedTopics = 100'000;          ///< topics that have figures of their own
};

/// What a service has done since it was made, but for the first two, which are of now.
struct ServiceFigures {
    std::uint64_t sessions = 0;
    std::uint64_t subscriptions = 0;
    std::uint64_t published = 0;        ///< messages that the broker took, from clients and from the host itself
    std::uint64_t repeated = 0;         ///< publish requests that repeated one and added nothing
    std::uint64_t delivered = 0;        ///< entries of data messages that went out
    std::uint64_t replayed = 0;         ///< those of them that were marked as replayed
    std::uint64_t serverLogRecords = 0; ///< diagnostic records of clients
    std::uint64_t echoes = 0;
    std::uint64_t malformed = 0;       ///< messages that could not be read, in whole or in part
    std::uint64_t closedByService = 0; ///< sessions
    std::uint64_t unknown = 0;         ///< messages of a category and type that the service does not know
};

} // namespace vexa::host
