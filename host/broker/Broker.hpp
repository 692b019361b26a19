#pragma once

#include <host/broker/TopicKey.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {

/// Why a request was not fulfilled, as a client is told: a short fixed word and a sentence.
struct ServiceError {
    std::string error;
    std::string errorMessage;
};

/// What became of a publication.
struct PublishResult {
    std::size_t accepted = 0;          ///< how many payloads, from the front of the list, are in the topic now
    std::optional<ServiceError> error; ///< why it was not all of them
};

using PublishCompletion = std::function<void(PublishResult result)>;

/// One message of a topic on its way to a subscriber.
struct Delivery {
    Message payload;         ///< with "updatedAt", and "isTerminating" when it ends the topic; never null
    bool isReplayed = false; ///< whether it was published before the subscription stood
};

/// What a subscriber of a topic hears from a broker, on a thread of the broker's, one call at a time. Implementations
/// return at once.
class BrokerReceiver {
public:
    virtual ~BrokerReceiver() = default;

    /// The subscription stands. Called once, before any delivery.
    virtual void subscribed() = 0;

    /// There is no subscription, and nothing more will be called.
    virtual void refused(ServiceError reason) = 0;

    /// Messages of the topic, in the topic's order. Calls may still be under way when the subscription is cancelled.
    virtual void received(std::vector<Delivery> deliveries) = 0;
};

/// Whether a broker can do its work now, and a sentence about it for people.
struct BrokerStatus {
    bool isHealthy = false;
    std::string text;
};

/// Where the messages of topics are kept and distributed: the service's only seam to storage and to other services.
///
/// Every message of a topic has a time, "updatedAt" in its payload: the clock's at its publication, in seconds since
/// 1970, but always later than the one before it in the topic, whatever the clock does. It is a whole number of
/// microseconds, so that it passes through every JSON parser and back unchanged, also through those that are a unit in
/// the last place off.
///
/// A topic needs no making. A payload whose "isTerminating" is true ends it; the next one after that opens it again,
/// for a new life. Every operation may be called on any thread and returns at once; answers come later, on a thread of
/// the broker's.
class Broker {
public:
    virtual ~Broker() = default;

    /// Adds payloads to a topic, in order and next to each other, and hands them to its subscribers. An "updatedAt"
    /// that a payload brings is replaced.
    virtual void publish(TopicKey topic, std::vector<Dictionary> payloads, PublishCompletion completion) = 0;

    /// As publish(), for a publication that may come again, through whichever service of this broker: one whose id was
    /// taken lately adds nothing, and completes as one that was accepted.
    ///
    /// A service knows itself what it was asked for twice. A broker whose messages no other service sees, and which
    /// does not outlive its own, therefore need not look at the id.
    virtual void publishOnce(const std::string& id, TopicKey topic, std::vector<Dictionary> payloads,
                             PublishCompletion completion);

    /// Subscribes to a topic: what it holds later than `since` comes first, marked as replayed, then what is published
    /// from then on, with neither gap nor repetition between the two.
    ///
    /// \param since  the "updatedAt" of the newest message that the subscriber has, in seconds since 1970. None, that
    /// is
    ///               0 or less, replays the topic's present life alone: a subscriber that never saw the topic does not
    ///               want to hear that it ended once.
    /// \return a number for cancel().
    virtual std::int64_t subscribe(TopicKey topic, double since, std::shared_ptr<BrokerReceiver> receiver) = 0;

    /// Ends a subscription and drops its receiver. An unknown number is accepted.
    virtual void cancel(std::int64_t subscription) = 0;

    /// How the broker is. Any thread; returns at once. A broker that depends on nothing outside is always healthy.
    [[nodiscard]] virtual BrokerStatus status() const { return {true, "in this process"}; }

    /// Ends a topic with a last message: publishes `payload` with "isTerminating" set to true. Its history is kept, so
    /// that whoever subscribes afterwards gets it and hears of the end.
    void end(TopicKey topic, Dictionary payload, PublishCompletion completion);
};

} // namespace vexa::host
