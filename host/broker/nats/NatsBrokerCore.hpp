#pragma once

#include <host/broker/nats/GroupFeed.hpp>
#include <host/broker/nats/JetStream.hpp>
#include <host/broker/nats/NatsBroker.hpp>
#include <host/broker/nats/NatsLink.hpp>
#include <host/broker/nats/NatsTopic.hpp>
#include <host/broker/nats/StreamKeeper.hpp>
#include <host/broker/nats/TopicServices.hpp>
#include <host/broker/nats/TopicSubject.hpp>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace vexa::host {

/// What a NatsBroker does, on its queue. Operations named after those of the broker may be called on any thread.
class NatsBrokerCore final : public NatsLinkListener,
                             public GroupFeedListener,
                             public std::enable_shared_from_this<NatsBrokerCore> {
public:
    NatsBrokerCore(NatsBrokerOptions options, Platform& platform);

    /// To be called once, when a shared pointer owns the core.
    void start();

    /// \param id  by which JetStream knows a repetition; empty for none
    void publish(std::string id, TopicKey topic, std::vector<Dictionary> payloads, PublishCompletion completion);
    [[nodiscard]] std::int64_t subscribe(TopicKey topic, double since, std::shared_ptr<BrokerReceiver> receiver);
    void cancel(std::int64_t subscription);
    [[nodiscard]] BrokerStatus status() const;
    [[nodiscard]] NatsBrokerFigures figures() const;
    void stop();

    void linkOpened() override;
    void linkLost(std::string reason) override;
    void linkFailed(std::string reason) override;
    void messageArrived(std::int64_t inbox, NatsMessagePointer message) override;

    void feedOpened(std::size_t group) override;
    void feedDelivered(const StoredMessage& message) override;
    void streamReplaced() override;

private:
    void connect();
    void findStream();
    void useStream(const StreamKeeper::Stream& stream, std::uint64_t knownSequence);
    void checkTimes();
    void openFeeds();
    void forgetIdleTopics();
    void stopOnQueue();
    void setStatus(bool isHealthy, std::string text);
    [[nodiscard]] NatsTopic& topicFor(const TopicKey& key);

    const NatsBrokerOptions options_;
    Platform& platform_;
    const SerialQueueHandle queue_;
    std::atomic<std::int64_t> lastSubscription_{0};
    NatsCounters counters_;

    mutable std::mutex statusMutex_;
    BrokerStatus status_{false, "not connected to NATS yet"};

    // On the queue.
    const std::string id_; ///< which no other broker has
    std::unique_ptr<NatsLink> link_;
    JetStream jetStream_;
    const std::shared_ptr<StreamKeeper> keeper_;
    TopicServices services_;
    std::shared_ptr<RepeatingTimer> timer_;
    bool isConnected_ = false;
    bool isStopped_ = false;
    bool isFindingStream_ = false;
    int shorterAnswers_ = 0;            ///< how many times in a row the stream ended before what was seen of it
    std::uint64_t highestSequence_ = 0; ///< that was seen of the stream
    double nextFind_ = 0;               ///< on the monotonic clock
    double nextConnect_ = 0;
    double nextForgetting_ = 0;
    std::unordered_map<std::string, std::shared_ptr<NatsTopic>> topics_; ///< by subject
    std::unordered_map<std::int64_t, NatsTopic*> topicOfSubscription_;
    std::array<std::unique_ptr<GroupFeed>, topicGroups> feeds_;
};

} // namespace vexa::host
