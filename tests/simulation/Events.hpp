#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// What can happen to the library in one step: its name, what a table calls it, and how often it is drawn.
#define VEXA_SIMULATION_EVENTS(EVENT)                                                                                  \
    EVENT(makeStream, "stream made", 8)                                                                                \
    EVENT(readStream, "stream read", 8)                                                                                \
    EVENT(cancelStream, "stream cancelled", 3)                                                                         \
    EVENT(dropStream, "stream dropped", 3)                                                                             \
    EVENT(addListener, "listener added", 8)                                                                            \
    EVENT(addListenerAgain, "listener added again", 3)                                                                 \
    EVENT(removeListener, "listener removed", 6)                                                                       \
    EVENT(removeNobody, "no listener removed", 3)                                                                      \
    EVENT(askListeners, "listeners asked for", 3)                                                                      \
    EVENT(createOnClient, "subscription created on the client", 6)                                                     \
    EVENT(removeOnClient, "subscription removed on the client", 3)                                                     \
    EVENT(replaceFeed, "feed replaced", 4)                                                                             \
    EVENT(restoreFeed, "manager made the feed", 6)                                                                     \
    EVENT(takeFeed, "feed taken away", 2)                                                                              \
    EVENT(feedManager, "manager fed by the host", 3)                                                                   \
    EVENT(dataSingle, "data of one entry", 10)                                                                         \
    EVENT(dataBatch, "data of several entries", 8)                                                                     \
    EVENT(dataEmpty, "data of no entries", 3)                                                                          \
    EVENT(dataTerminating, "data that terminates", 5)                                                                  \
    EVENT(dataMalformed, "malformed data", 5)                                                                          \
    EVENT(answerSuccess, "answer: success", 14)                                                                        \
    EVENT(answerFailures, "answer: failures", 4)                                                                       \
    EVENT(answerMixed, "answer: mixed", 5)                                                                             \
    EVENT(answerWithoutIds, "answer: without ids", 3)                                                                  \
    EVENT(answerUsedIds, "answer: ids used already", 4)                                                                \
    EVENT(answerTooFew, "answer: too few entries", 3)                                                                  \
    EVENT(answerTooMany, "answer: too many entries", 3)                                                                \
    EVENT(answerAgain, "answer given again", 4)                                                                        \
    EVENT(answerUnasked, "answer nobody asked for", 3)                                                                 \
    EVENT(answerMalformed, "malformed answer", 5)                                                                      \
    EVENT(answerLost, "answer lost", 3)                                                                                \
    EVENT(otherMessage, "message of another type", 3)                                                                  \
    EVENT(connectionOpens, "connection opens", 14)                                                                     \
    EVENT(connectionCloses, "connection closes", 4)                                                                    \
    EVENT(opensTwice, "connection opens twice", 3)                                                                     \
    EVENT(openedButClosed, "told open while closed", 3)                                                                \
    EVENT(opensWhileSending, "connection opens while sending", 3)                                                      \
    EVENT(closesWhileSending, "connection closes while sending", 3)                                                    \
    EVENT(answersWhileSending, "answer while sending", 4)                                                              \
    EVENT(serviceRestarts, "service restarts", 3)                                                                      \
    EVENT(registrationDropped, "listener registration dropped", 2)                                                     \
    EVENT(wallClockJumps, "wall clock jumps", 4)                                                                       \
    EVENT(visibilityChanges, "visibility changes", 4)                                                                  \
    EVENT(transportReplaced, "transport replaced", 2)                                                                  \
    EVENT(loggerReplaced, "logger replaced", 3)                                                                        \
    EVENT(loggerTaken, "logger taken away", 2)                                                                         \
    EVENT(transportFails, "transport throws", 5)                                                                       \
    EVENT(loggerFails, "logger throws", 3)                                                                             \
    EVENT(loggerHeals, "logger throws no more", 3)                                                                     \
    EVENT(echo, "echo", 3)                                                                                             \
    EVENT(timePasses, "seconds pass", 10)                                                                              \
    EVENT(muchTimePasses, "minutes pass", 5)                                                                           \
    EVENT(createsAndOpens, "subscription created right before the connection opens", 3)                                \
    EVENT(feedChangesOnTheWay, "feed replaced behind data", 3)                                                         \
    EVENT(deviceSleeps, "device sleeps for a minute", 5)                                                               \
    EVENT(readTables, "tables read", 3)

namespace vexa::simulation {

enum class Event : std::uint8_t {
#define VEXA_EVENT_NAME(name, text, weight) name,
    VEXA_SIMULATION_EVENTS(VEXA_EVENT_NAME)
#undef VEXA_EVENT_NAME
};

inline constexpr std::array eventTexts{
#define VEXA_EVENT_TEXT(name, text, weight) text,
    VEXA_SIMULATION_EVENTS(VEXA_EVENT_TEXT)
#undef VEXA_EVENT_TEXT
};

inline constexpr std::array<std::size_t, eventTexts.size()> eventWeights{
#define VEXA_EVENT_WEIGHT(name, text, weight) weight,
    VEXA_SIMULATION_EVENTS(VEXA_EVENT_WEIGHT)
#undef VEXA_EVENT_WEIGHT
};

inline constexpr std::size_t eventCount = eventTexts.size();

} // namespace vexa::simulation
