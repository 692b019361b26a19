#include <host/broker/nats/NatsBrokerCore.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace vexa::host {

namespace {

/// How often times are checked; half of it is what a time limit is late by on average.
constexpr TimerSchedule checks{0.05, 0.05, 0.01};
constexpr double pauseAfterFailure = 0.25;
constexpr double pauseBetweenProbes = 2;
constexpr double pauseBetweenForgettings = 1;

std::string hexadecimal(std::uint64_t number)
{
    constexpr int base = 16;
    std::array<char, base> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), number, base);
    return {digits.data(), written.ptr};
}

ServiceError stopped()
{
    return {"BrokerStopped", "The message broker's client was stopped"};
}

} // namespace

NatsBrokerCore::NatsBrokerCore(NatsBrokerOptions options, Platform& platform)
    : options_{std::move(options)},
      platform_{platform},
      queue_{platform.makeQueue("vexanats")},
      id_{hexadecimal(platform.randomBits()) + hexadecimal(platform.randomBits())},
      jetStream_{options_, joined({"_INBOX.", id_, "."}), platform},
      keeper_{std::make_shared<StreamKeeper>(jetStream_, options_)},
      services_{options_, platform_, jetStream_, counters_, id_ + '-'}
{
    constexpr std::size_t usualLargestMessage = std::size_t{1024} * 1024;
    services_.largestRecord = usualLargestMessage;
}

void NatsBrokerCore::start()
{
    queue_->async([self = shared_from_this()] {
        self->timer_ = self->queue_->startTimer(checks, [weak = self->weak_from_this()] {
            if (const auto living = weak.lock()) {
                living->checkTimes();
            }
        });
        self->checkTimes();
    });
}

void NatsBrokerCore::publish(std::string id, TopicKey topic, std::vector<Dictionary> payloads,
                             PublishCompletion completion)
{
    queue_->async([self = shared_from_this(), id = std::move(id), topic = std::move(topic),
                   payloads = std::move(payloads), completion = std::move(completion)] {
        if (!self->isStopped_) {
            self->topicFor(topic).publish(id, payloads, completion);
        } else if (completion) {
            callHost(self->platform_, "the completion of a publication", [&] { completion({0, stopped()}); });
        }
    });
}

std::int64_t NatsBrokerCore::subscribe(TopicKey topic, double since, std::shared_ptr<BrokerReceiver> receiver)
{
    const std::int64_t subscription = ++lastSubscription_;
    queue_->async([self = shared_from_this(), topic = std::move(topic), since, subscription,
                   receiver = std::move(receiver)]() mutable {
        if (self->isStopped_) {
            callHost(self->platform_, "a receiver of the broker", [&] { receiver->refused(stopped()); });
            return;
        }
        NatsTopic& found = self->topicFor(topic);
        self->topicOfSubscription_.emplace(subscription, &found);
        found.subscribe(subscription, since, std::move(receiver));
    });
    return subscription;
}

void NatsBrokerCore::cancel(std::int64_t subscription)
{
    queue_->async([self = shared_from_this(), subscription] {
        const auto found = self->topicOfSubscription_.find(subscription);
        if (found != self->topicOfSubscription_.end()) {
            found->second->cancel(subscription);
            self->topicOfSubscription_.erase(found);
        }
    });
}

BrokerStatus NatsBrokerCore::status() const
{
    const std::lock_guard lock{statusMutex_};
    return status_;
}

void NatsBrokerCore::setStatus(bool isHealthy, std::string text)
{
    const std::lock_guard lock{statusMutex_};
    status_ = {isHealthy, std::move(text)};
}

NatsBrokerFigures NatsBrokerCore::figures() const
{
    NatsBrokerFigures figures;
    figures.connects = counters_.connects;
    figures.recordsStored = counters_.recordsStored;
    figures.payloadsStored = counters_.payloadsStored;
    figures.repeatedRecords = counters_.repeatedRecords;
    figures.duplicateAnswers = counters_.duplicateAnswers;
    figures.recordsReceived = counters_.recordsReceived;
    figures.feedsOpened = counters_.feedsOpened;
    figures.historyReads = counters_.historyReads;
    figures.topics = counters_.topics;
    figures.gaps = counters_.gaps;
    return figures;
}

void NatsBrokerCore::stop()
{
    if (queue_->isCurrent()) {
        // A completion or a receiver asks for it: what called it has to be left first.
        queue_->async([self = shared_from_this()] { self->stopOnQueue(); });
    } else {
        queue_->sync([this] { stopOnQueue(); });
    }
}

void NatsBrokerCore::stopOnQueue()
{
    if (std::exchange(isStopped_, true)) {
        return;
    }
    if (timer_ != nullptr) {
        timer_->cancel();
        timer_.reset();
    }
    services_.isReady = false;
    topicOfSubscription_.clear();
    for (const auto& [subject, topic] : topics_) {
        topic->giveUp();
    }
    for (auto& feed : feeds_) {
        feed.reset();
    }
    jetStream_.useLink(nullptr);
    topics_.clear();
    link_.reset();
    setStatus(false, "stopped");
}

void NatsBrokerCore::connect()
{
    nextConnect_ = platform_.monotonicNow() + options_.connectTimeLimit;
    link_ = std::make_unique<NatsLink>(joined({"_INBOX.", id_, "."}), platform_, queue_, weak_from_this());
    if (auto failure = link_->connect(options_)) {
        link_.reset();
        setStatus(false, "cannot connect to NATS: " + *failure);
    }
}

void NatsBrokerCore::linkOpened()
{
    if (isStopped_) {
        return;
    }
    counters_.connects += 1;
    isConnected_ = true;
    if (const std::size_t bytes = link_->largestMessage(); bytes > 0) {
        services_.largestRecord = bytes;
    }
    setStatus(false, joined({"connected to ", link_->server(), ", looking for the stream ", options_.stream}));
    jetStream_.useLink(link_.get());
    nextFind_ = 0;
    findStream();
}

void NatsBrokerCore::linkLost(std::string reason)
{
    if (isStopped_) {
        return;
    }
    if (isConnected_) {
        platform_.log(joined({"The connection to NATS is lost: ", reason}));
    }
    isConnected_ = false;
    services_.isReady = false;
    jetStream_.useLink(nullptr);
    setStatus(false, "not connected to NATS: " + reason);
}

void NatsBrokerCore::linkFailed(std::string reason)
{
    linkLost(std::move(reason));
    link_.reset();
}

void NatsBrokerCore::messageArrived(std::int64_t inbox, NatsMessagePointer message)
{
    if (!isStopped_) {
        jetStream_.arrived(inbox, *message);
    }
}

void NatsBrokerCore::findStream()
{
    const double now = platform_.monotonicNow();
    if (!isConnected_ || isFindingStream_ || now < nextFind_) {
        return;
    }
    isFindingStream_ = true;
    keeper_->find(
        [this, known = highestSequence_](const std::optional<StreamKeeper::Stream>& stream, const std::string& reason) {
            isFindingStream_ = false;
            if (stream) {
                useStream(*stream, known);
            } else {
                services_.isReady = false;
                nextFind_ = platform_.monotonicNow() + pauseAfterFailure;
                setStatus(false, joined({"the stream ", options_.stream, " cannot be used: ", reason}));
            }
        });
}

void NatsBrokerCore::useStream(const StreamKeeper::Stream& stream, std::uint64_t knownSequence)
{
    // A leader may be slower than another server of the cluster for a moment, so that one answer proves nothing.
    constexpr int answersInDoubt = 1;
    shorterAnswers_ = stream.lastSequence < knownSequence ? shorterAnswers_ + 1 : 0;
    nextFind_ = platform_.monotonicNow() + (shorterAnswers_ > 0 ? pauseAfterFailure : pauseBetweenProbes);
    if (stream.isReplaced || shorterAnswers_ > answersInDoubt) {
        streamReplaced();
    }
    highestSequence_ = std::max(highestSequence_, stream.lastSequence);
    services_.isReady = true;
    setStatus(true, joined({"connected to ", link_->server(), ", stream ", options_.stream}));
    openFeeds();
    for (const auto& feed : feeds_) {
        if (feed != nullptr) {
            feed->compare(stream.lastSequence);
        }
    }
}

void NatsBrokerCore::checkTimes()
{
    if (isStopped_) {
        return;
    }
    if (link_ == nullptr && platform_.monotonicNow() >= nextConnect_) {
        connect();
    }
    jetStream_.checkTimes();
    findStream();
    openFeeds();
    for (const auto& [subject, topic] : topics_) {
        topic->checkTimes();
    }
    if (platform_.monotonicNow() >= nextForgetting_) {
        forgetIdleTopics();
    }
}

void NatsBrokerCore::openFeeds()
{
    if (!services_.isReady) {
        return;
    }
    for (const auto& feed : feeds_) {
        if (feed != nullptr) {
            feed->open();
        }
    }
}

void NatsBrokerCore::feedOpened(std::size_t group)
{
    for (const auto& [subject, topic] : topics_) {
        if (groupOfSubject(subject) == group) {
            topic->feedOpened();
        }
    }
}

void NatsBrokerCore::feedDelivered(const StoredMessage& message)
{
    counters_.recordsReceived += 1;
    highestSequence_ = std::max(highestSequence_, message.sequence);
    const auto found = topics_.find(std::string{message.subject});
    if (found != topics_.end()) {
        found->second->arrived(message);
    }
}

void NatsBrokerCore::streamReplaced()
{
    platform_.log(joined({"The stream ", options_.stream, " was made anew, or has lost its newest messages"}));
    highestSequence_ = 0;
    shorterAnswers_ = 0;
    for (const auto& feed : feeds_) {
        if (feed != nullptr) {
            feed->streamReplaced();
        }
    }
    for (const auto& [subject, topic] : topics_) {
        topic->streamReplaced();
    }
}

NatsTopic& NatsBrokerCore::topicFor(const TopicKey& key)
{
    std::string subject = topicSubject(options_.stream, key);
    auto& topic = topics_[subject];
    if (topic != nullptr) {
        return *topic;
    }
    counters_.topics = topics_.size();
    const std::size_t group = groupOfSubject(subject);
    topic = std::make_shared<NatsTopic>(services_, key, std::move(subject));
    auto& feed = feeds_.at(group);
    if (feed == nullptr) {
        feed = std::make_unique<GroupFeed>(jetStream_, *keeper_, options_, platform_, counters_, group, *this);
        openFeeds();
    } else if (feed->hasOpened()) {
        topic->feedOpened();
    }
    return *topic;
}

void NatsBrokerCore::forgetIdleTopics()
{
    nextForgetting_ = platform_.monotonicNow() + pauseBetweenForgettings;
    std::array<bool, topicGroups> isUsed{};
    for (auto each = topics_.begin(); each != topics_.end();) {
        if (each->second->isIdleFor(options_.topicIdleTime)) {
            each = topics_.erase(each);
        } else {
            isUsed.at(groupOfSubject(each->first)) = true;
            ++each;
        }
    }
    counters_.topics = topics_.size();
    for (std::size_t group = 0; group < topicGroups; ++group) {
        if (!isUsed.at(group)) {
            feeds_.at(group).reset();
        }
    }
}

} // namespace vexa::host
