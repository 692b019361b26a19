#include <host/broker/nats/NatsTopic.hpp>
#include <host/broker/nats/RecordText.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <limits>
#include <utility>

namespace vexa::host {

namespace {

constexpr double pauseAfterFailure = 0.25;

} // namespace

NatsTopic::NatsTopic(TopicServices& services, const TopicKey& key, std::string subject)
    : services_{services},
      topic_{key.text()},
      subject_{std::move(subject)},
      lastUse_{services.platform.monotonicNow()},
      outbox_{std::make_shared<TopicOutbox>(services, topic_, subject_, [this] { sendNext(); })}
{}

void NatsTopic::publish(const std::string& id, const std::vector<Dictionary>& payloads, PublishCompletion completion)
{
    lastUse_ = services_.platform.monotonicNow();
    outbox_->add(id, payloads, std::move(completion));
    sendNext();
}

void NatsTopic::subscribe(std::int64_t subscription, double since, std::shared_ptr<BrokerReceiver> receiver)
{
    lastUse_ = services_.platform.monotonicNow();
    newcomers_.emplace(subscription, Newcomer{std::move(receiver), since, false, std::nullopt});
    serveNewcomers();
}

void NatsTopic::cancel(std::int64_t subscription)
{
    lastUse_ = services_.platform.monotonicNow();
    newcomers_.erase(subscription);
    receivers_.erase(subscription);
}

void NatsTopic::feedOpened()
{
    isFeedOpen_ = true;
    if (phase_ == Phase::waitingForFeed) {
        readHead();
    }
}

void NatsTopic::readHead()
{
    if (services_.platform.monotonicNow() < pausedUntil_) {
        return;
    }
    phase_ = Phase::readingHead;
    headReader_ = std::make_shared<HeadReader>(
        services_.jetStream, subject_, [this, present = withoutHorizon()](std::optional<HeadReader::Head> head) {
            useHead(std::move(head), present);
        });
    headReader_->start();
}

void NatsTopic::useHead(std::optional<HeadReader::Head> head, const std::vector<std::int64_t>& present)
{
    headReader_.reset();
    if (!head) {
        phase_ = Phase::waitingForFeed;
        early_.clear();
        pausedUntil_ = services_.platform.monotonicNow() + pauseAfterFailure;
        return;
    }
    window_ = TopicWindow{head->base};
    for (TopicBatch& batch : head->batches) {
        window_.append(std::move(batch));
    }
    phase_ = Phase::following;
    setHorizon(present, window_.state().sequence);
    std::vector<TopicRecord> early = std::exchange(early_, {});
    for (TopicRecord& record : early) {
        if (phase_ == Phase::following) {
            take(std::move(record));
        }
    }
    serveNewcomers();
    sendNext();
}

void NatsTopic::arrived(const StoredMessage& message)
{
    if (phase_ == Phase::waitingForFeed ||
        (phase_ == Phase::following && message.sequence <= window_.state().sequence)) {
        return;
    }
    auto record = readRecord(message.text, message.sequence);
    if (!record) {
        services_.platform.log(joined({"A message of the stream on ", subject_, " is no record and was skipped"}));
        record = TopicRecord{message.sequence, 0, {}, {}};
    }
    if (phase_ == Phase::readingHead) {
        early_.push_back(std::move(*record));
    } else {
        take(std::move(*record));
        serveNewcomers();
        sendNext();
    }
}

void NatsTopic::take(TopicRecord record)
{
    const TopicState& state = window_.state();
    if (record.sequence <= state.sequence) {
        return;
    }
    if (record.base.sequence > state.sequence) {
        // Its publisher saw a record that never came here.
        services_.counters.gaps += 1;
        loseTrack();
        return;
    }
    TopicBatch batch = placed(std::move(record), state);
    std::vector<Delivery> deliveries;
    deliveries.reserve(batch.payloads.size());
    for (const Message& payload : batch.payloads) {
        deliveries.push_back({payload, false});
    }
    window_.append(std::move(batch));
    if (!deliveries.empty()) {
        for (const auto& [subscription, receiver] : receivers_) {
            callHost(services_.platform, "a receiver of the broker", [&] { receiver->received(deliveries); });
        }
    }
    trim();
}

void NatsTopic::loseTrack()
{
    const double last = secondsOf(window_.state().lastMicrosecond);
    auto receivers = std::exchange(receivers_, {});
    for (auto& [subscription, receiver] : receivers) {
        newcomers_.emplace(subscription, Newcomer{std::move(receiver), last, true, 0});
    }
    historyReader_.reset();
    headReader_.reset();
    early_.clear();
    phase_ = Phase::waitingForFeed;
    if (isFeedOpen_) {
        readHead();
    }
}

void NatsTopic::streamReplaced()
{
    isFeedOpen_ = false;
    loseTrack();
    for (auto& [subscription, newcomer] : newcomers_) {
        if (!newcomer.isStanding) {
            newcomer.horizon.reset();
        }
    }
}

double NatsTopic::startOf(const Newcomer& newcomer) const
{
    return newcomer.isStanding || newcomer.since > 0 ? newcomer.since : secondsOf(window_.state().formerLivesUntil);
}

double NatsTopic::oldestKept() const
{
    const auto& maximumAge = services_.options.retention.maximumAge;
    return maximumAge ? services_.platform.now() - *maximumAge : 0;
}

void NatsTopic::serveNewcomers()
{
    if (phase_ != Phase::following || newcomers_.empty()) {
        return;
    }
    double furthest = std::numeric_limits<double>::infinity();
    for (auto each = newcomers_.begin(); each != newcomers_.end();) {
        const double start = startOf(each->second);
        if (!each->second.horizon || *each->second.horizon > window_.state().sequence) {
            ++each;
        } else if (window_.reaches(start)) {
            auto served = newcomers_.extract(each++);
            serve(served.key(), std::move(served.mapped()));
        } else {
            furthest = std::min(furthest, start);
            ++each;
        }
    }
    if (newcomers_.empty()) {
        trim();
    } else if (furthest < std::numeric_limits<double>::infinity()) {
        readHistory(furthest);
    }
    readHorizon();
}

void NatsTopic::readHorizon()
{
    if (isReadingHorizon_ || !services_.isReady) {
        return;
    }
    std::vector<std::int64_t> present = withoutHorizon();
    if (present.empty()) {
        return;
    }
    isReadingHorizon_ = true;
    services_.jetStream.readLast(
        subject_, [weak = weak_from_this(), present = std::move(present)](const std::optional<StoredMessage>& message,
                                                                          const std::optional<JetStreamError>& error) {
            const auto self = weak.lock();
            if (self == nullptr) {
                return;
            }
            self->isReadingHorizon_ = false;
            if (!error) {
                self->setHorizon(present, message ? message->sequence : 0);
                self->serveNewcomers();
            }
        });
}

std::vector<std::int64_t> NatsTopic::withoutHorizon() const
{
    std::vector<std::int64_t> subscriptions;
    for (const auto& [subscription, newcomer] : newcomers_) {
        if (!newcomer.horizon) {
            subscriptions.push_back(subscription);
        }
    }
    return subscriptions;
}

void NatsTopic::setHorizon(const std::vector<std::int64_t>& subscriptions, std::uint64_t horizon)
{
    for (const std::int64_t subscription : subscriptions) {
        const auto found = newcomers_.find(subscription);
        if (found != newcomers_.end() && !found->second.horizon) {
            found->second.horizon = horizon;
        }
    }
}

void NatsTopic::serve(std::int64_t subscription, Newcomer newcomer)
{
    auto deliveries = window_.later(startOf(newcomer), oldestKept(), !newcomer.isStanding);
    callHost(services_.platform, "a receiver of the broker", [&] {
        if (!newcomer.isStanding) {
            newcomer.receiver->subscribed();
        }
        if (!deliveries.empty()) {
            newcomer.receiver->received(std::move(deliveries));
        }
    });
    receivers_.emplace(subscription, std::move(newcomer.receiver));
}

void NatsTopic::readHistory(double after)
{
    if (historyReader_ != nullptr || services_.platform.monotonicNow() < pausedUntil_) {
        return;
    }
    services_.counters.historyReads += 1;
    historyReader_ = std::make_shared<HistoryReader>(
        services_.jetStream, subject_, after, window_.base().sequence,
        [this](std::optional<HistoryReader::History> history) { useHistory(std::move(history)); });
    historyReader_->start();
}

void NatsTopic::useHistory(std::optional<HistoryReader::History> history)
{
    historyReader_.reset();
    if (!history) {
        pausedUntil_ = services_.platform.monotonicNow() + pauseAfterFailure;
        return;
    }
    window_.prepend(history->base, history->isOldest, std::move(history->batches));
    serveNewcomers();
}

void NatsTopic::trim()
{
    // A history that is being read has to fit to where the window begins.
    if (historyReader_ != nullptr) {
        return;
    }
    window_.dropWhatTheStreamDrops(static_cast<std::size_t>(services_.options.retention.recordsPerTopic));
    if (newcomers_.empty()) {
        window_.dropDownTo(services_.options.cachedPayloadsPerTopic);
    }
}

void NatsTopic::sendNext()
{
    if (phase_ == Phase::following && services_.isReady) {
        outbox_->sendNext(window_.state());
    }
}

void NatsTopic::checkTimes()
{
    outbox_->checkTimes();
    sendNext();
    if (historyReader_ != nullptr) {
        historyReader_->checkTimes(services_.platform.monotonicNow());
    }
    if (isFeedOpen_ && phase_ == Phase::waitingForFeed) {
        readHead();
    }
    serveNewcomers();
}

void NatsTopic::giveUp()
{
    outbox_->giveUp();
    newcomers_.clear();
    receivers_.clear();
    headReader_.reset();
    historyReader_.reset();
}

bool NatsTopic::isIdleFor(double seconds) const
{
    return receivers_.empty() && newcomers_.empty() && outbox_->isEmpty() && headReader_ == nullptr &&
           historyReader_ == nullptr && services_.platform.monotonicNow() - lastUse_ > seconds;
}

} // namespace vexa::host
