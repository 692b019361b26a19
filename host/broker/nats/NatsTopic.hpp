#pragma once

#include <host/broker/Broker.hpp>
#include <host/broker/nats/HeadReader.hpp>
#include <host/broker/nats/HistoryReader.hpp>
#include <host/broker/nats/TopicOutbox.hpp>
#include <host/broker/nats/TopicServices.hpp>
#include <host/broker/nats/TopicWindow.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {

/// One topic as this process uses it: its newest records, its subscribers, what is published on it. On the broker's
/// queue.
///
/// The topic follows the feed of its group. Once the feed is open, the topic reads its head from the stream; from then
/// on it sees every record in the stream's order, and subscribers join between two records, so that what they are
/// replayed and what comes live meet without gap or repetition.
class NatsTopic final : public std::enable_shared_from_this<NatsTopic> {
public:
    NatsTopic(TopicServices& services, const TopicKey& key, std::string subject);

    /// \param id  by which JetStream knows a repetition; empty for none
    void publish(const std::string& id, const std::vector<Dictionary>& payloads, PublishCompletion completion);
    void subscribe(std::int64_t subscription, double since, std::shared_ptr<BrokerReceiver> receiver);
    void cancel(std::int64_t subscription);

    /// The feed of the topic's group brings all records from now on.
    void feedOpened();

    /// A record from the feed.
    void arrived(const StoredMessage& message);

    /// The stream is another one than before, with sequences of its own.
    void streamReplaced();

    /// To be called several times a second.
    void checkTimes();

    /// Completes publications with an error and drops the receivers.
    void giveUp();

    /// Whether nothing was done with the topic for so many seconds.
    [[nodiscard]] bool isIdleFor(double seconds) const;

private:
    enum class Phase {
        waitingForFeed,
        readingHead, ///< what the feed brings is kept until the head is known
        following
    };

    struct Newcomer {
        std::shared_ptr<BrokerReceiver> receiver;
        double since;
        bool isStanding; ///< whether it was served before, and `since` is where that ended

        /// The newest record of the topic at some moment after the subscriber came. What was stored before that is
        /// replayed, by whichever process; none until it is known.
        std::optional<std::uint64_t> horizon;
    };

    void readHead();
    void useHead(std::optional<HeadReader::Head> head, const std::vector<std::int64_t>& present);
    void take(TopicRecord record);
    void loseTrack();
    void serveNewcomers();
    void serve(std::int64_t subscription, Newcomer newcomer);
    void readHorizon();
    [[nodiscard]] std::vector<std::int64_t> withoutHorizon() const;
    void setHorizon(const std::vector<std::int64_t>& subscriptions, std::uint64_t horizon);
    void readHistory(double after);
    void useHistory(std::optional<HistoryReader::History> history);
    void trim();
    void sendNext();
    [[nodiscard]] double startOf(const Newcomer& newcomer) const;
    [[nodiscard]] double oldestKept() const;

    TopicServices& services_;
    const std::string topic_;
    const std::string subject_;
    Phase phase_ = Phase::waitingForFeed;
    bool isFeedOpen_ = false;
    double pausedUntil_ = 0; ///< when reading is tried again after a failure, on the monotonic clock
    double lastUse_;

    TopicWindow window_;
    std::vector<TopicRecord> early_; ///< what the feed brought before the head was known
    std::shared_ptr<HeadReader> headReader_;
    std::shared_ptr<HistoryReader> historyReader_;
    std::shared_ptr<TopicOutbox> outbox_;

    bool isReadingHorizon_ = false;
    std::map<std::int64_t, Newcomer> newcomers_; ///< in the order in which they came
    std::map<std::int64_t, std::shared_ptr<BrokerReceiver>> receivers_;
};

} // namespace vexa::host
