#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexa::model {

/// What can be seen of the library from outside, one thing at a time.
enum class Happening : std::uint8_t {
    // The library's queues at work.
    itemBegins, ///< text: the queue's label; number: an ItemKind
    itemEnds,   ///< text: the queue's label
    logLine,    ///< text: the line of the system log, whole

    // Calls of the library into its host, each followed by hostReturns. source: the transport or the logger.
    logger,                ///< answers the number of a logger, 0 for none
    isVisible,             ///< answers 0 or 1
    isOpen,                ///< answers 0 or 1
    addConnectionListener, ///< answers a listener id
    addCategoryListener,   ///< text: the category; answers a listener id
    send,                  ///< dictionary: the message
    consoleLog,            ///< text: the line
    serverLog,             ///< text: the category; number: the severity; dictionary: the blob
    feed,                  ///< source: the feed; text: the hash; message; flag: isTerminating
    listener,              ///< source: the listener; message; flag: isTerminating
    hostReturns,           ///< number: the answer; outcome, and text for what an exception says

    // Calls of the manager into its client.
    managerCreates,  ///< text: the name; params; updatedAt; followed by clientReturns
    managerRemoves,  ///< text: the hash
    managerSetsFeed, ///< source: the feed
    clientReturns,   ///< text: the hash

    // Calls of the host into the library. Those that wait are followed by libraryReturns.
    hostHashes,          ///< text: the name; params; waits; returns text
    hostCreates,         ///< text: the name; params; updatedAt; waits; returns text
    hostRemoves,         ///< text: the hash
    hostSetsFeed,        ///< source: the feed, 0 for none
    hostFeeds,           ///< to the manager. text: the hash; message; flag: isTerminating
    hostAdds,            ///< source: the listener; text: the name; params; updatedAt; waits; returns number
    hostRemovesListener, ///< number: the listener id
    hostAsksListeners,   ///< text: the name; params; waits; returns ids
    hostMakesStream,     ///< source: the stream; text: the name; params; updatedAt; waits
    hostCancelsStream,   ///< source: the stream; waits
    hostReadsStream,     ///< source: the stream; number: a ReadResult; message and flag: the element
    hostEchoes,          ///< waits
    hostReadsClient,     ///< waits; returns client
    hostReadsManager,    ///< waits; returns manager
    libraryReturns,

    // What transports bring, on the library's transport listeners.
    incoming,                    ///< message
    connectionOpened,            ///< nothing
    connectionClosed,            ///< nothing
    listenerRegistrationDropped, ///< nothing

    // The world around.
    transportReplaced, ///< source: the transport that the container holds now
    allQuiet           ///< nothing is ready to run. ids: the listeners that live; feeds: the feeds that live
};

enum class ItemKind : std::uint8_t { asynchronous, synchronous, delayed, timer };

enum class Outcome : std::uint8_t { returned, threwError, threwOther };

enum class ReadResult : std::uint8_t { nothingYet, element, exhausted };

/// A topic as the client's tables show it.
struct SeenTopic {
    Dictionary description;
    std::string hash;
    double updatedAt;
};

/// The client's tables, all of them.
struct ClientTables {
    std::optional<std::int64_t> messageListenerId;
    std::optional<std::int64_t> connectionListenerId;
    std::int64_t nextOperationId = 0;
    std::map<std::string, std::vector<SeenTopic>> pendingSubscriptions;
    std::map<std::string, SeenTopic> currentSubscriptions;
    std::vector<std::string> removedSubscriptions;           ///< sorted
    std::map<std::string, std::string> subscriptionIdToHash; ///< hash by id
    double pendingSubTime = 0;
    std::vector<std::string> loggedOperationIds; ///< sorted
    std::int64_t subscriptionRetryCount = 0;
    bool hasTimer = false;
    bool hasDelegate = false;
};

/// The manager's tables, all of them.
struct ManagerTables {
    std::int64_t nextListenerId = 0;
    std::map<std::int64_t, std::string> listenersById; ///< hash by listener id
    std::map<std::string, std::vector<std::int64_t>> listenersBySub;
};

/// One thing that happened. Which members it uses is told with its kind.
struct Observation {
    Happening what = Happening::allQuiet;
    double wall = 0;      ///< the wall clock, in seconds since 1970
    double monotonic = 0; ///< the monotonic clock, in seconds
    std::int64_t source = 0;
    std::int64_t number = 0;
    std::string text;
    Parameters params = std::nullopt;
    double updatedAt = 0;
    Message message;
    Dictionary dictionary;
    bool flag = false;
    Outcome outcome = Outcome::returned;
    std::vector<std::int64_t> ids;
    std::vector<std::int64_t> feeds;
    std::shared_ptr<const ClientTables> client;
    std::shared_ptr<const ManagerTables> manager;
};

[[nodiscard]] const char* nameOf(Happening what) noexcept;

/// The observation as one line, for people.
[[nodiscard]] std::string display(const Observation& observation);

} // namespace vexa::model
