#include <host/broker/nats/HeadReader.hpp>
#include <host/broker/nats/RecordText.hpp>

#include <utility>

namespace vexa::host {

HeadReader::HeadReader(JetStream& jetStream, std::string subject, Handler handler)
    : jetStream_{jetStream}, subject_{std::move(subject)}, handler_{std::move(handler)}
{}

void HeadReader::start()
{
    jetStream_.readLast(subject_, [weak = weak_from_this()](const std::optional<StoredMessage>& message,
                                                            const std::optional<JetStreamError>& error) {
        const auto self = weak.lock();
        if (self == nullptr) {
            return;
        }
        if (error || !message) {
            self->finish(error ? std::nullopt : std::optional<Head>{Head{}});
            return;
        }
        self->newest_ = message->sequence;
        const auto record = readRecord(message->text, message->sequence);
        // Something that is no record was put there by others; what was before it cannot be known from it.
        self->head_.base = record ? startBefore(*record) : TopicState{message->sequence, 0, 0, false};
        self->state_ = self->head_.base;
        self->readNext();
    });
}

void HeadReader::readNext()
{
    if (state_.sequence >= newest_) {
        finish(std::move(head_));
        return;
    }
    jetStream_.readNext(subject_, state_.sequence + 1,
                        [weak = weak_from_this()](const std::optional<StoredMessage>& message,
                                                  const std::optional<JetStreamError>& error) {
                            const auto self = weak.lock();
                            if (self == nullptr) {
                                return;
                            }
                            if (error || !message) {
                                self->finish(std::nullopt);
                                return;
                            }
                            self->head_.batches.push_back(
                                placed(recordOrNothing(message->text, message->sequence), self->state_));
                            self->state_ = self->head_.batches.back().after;
                            self->readNext();
                        });
}

void HeadReader::finish(std::optional<Head> head)
{
    // The handler may drop this reader.
    const Handler handler = std::exchange(handler_, nullptr);
    handler(std::move(head));
}

} // namespace vexa::host
