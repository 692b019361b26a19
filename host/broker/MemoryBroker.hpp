#pragma once

#include <host/broker/Broker.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <atomic>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

namespace vexa::host {

/// How much a MemoryBroker keeps.
struct MemoryBrokerLimits {
    std::size_t messagesPerTopic = 10'000;           ///< the newest ones are kept
    std::optional<double> maximumAge = std::nullopt; ///< in seconds; none keeps messages however old they are
    std::size_t topics = 100'000; ///< publications and subscriptions that would need more are refused
};

/// A broker within the process. What it keeps dies with it.
///
/// Old messages leave a topic when something is done with it; until then they take memory but are never replayed. A
/// topic itself is kept as long as the broker lives, since its times must go on rising.
class MemoryBroker final : public Broker, public std::enable_shared_from_this<MemoryBroker> {
public:
    [[nodiscard]] static std::shared_ptr<MemoryBroker> make(const MemoryBrokerLimits& limits = {},
                                                            Platform& platform = Platform::system());

    void publish(TopicKey topic, std::vector<Dictionary> payloads, PublishCompletion completion) override;
    std::int64_t subscribe(TopicKey topic, double since, std::shared_ptr<BrokerReceiver> receiver) override;
    void cancel(std::int64_t subscription) override;

private:
    struct Entry {
        Message payload;
        double updatedAt;
        double storedAt; ///< on the monotonic clock
    };

    struct Topic {
        std::deque<Entry> history;
        std::int64_t lastMicrosecond = 0; ///< the time of the newest message
        double formerLivesUntil = 0;      ///< the time of the newest terminating message that others followed
        bool hasEnded = false;
        std::map<std::int64_t, std::shared_ptr<BrokerReceiver>> receivers;
    };

    MemoryBroker(const MemoryBrokerLimits& limits, Platform& platform);

    void publishOnQueue(const TopicKey& key, std::vector<Dictionary> payloads, const PublishCompletion& completion);
    void subscribeOnQueue(const TopicKey& key, double since, std::int64_t subscription,
                          std::shared_ptr<BrokerReceiver> receiver);

    /// The topic, made when there is room for it, else null.
    [[nodiscard]] Topic* topicAt(const TopicKey& key);
    [[nodiscard]] Message store(Topic& topic, Dictionary payload);
    void forgetOld(Topic& topic) const;

    const MemoryBrokerLimits limits_;
    Platform& platform_;
    const SerialQueueHandle queue_;
    std::atomic<std::int64_t> lastSubscription_{0};

    // On the queue.
    std::unordered_map<TopicKey, Topic> topics_;
    std::unordered_map<std::int64_t, Topic*> topicOfSubscription_;
};

} // namespace vexa::host
