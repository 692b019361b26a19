#include <host/broker/nats/HistoryReader.hpp>
#include <host/broker/nats/RecordText.hpp>

#include <utility>

namespace vexa::host {

namespace {

/// Reading on costs less than another step of the bisection when only so many sequences are left.
constexpr std::uint64_t smallRange = 64;

/// A consumer costs the servers more than this many reads.
constexpr std::size_t fewRecords = 32;

} // namespace

HistoryReader::HistoryReader(JetStream& jetStream, std::string subject, double after, std::uint64_t until,
                             Handler handler)
    : jetStream_{jetStream}, subject_{std::move(subject)}, after_{after}, until_{until}, handler_{std::move(handler)}
{}

HistoryReader::~HistoryReader()
{
    jetStream_.closeConsumer(consumer_);
}

void HistoryReader::start()
{
    probe(1, &HistoryReader::useOldest);
}

void HistoryReader::probe(std::uint64_t from,
                          void (HistoryReader::*use)(std::uint64_t from, const std::optional<TopicRecord>& record))
{
    jetStream_.readNext(subject_, from,
                        [weak = weak_from_this(), from, use](const std::optional<StoredMessage>& message,
                                                             const std::optional<JetStreamError>& error) {
                            const auto self = weak.lock();
                            if (self == nullptr) {
                                return;
                            }
                            if (error) {
                                self->finish(std::nullopt);
                                return;
                            }
                            std::optional<TopicRecord> record;
                            if (message && message->sequence <= self->until_) {
                                record = readRecord(message->text, message->sequence);
                            }
                            ((*self).*use)(from, record);
                        });
}

void HistoryReader::useOldest(std::uint64_t /*from*/, const std::optional<TopicRecord>& record)
{
    history_.isOldest = true;
    if (!record) {
        history_.base.sequence = until_;
        finish(std::move(history_));
        return;
    }
    history_.base = startBefore(*record);
    lowest_ = record->sequence + 1;
    highest_ = until_;
    bisect();
}

void HistoryReader::bisect()
{
    const bool isEverythingWanted = after_ < secondsOf(history_.base.lastMicrosecond) || after_ <= 0;
    if (isEverythingWanted || highest_ < lowest_ + smallRange) {
        state_ = history_.base;
        readOn();
        return;
    }
    probe(lowest_ + (highest_ - lowest_) / 2, &HistoryReader::useMiddle);
}

void HistoryReader::useMiddle(std::uint64_t from, const std::optional<TopicRecord>& record)
{
    if (record && secondsOf(record->base.lastMicrosecond) <= after_) {
        lowest_ = record->sequence + 1;
        if (record->base.sequence > history_.base.sequence) {
            history_.base = record->base;
            history_.isOldest = false;
        }
    } else {
        highest_ = from - 1;
    }
    bisect();
}

void HistoryReader::readOn()
{
    if (isReading_) {
        return;
    }
    isReading_ = true;
    jetStream_.readNext(subject_, state_.sequence + 1,
                        [weak = weak_from_this()](const std::optional<StoredMessage>& message,
                                                  const std::optional<JetStreamError>& error) {
                            const auto self = weak.lock();
                            if (self == nullptr || self->handler_ == nullptr) {
                                return;
                            }
                            self->isReading_ = false;
                            if (error) {
                                self->finish(std::nullopt);
                                return;
                            }
                            if (!message || message->sequence >= self->until_) {
                                if (message) {
                                    self->take(*message);
                                }
                                self->finish(std::move(self->history_));
                                return;
                            }
                            self->take(*message);
                            self->readOneByOne_ += 1;
                            if (self->consumer_ == 0 && self->readOneByOne_ >= fewRecords) {
                                self->consumer_ =
                                    self->jetStream_.openConsumer(self->subject_, self->state_.sequence + 1, *self);
                            }
                            if (!self->isConsumerOpen_) {
                                self->readOn();
                            }
                        });
}

void HistoryReader::take(const StoredMessage& message)
{
    if (message.sequence <= state_.sequence || message.sequence > until_) {
        return;
    }
    history_.batches.push_back(placed(recordOrNothing(message.text, message.sequence), state_));
    state_ = history_.batches.back().after;
}

void HistoryReader::checkTimes(double now)
{
    constexpr double longestSilence = 1;
    if (!isConsumerOpen_ || std::exchange(checkedSequence_, state_.sequence) != state_.sequence) {
        checkedAt_ = now;
    } else if (now - checkedAt_ > longestSilence) {
        jetStream_.closeConsumer(consumer_);
        consumerLost("it brings nothing");
    }
}

void HistoryReader::consumerOpened(std::uint64_t behind)
{
    if (behind > 0) {
        isConsumerOpen_ = true;
    }
}

void HistoryReader::delivered(const StoredMessage& message)
{
    take(message);
    if (message.sequence >= until_) {
        finish(std::move(history_));
    } else if (message.behind == 0) {
        jetStream_.closeConsumer(consumer_);
        consumerLost("it has nothing more");
    }
}

void HistoryReader::consumerLost(const std::string& /*reason*/)
{
    consumer_ = 0;
    isConsumerOpen_ = false;
    readOneByOne_ = 0;
    readOn();
}

void HistoryReader::finish(std::optional<History> history)
{
    jetStream_.closeConsumer(consumer_);
    // The handler may drop this reader.
    const Handler handler = std::exchange(handler_, nullptr);
    if (handler) {
        handler(std::move(history));
    }
}

} // namespace vexa::host
