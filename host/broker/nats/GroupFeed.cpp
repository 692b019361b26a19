#include <host/broker/nats/GroupFeed.hpp>
#include <host/broker/nats/TopicSubject.hpp>

#include <algorithm>
#include <utility>

namespace vexa::host {

namespace {

constexpr double pauseAfterFailure = 0.1;
constexpr double pauseBetweenReads = 0.1;

} // namespace

GroupFeed::GroupFeed(JetStream& jetStream, StreamKeeper& keeper, const NatsBrokerOptions& options, Platform& platform,
                     NatsCounters& counters, std::size_t group, GroupFeedListener& listener)
    : jetStream_{jetStream},
      keeper_{keeper},
      platform_{platform},
      counters_{counters},
      subjects_{subjectsOfGroup(options.stream, group)},
      group_{group},
      listener_{listener},
      self_{std::make_shared<GroupFeed*>(this)}
{}

GroupFeed::~GroupFeed()
{
    jetStream_.closeConsumer(consumer_);
}

void GroupFeed::open()
{
    const double now = platform_.monotonicNow();
    if (!position_) {
        if (!isFinding_ && now >= nextFind_) {
            findPosition();
        }
        return;
    }
    if (consumer_ == 0 && now >= nextConsumer_) {
        consumer_ = jetStream_.openConsumer(subjects_, *position_ + 1, *this);
    }
    if (!isConsumerOpen_ && !isReading_ && now >= nextRead_) {
        readOn();
    }
}

void GroupFeed::findPosition()
{
    isFinding_ = true;
    keeper_.find(
        [weak = std::weak_ptr{self_}](const std::optional<StreamKeeper::Stream>& stream, const std::string& /*why*/) {
            const auto living = weak.lock();
            if (living == nullptr) {
                return;
            }
            GroupFeed& self = **living;
            self.isFinding_ = false;
            if (!stream) {
                self.nextFind_ = self.platform_.monotonicNow() + pauseAfterFailure;
            } else if (stream->isReplaced) {
                self.listener_.streamReplaced();
            } else {
                self.position_ = stream->lastSequence;
                self.hasOpened_ = true;
                self.open();
                self.listener_.feedOpened(self.group_);
            }
        });
}

void GroupFeed::readOn()
{
    isReading_ = true;
    jetStream_.readNext(subjects_, *position_ + 1,
                        [weak = std::weak_ptr{self_}](const std::optional<StoredMessage>& message,
                                                      const std::optional<JetStreamError>& /*error*/) {
                            const auto living = weak.lock();
                            if (living == nullptr) {
                                return;
                            }
                            GroupFeed& self = **living;
                            self.isReading_ = false;
                            if (message) {
                                self.delivered(*message);
                                self.open();
                            } else {
                                self.nextRead_ = self.platform_.monotonicNow() + pauseBetweenReads;
                            }
                        });
}

void GroupFeed::compare(std::uint64_t lastSequence)
{
    if (!position_ || !isConsumerOpen_ || isComparing_) {
        return;
    }
    const bool hasMoved = std::exchange(comparedPosition_, *position_) != *position_;
    if (hasMoved || lastSequence <= std::max(*position_, comparedUpTo_)) {
        return;
    }
    isComparing_ = true;
    jetStream_.readNext(subjects_, std::max(*position_, comparedUpTo_) + 1,
                        [weak = std::weak_ptr{self_}, lastSequence](const std::optional<StoredMessage>& message,
                                                                    const std::optional<JetStreamError>& error) {
                            const auto living = weak.lock();
                            if (living == nullptr) {
                                return;
                            }
                            GroupFeed& self = **living;
                            self.isComparing_ = false;
                            if (error) {
                                return;
                            }
                            if (!message || message->sequence > lastSequence) {
                                self.comparedUpTo_ = lastSequence;
                            } else if (message->sequence > *self.position_) {
                                self.jetStream_.closeConsumer(self.consumer_);
                                self.consumerLost("it is behind the stream");
                            }
                        });
}

void GroupFeed::streamReplaced()
{
    jetStream_.closeConsumer(std::exchange(consumer_, 0));
    self_ = std::make_shared<GroupFeed*>(this);
    isConsumerOpen_ = false;
    isFinding_ = false;
    isReading_ = false;
    isComparing_ = false;
    hasOpened_ = false;
    position_.reset();
    comparedUpTo_ = 0;
}

void GroupFeed::consumerOpened(std::uint64_t /*behind*/)
{
    isConsumerOpen_ = true;
    counters_.feedsOpened += 1;
}

void GroupFeed::delivered(const StoredMessage& message)
{
    if (message.sequence > *position_) {
        position_ = message.sequence;
        listener_.feedDelivered(message);
    }
}

void GroupFeed::consumerLost(const std::string& /*reason*/)
{
    consumer_ = 0;
    isConsumerOpen_ = false;
    nextConsumer_ = platform_.monotonicNow() + pauseAfterFailure;
}

} // namespace vexa::host
