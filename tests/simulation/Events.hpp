#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// What can happen to the library in one step: its name, what a table calls it, and how often it is drawn.
#define VEXA_SIMULATION_EVENTS(EVENT)                                                                                  \
    EVENT(makeStream, "stream made", 10)                                                                               \
    EVENT(readStream, "stream read", 10)                                                                               \
    EVENT(cancelStream, "stream cancelled", 5)                                                                         \
    EVENT(dropStream, "stream dropped", 6)                                                                             \
    EVENT(addListener, "listener added", 8)                                                                            \
    EVENT(addListenerAgain, "listener added again", 4)                                                                 \
    EVENT(removeListener, "listener removed", 6)                                                                       \
    EVENT(removeNobody, "no listener removed", 4)                                                                      \
    EVENT(askListeners, "listeners asked for", 4)                                                                      \
    EVENT(createOnClient, "subscription created on the client", 6)                                                     \
    EVENT(removeOnClient, "subscription removed on the client", 5)                                                     \
    EVENT(replaceFeed, "feed replaced", 5)                                                                             \
    EVENT(restoreFeed, "manager made the feed", 6)                                                                     \
    EVENT(takeFeed, "feed taken away", 4)                                                                              \
    EVENT(feedManager, "manager fed by the host", 4)                                                                   \
    EVENT(dataSingle, "data of one entry", 10)                                                                         \
    EVENT(dataBatch, "data of several entries", 8)                                                                     \
    EVENT(dataEmpty, "data of no entries", 4)                                                                          \
    EVENT(dataTerminating, "data that terminates", 5)                                                                  \
    EVENT(dataMalformed, "malformed data", 5)                                                                          \
    EVENT(answerSuccess, "answer: success", 14)                                                                        \
    EVENT(answerFailures, "answer: failures", 6)                                                                       \
    EVENT(answerMixed, "answer: mixed", 7)                                                                             \
    EVENT(answerWithoutIds, "answer: without ids", 5)                                                                  \
    EVENT(answerUsedIds, "answer: ids used already", 6)                                                                \
    EVENT(answerTooFew, "answer: too few entries", 5)                                                                  \
    EVENT(answerTooMany, "answer: too many entries", 5)                                                                \
    EVENT(answerAgain, "answer given again", 5)                                                                        \
    EVENT(answerUnasked, "answer nobody asked for", 4)                                                                 \
    EVENT(answerMalformed, "malformed answer", 7)                                                                      \
    EVENT(answerLost, "answer lost", 5)                                                                                \
    EVENT(otherMessage, "message of another type", 4)                                                                  \
    EVENT(connectionOpens, "connection opens", 14)                                                                     \
    EVENT(connectionCloses, "connection closes", 6)                                                                    \
    EVENT(opensTwice, "connection opens twice", 4)                                                                     \
    EVENT(openedButClosed, "told open while closed", 5)                                                                \
    EVENT(opensWhileSending, "connection opens while sending", 5)                                                      \
    EVENT(closesWhileSending, "connection closes while sending", 6)                                                    \
    EVENT(answersWhileSending, "answer while sending", 5)                                                              \
    EVENT(serviceRestarts, "service restarts", 5)                                                                      \
    EVENT(registrationDropped, "listener registration dropped", 4)                                                     \
    EVENT(wallClockJumps, "wall clock jumps", 4)                                                                       \
    EVENT(visibilityChanges, "visibility changes", 4)                                                                  \
    EVENT(transportReplaced, "transport replaced", 4)                                                                  \
    EVENT(loggerReplaced, "logger replaced", 4)                                                                        \
    EVENT(loggerTaken, "logger taken away", 4)                                                                         \
    EVENT(transportFails, "transport throws", 6)                                                                       \
    EVENT(loggerFails, "logger throws", 4)                                                                             \
    EVENT(loggerHeals, "logger throws no more", 4)                                                                     \
    EVENT(echo, "echo", 4)                                                                                             \
    EVENT(timePasses, "seconds pass", 10)                                                                              \
    EVENT(muchTimePasses, "minutes pass", 5)                                                                           \
    EVENT(createsAndOpens, "subscription created right before the connection opens", 4)                                \
    EVENT(feedChangesOnTheWay, "feed replaced behind data", 4)                                                         \
    EVENT(deviceSleeps, "device sleeps for a minute", 5)                                                               \
    EVENT(readTables, "tables read", 4)

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
