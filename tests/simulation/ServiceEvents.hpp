#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// What can happen in one step of a run with the real service: its name, what a table calls it, and how often it is
/// drawn.
#define VEXA_SERVICE_EVENTS(EVENT)                                                                                     \
    EVENT(publishes, "message published", 14)                                                                          \
    EVENT(publishesSeveral, "messages published", 6)                                                                   \
    EVENT(ends, "topic ended", 3)                                                                                      \
    EVENT(follows, "stream made", 7)                                                                                   \
    EVENT(resumes, "stream made that resumes", 3)                                                                      \
    EVENT(reads, "streams read", 6)                                                                                    \
    EVENT(cancels, "stream cancelled", 2)                                                                              \
    EVENT(drops, "stream dropped", 3)                                                                                  \
    EVENT(listens, "listener added", 4)                                                                                \
    EVENT(listensNoMore, "listener removed", 3)                                                                        \
    EVENT(opens, "connection opened", 7)                                                                               \
    EVENT(closes, "connection closed", 4)                                                                              \
    EVENT(losesRequests, "requests lost", 2)                                                                           \
    EVENT(wallClockJumps, "wall clock jumps", 2)                                                                       \
    EVENT(visibilityChanges, "visibility changes", 2)                                                                  \
    EVENT(secondsPass, "seconds pass", 6)                                                                              \
    EVENT(minutesPass, "minutes pass", 3)

/// What a run with the real service has to come to.
#define VEXA_SERVICE_FACTS(FACT)                                                                                       \
    FACT(elementRead, "element read")                                                                                  \
    FACT(replayedRead, "replayed element read")                                                                        \
    FACT(lastElementRead, "last element read")                                                                         \
    FACT(listenerCalled, "listener called")                                                                            \
    FACT(listenerCalledLast, "listener called for the last time")                                                      \
    FACT(publishedWhileClosed, "message published while the connection is closed")                                     \
    FACT(cutWithFollowers, "connection closed with live streams")                                                      \
    FACT(sharedSubscription, "second stream of a topic")                                                               \
    FACT(followedAgain, "topic followed again after its last stream")                                                  \
    FACT(followedAfterEnd, "topic followed after its end")                                                             \
    FACT(closedByService, "connection closed by the service")                                                          \
    FACT(requestLost, "request lost on the way")                                                                       \
    FACT(deliveryReported, "delivery report at the service")                                                           \
    FACT(timeoutReported, "time-out report at the service")                                                            \
    FACT(reportWaited, "report that waited for the connection")

namespace vexa::simulation {

enum class ServiceEvent : std::uint8_t {
#define VEXA_EVENT_NAME(name, text, weight) name,
    VEXA_SERVICE_EVENTS(VEXA_EVENT_NAME)
#undef VEXA_EVENT_NAME
};

inline constexpr std::array serviceEventTexts{
#define VEXA_EVENT_TEXT(name, text, weight) text,
    VEXA_SERVICE_EVENTS(VEXA_EVENT_TEXT)
#undef VEXA_EVENT_TEXT
};

inline constexpr std::array<std::size_t, serviceEventTexts.size()> serviceEventWeights{
#define VEXA_EVENT_WEIGHT(name, text, weight) weight,
    VEXA_SERVICE_EVENTS(VEXA_EVENT_WEIGHT)
#undef VEXA_EVENT_WEIGHT
};

inline constexpr std::size_t serviceEventCount = serviceEventTexts.size();

enum class ServiceFact : std::uint8_t {
#define VEXA_FACT_NAME(name, text) name,
    VEXA_SERVICE_FACTS(VEXA_FACT_NAME)
#undef VEXA_FACT_NAME
};

inline constexpr std::array serviceFactTexts{
#define VEXA_FACT_TEXT(name, text) text,
    VEXA_SERVICE_FACTS(VEXA_FACT_TEXT)
#undef VEXA_FACT_TEXT
};

inline constexpr std::size_t serviceFactCount = serviceFactTexts.size();

} // namespace vexa::simulation
