#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Every transition, log line, kind of record and outcome that the model knows, each with what a coverage table calls
/// it.
#define VEXA_MODEL_RULES(RULE)                                                                                         \
    RULE(createdNew, "creation of a topic that is not current")                                                        \
    RULE(createdWhilePending, "creation of a topic that is pending")                                                   \
    RULE(createdCurrent, "log line: Found existing topic")                                                             \
    RULE(createdCurrentRemoved, "creation revives a removed current topic")                                            \
    RULE(createdRemovedNew, "creation revives a removed topic that is not current")                                    \
    RULE(createdRaising, "log line: topic.updatedAt")                                                                  \
    RULE(createdNotRaising, "creation with an older or equal positive time")                                           \
    RULE(createdWithoutTime, "creation of a current topic without a time")                                             \
    RULE(registeredMessageListener, "log line: Registered message listener")                                           \
    RULE(registeredConnectionListener, "log line: Registered connection listener")                                     \
    RULE(messageRegistrationThrew, "addCategoryListener throws")                                                       \
    RULE(connectionRegistrationThrew, "addConnectionListener throws")                                                  \
    RULE(removedUnknown, "removal of a hash that is not current")                                                      \
    RULE(removedCurrent, "removal of a current topic")                                                                 \
    RULE(removedAgain, "removal of a removed hash")                                                                    \
    RULE(delegateReplaced, "feed delegate replaced by another")                                                        \
    RULE(delegateTaken, "feed delegate replaced by none")                                                              \
    RULE(queuedSendSent, "queued request sent")                                                                        \
    RULE(queuedSendSuperseded, "queued request of an operation that is gone")                                          \
    RULE(sendWhileClosed, "log line: OruClient is not open")                                                           \
    RULE(sendEmpty, "request with no topics")                                                                          \
    RULE(sendSeveral, "request with several topics")                                                                   \
    RULE(sendThrew, "send throws")                                                                                     \
    RULE(isOpenThrew, "isOpen throws")                                                                                 \
    RULE(requestCutOff, "log line of a request that is cut off")                                                       \
    RULE(timerStarted, "retry timer starts")                                                                           \
    RULE(tickHeldOff, "tick less than 5 s after a request")                                                            \
    RULE(tickOutOfRetries, "tick cancels the timer after the last retry")                                              \
    RULE(tickNothingPending, "tick cancels the timer since nothing is pending")                                        \
    RULE(tickRetries, "tick sends again")                                                                              \
    RULE(tickWithTimeBehind, "tick while the wall clock is behind the last request")                                   \
    RULE(retryLine, "console line: Retrying")                                                                          \
    RULE(retryOfSeveral, "tick sends several operations again")                                                        \
    RULE(retryWithoutLogger, "retry without a logger")                                                                 \
    RULE(consoleLogThrew, "consoleLog throws")                                                                         \
    RULE(loggerThrew, "logger throws")                                                                                 \
    RULE(loggerAbsent, "logger answers none")                                                                          \
    RULE(openedNothingKnown, "connection opened with no topic known")                                                  \
    RULE(openedWithCurrent, "connection opened with current topics")                                                   \
    RULE(openedWithPending, "connection opened with pending topics")                                                   \
    RULE(openedWithBoth, "connection opened with current and pending topics")                                          \
    RULE(openedWithTwice, "connection opened with a topic both current and pending")                                   \
    RULE(openedWithRemoved, "connection opened with a removed topic")                                                  \
    RULE(openedWhileClosed, "connectionOpened while isOpen is false")                                                  \
    RULE(typeUnknown, "message of another type")                                                                       \
    RULE(typeMissing, "message without a text as type")                                                                \
    RULE(responseOtherType, "response of type subscribeResponse")                                                      \
    RULE(responseWithoutOperation, "log line: missing 'operationId'")                                                  \
    RULE(responseWithoutTopics, "log line: missing 'topics'")                                                          \
    RULE(responseUnknown, "log line: no pending topics")                                                               \
    RULE(responseEmptied, "log line: subscriptions all accounted for")                                                 \
    RULE(responseResetsCount, "response resets a retry count above 0")                                                 \
    RULE(responseLeavesOthers, "response leaves other operations pending")                                             \
    RULE(responseTooFew, "log line: mismatched count, too few")                                                        \
    RULE(responseTooMany, "log line: mismatched count, too many")                                                      \
    RULE(responseProcessed, "log line: Processing responses")                                                          \
    RULE(responseEmptyList, "response for no topics")                                                                  \
    RULE(responseAfterTimeout, "response after the operation was reported as timed out")                               \
    RULE(answerSuccess, "record: success")                                                                             \
    RULE(answerSuccessRemoved, "success for a removed topic")                                                          \
    RULE(answerReplacesCurrent, "success for a topic that is current already")                                         \
    RULE(answerIdUsed, "success with an id that stood for another topic")                                              \
    RULE(answerIdSame, "success with an id that stood for this topic")                                                 \
    RULE(answerWithoutId, "record: success without subscriptionId")                                                    \
    RULE(answerFailed, "record: failure with error and message")                                                       \
    RULE(answerFailedBare, "record: failure without error")                                                            \
    RULE(answerFailedNoMessage, "record: failure without message")                                                     \
    RULE(timeoutReport, "record: timed out")                                                                           \
    RULE(timeoutReportEmpty, "time-out report of no topics")                                                           \
    RULE(timeoutOnce, "operation not reported again")                                                                  \
    RULE(timeoutTooEarly, "tick less than 60 s after the last request")                                                \
    RULE(timeoutOutOfRetries, "time-out report at the tick that cancels the timer")                                    \
    RULE(isVisibleThrew, "isVisible throws")                                                                           \
    RULE(visibleYes, "record: visible")                                                                                \
    RULE(visibleNo, "record: not visible")                                                                             \
    RULE(reportSent, "report sent within its window")                                                                  \
    RULE(reportToEarlierLogger, "report sent to a logger that was replaced")                                           \
    RULE(reportThrew, "serverLog throws")                                                                              \
    RULE(dataWithoutList, "data message without a list of dictionaries")                                               \
    RULE(dataEmpty, "data message of no entries")                                                                      \
    RULE(dataSingle, "data message of one entry")                                                                      \
    RULE(dataBatch, "data message of several entries")                                                                 \
    RULE(dataSentAt, "delivery report with sentAt")                                                                    \
    RULE(dataNoSentAt, "delivery report without sentAt")                                                               \
    RULE(entryWithoutId, "entry without subscriptionId")                                                               \
    RULE(entryUnknown, "entry of an unknown subscriptionId")                                                           \
    RULE(entryNotCurrent, "entry of a topic that is not current")                                                      \
    RULE(entryRaises, "entry raises updatedAt")                                                                        \
    RULE(entryDoesNotRaise, "entry with an older or equal updatedAt")                                                  \
    RULE(entryRaisesRemoved, "entry of a removed topic raises updatedAt")                                              \
    RULE(entryWithheld, "log line: was previously removed")                                                            \
    RULE(entryDelivered, "entry delivered to the feed")                                                                \
    RULE(entryTerminates, "terminating entry")                                                                         \
    RULE(entryAfterTerminating, "entry behind a terminating one of the same topic")                                    \
    RULE(entryWithoutDelegate, "deliverable entry without a feed delegate")                                            \
    RULE(terminatesWithoutDelegate, "terminating entry without a feed delegate")                                       \
    RULE(recordOnline, "record: online")                                                                               \
    RULE(recordOffline, "record: offline")                                                                             \
    RULE(recordWithTopic, "delivery record with topic")                                                                \
    RULE(recordWithoutTopic, "delivery record without topic")                                                          \
    RULE(feedThrew, "feed throws")                                                                                     \
    RULE(feedManager, "message fed to the manager")                                                                    \
    RULE(feedOther, "message fed to another feed")                                                                     \
    RULE(feedEarlier, "message fed to a delegate that was replaced meanwhile")                                         \
    RULE(addFirst, "log line: setting listener")                                                                       \
    RULE(addFurther, "log line: Adding new listener to existing sub")                                                  \
    RULE(addWithParams, "manager's creation line with parameters")                                                     \
    RULE(addWithoutParams, "manager's creation line with nil")                                                         \
    RULE(removeNone, "log line: Cannot remove no-listener")                                                            \
    RULE(removeUnknown, "log line: No subscription registered for")                                                    \
    RULE(removeOneOfSeveral, "log line: still had other listeners")                                                    \
    RULE(removeLast, "log line: removing subscription")                                                                \
    RULE(asksNobody, "anyListenersFor answers none")                                                                   \
    RULE(asksSomebody, "anyListenersFor answers listeners")                                                            \
    RULE(fanOutNobody, "log line: no listeners registered for")                                                        \
    RULE(fanOutOne, "message for one listener")                                                                        \
    RULE(fanOutSeveral, "message for several listeners")                                                               \
    RULE(fanOutTerminates, "terminating message for listeners")                                                        \
    RULE(listenerCalled, "listener called")                                                                            \
    RULE(listenerCalledAfterRemoval, "listener called after its removal")                                              \
    RULE(listenerThrew, "listener throws")                                                                             \
    RULE(streamRegistered, "log line: registered listener")                                                            \
    RULE(streamUnregisteredByHost, "log line: unregistered listener, by the host")                                     \
    RULE(streamUnregisteredByEnd, "log line: unregistered listener, by a terminating message")                         \
    RULE(streamEndedTwice, "stream cancelled after its end")                                                           \
    RULE(streamElement, "stream gives an element")                                                                     \
    RULE(streamLastElement, "stream gives its last element")                                                           \
    RULE(streamWaits, "stream has nothing yet")                                                                        \
    RULE(streamExhausted, "stream is exhausted")                                                                       \
    RULE(streamLateElement, "message for a stream that has ended")                                                     \
    RULE(streamWithoutTime, "stream without a time")                                                                   \
    RULE(echoSent, "echo sent")                                                                                        \
    RULE(echoThrew, "echo whose send throws")                                                                          \
    RULE(clientTablesCompared, "client's tables compared")                                                             \
    RULE(managerTablesCompared, "manager's tables compared")                                                           \
    RULE(managerTablesEmpty, "manager's tables empty after use")                                                       \
    RULE(controlCharactersEscaped, "log line with escaped control characters")

namespace vexa::model {

enum class Rule : std::uint16_t {
#define VEXA_RULE_NAME(name, text) name,
    VEXA_MODEL_RULES(VEXA_RULE_NAME)
#undef VEXA_RULE_NAME
};

inline constexpr std::array ruleTexts{
#define VEXA_RULE_TEXT(name, text) text,
    VEXA_MODEL_RULES(VEXA_RULE_TEXT)
#undef VEXA_RULE_TEXT
};

inline constexpr std::size_t ruleCount = ruleTexts.size();

/// How often each rule was applied.
class RuleCounts {
public:
    void operator()(Rule rule) noexcept { ++counts_[static_cast<std::size_t>(rule)]; }

    [[nodiscard]] std::uint64_t of(std::size_t rule) const noexcept { return counts_[rule]; }

    void add(const RuleCounts& others) noexcept
    {
        for (std::size_t i = 0; i < counts_.size(); ++i) {
            counts_[i] += others.counts_[i];
        }
    }

private:
    std::array<std::uint64_t, ruleCount> counts_{};
};

} // namespace vexa::model
