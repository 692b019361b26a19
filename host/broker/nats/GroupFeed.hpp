#pragma once

#include <host/broker/nats/JetStream.hpp>
#include <host/broker/nats/StreamKeeper.hpp>
#include <host/broker/nats/TopicServices.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace vexa::host {

/// What hears a feed.
class GroupFeedListener {
public:
    virtual ~GroupFeedListener() = default;

    /// Every record comes that is stored from now on. Called once for each feed, and again after the stream was
    /// replaced.
    virtual void feedOpened(std::size_t group) = 0;

    virtual void feedDelivered(const StoredMessage& message) = 0;

    /// The stream was found to be another one than before.
    virtual void streamReplaced() = 0;
};

/// All records of a group of topics, each once and in the stream's order, whatever becomes of the connections: the feed
/// knows the sequence that it has come to.
///
/// A consumer brings the records, and one that was lost is followed by another that goes on from there. That may take
/// the servers many seconds when they have lost one of them, so as long as there is no consumer the feed asks for one
/// record after the other. For that the stream needs a leader and nothing else.
class GroupFeed final : public JetStreamConsumer {
public:
    GroupFeed(JetStream& jetStream, StreamKeeper& keeper, const NatsBrokerOptions& options, Platform& platform,
              NatsCounters& counters, std::size_t group, GroupFeedListener& listener);
    ~GroupFeed() override;

    GroupFeed(const GroupFeed&) = delete;
    GroupFeed& operator=(const GroupFeed&) = delete;

    /// Opens the feed, and does what is due to keep it so. To be called several times a second while there is a stream.
    void open();

    /// Makes sure that the consumer is not behind a stream that ended with `lastSequence` a moment ago, as one is that
    /// sits on a server which does not get on. To be called from time to time.
    void compare(std::uint64_t lastSequence);

    /// The feed begins anew where the stream that is there now ends.
    void streamReplaced();

    /// Whether feedOpened() was called.
    [[nodiscard]] bool hasOpened() const noexcept { return hasOpened_; }

    void consumerOpened(std::uint64_t behind) override;
    void delivered(const StoredMessage& message) override;
    void consumerLost(const std::string& reason) override;

private:
    void findPosition();
    void readOn();

    JetStream& jetStream_;
    StreamKeeper& keeper_;
    Platform& platform_;
    NatsCounters& counters_;
    const std::string subjects_;
    const std::size_t group_;
    GroupFeedListener& listener_;

    bool hasOpened_ = false;
    bool isFinding_ = false;
    bool isReading_ = false;
    bool isComparing_ = false;
    double nextFind_ = 0; ///< on the monotonic clock, as the two below
    double nextConsumer_ = 0;
    double nextRead_ = 0;
    std::optional<std::uint64_t> position_; ///< the sequence up to which everything has come, or is not wanted
    std::uint64_t comparedPosition_ = 0;    ///< where the feed was when compare() was called last
    std::uint64_t comparedUpTo_ = 0;        ///< up to where the stream holds nothing that did not come
    std::int64_t consumer_ = 0;
    bool isConsumerOpen_ = false;
    std::shared_ptr<GroupFeed*> self_; ///< another one for each stream, for answers that come too late
};

} // namespace vexa::host
