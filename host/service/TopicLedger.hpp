#pragma once

#include <host/broker/TopicKey.hpp>
#include <host/service/DelayHistogram.hpp>
#include <host/service/MessageRate.hpp>
#include <host/service/TopicFigures.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace vexa::host {

/// Keeps account of each topic. What happens for every message is a few additions; the topic is looked up only when it
/// is subscribed, published on or reported about. Moments are those of the monotonic clock, in seconds. For one thread
/// at a time.
class TopicLedger {
public:
    /// The account of a topic.
    struct Account {
        std::uint64_t subscribers = 0;
        std::uint64_t published = 0;
        std::uint64_t received = 0;
        std::uint64_t delivered = 0;
        std::uint64_t replayed = 0;
        double newest = 0;        ///< the time of the newest message received, in seconds since 1970
        double lastPublished = 0; ///< when the broker took one, in seconds since 1970
        double lastUsed = 0;
        MessageRate publishedRate;
        MessageRate receivedRate;
        std::unique_ptr<DelayHistogram> delays; ///< null until the first report
        std::uint64_t reportedReplays = 0;
        std::uint64_t failedSubscriptions = 0;
        std::uint64_t timedOutSubscriptions = 0;

        /// `count` new messages have come, the newest at the time `newestTime`.
        void noteReceived(std::size_t count, double newestTime, double now) noexcept
        {
            received += count;
            newest = newestTime;
            lastUsed = now;
            receivedRate.add(count, now);
        }
    };

    /// \param atMost  topics have accounts of their own. When there are more, those make room that have no subscriber
    ///                and have been unused for a minute.
    explicit TopicLedger(std::size_t atMost) noexcept : atMost_{atMost} {}

    /// A topic has one subscriber more. The account stays where it is until subscriptionEnded().
    [[nodiscard]] Account& subscriptionBegan(const TopicKey& topic, double now);
    static void subscriptionEnded(Account& account) noexcept { --account.subscribers; }

    /// The broker took `count` messages at the time `time`, in seconds since 1970.
    void published(const TopicKey& topic, std::size_t count, double time, double now);

    /// Takes what a client's diagnostic record says of topics that have an account; all else in it is left alone.
    void report(const Dictionary& blob);

    /// What each topic has seen, in no order.
    [[nodiscard]] std::vector<TopicFigures> figures(double now) const;

private:
    /// The account of a topic, made when there is none; one that is not reported when there is no room for it.
    [[nodiscard]] Account& account(const TopicKey& topic, double now);
    void makeRoom(double now);

    /// The account that the "topic" of a record names; null when there is none.
    [[nodiscard]] Account* namedIn(const Dictionary& record);
    void reportDelivery(const Dictionary& record);
    void reportSubscription(const Dictionary& record);

    std::size_t atMost_;
    double lastMadeRoom_ = 0;
    std::unordered_map<TopicKey, Account> accounts_;
    Account shared_; ///< of all topics that found no room
};

} // namespace vexa::host
