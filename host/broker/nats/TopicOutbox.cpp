#include <host/broker/nats/HexadecimalDigest.hpp>
#include <host/broker/nats/RecordText.hpp>
#include <host/broker/nats/TopicOutbox.hpp>
#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace vexa::host {

namespace {

/// Records that are filled with several publications stay well below what a server takes.
constexpr std::size_t comfortableRecord = std::size_t{128} * 1024;

ServiceError unavailable()
{
    return {"BrokerUnavailable", "The message broker cannot be reached; the publication was not stored"};
}

ServiceError unconfirmed()
{
    return {"PublicationUnconfirmed",
            "The message broker did not confirm the publication in time; it may be stored or not"};
}

ServiceError tooLarge(std::size_t most)
{
    return {"PublicationTooLarge", joined({"A publication may hold ", std::to_string(most),
                                           " bytes; publish the payloads in smaller groups"})};
}

ServiceError tooMany()
{
    return {"BrokerOverloaded", "Too many publications wait to be stored"};
}

ServiceError stopped()
{
    return {"BrokerStopped", "The message broker's client was stopped; the publication may be stored or not"};
}

/// JetStream's error for a record that it has got and has not stored yet, from whichever service.
constexpr std::int64_t duplicateInProcess = 10158;

/// Whether JetStream may take the same record later. A leader that has just lost its place refuses with the status
/// alone.
bool isPassing(const JetStreamError& error)
{
    constexpr std::int64_t serviceUnavailable = 503;
    constexpr std::int64_t temporarilyUnavailable = 10008;
    constexpr std::int64_t noLeader = 10009;
    constexpr std::int64_t streamOffline = 10118;
    return error.status == serviceUnavailable || error.code == temporarilyUnavailable || error.code == noLeader ||
           error.code == streamOffline || error.code == duplicateInProcess ||
           error.code == JetStreamError::streamNotFound;
}

/// Whether a refusal leaves open what becomes of the record: it may still be stored.
bool isUndecided(const JetStreamError& error)
{
    return error.code == duplicateInProcess || error.code == 0;
}

/// Whether an answer names the place of the record in the stream. Servers before 2.11 answer 0 for a repetition of one
/// that they have not stored yet, and may never store.
bool hasPlace(const Dictionary& answer)
{
    return doubleAt(answer, "seq").value_or(0) > 0;
}

} // namespace

TopicOutbox::TopicOutbox(TopicServices& services, const std::string& topic, const std::string& subject,
                         std::function<void()> becameFree)
    : services_{services}, topic_{topic}, subject_{subject}, becameFree_{std::move(becameFree)}
{}

void TopicOutbox::add(const std::string& id, const std::vector<Dictionary>& payloads, PublishCompletion completion)
{
    Publication publication{id.empty() ? id : joined({"publication-", hexadecimalDigest(id)}), payloadTexts(payloads),
                            payloads.size(), std::move(completion),
                            services_.platform.monotonicNow() + services_.options.publishTimeLimit};
    const std::size_t overhead = recordOverhead(topic_);
    const std::size_t most = services_.largestRecord > overhead ? services_.largestRecord - overhead : 0;
    services_.waitingPayloads += publication.count;
    if (publication.count == 0) {
        complete(publication, {});
    } else if (services_.waitingPayloads > services_.options.waitingPayloads) {
        complete(publication, {0, tooMany()});
    } else if (publication.payloads.size() > most) {
        complete(publication, {0, tooLarge(most)});
    } else {
        waiting_.push_back(std::move(publication));
    }
}

void TopicOutbox::sendNext(const TopicState& state)
{
    if (record_ || waiting_.empty()) {
        return;
    }
    constexpr double microsecondsPerSecond = 1e6;
    const auto now = static_cast<std::int64_t>(std::floor(services_.platform.now() * microsecondsPerSecond));
    Record record;
    std::string payloads;
    do {
        Publication& next = waiting_.front();
        payloads += payloads.empty() ? "" : ",";
        payloads += std::exchange(next.payloads, {});
        record.publications.push_back(std::move(next));
        waiting_.pop_front();
    } while (!waiting_.empty() && mayJoin(waiting_.front(), record, payloads.size()));
    record.id = record.publications.front().id;
    if (record.id.empty()) {
        record.id = services_.recordIdPrefix + std::to_string(++services_.lastRecordId);
    }
    record.text = recordText(topic_, std::max<std::int64_t>(now, 0), state, payloads);
    record_ = std::move(record);
    send();
}

bool TopicOutbox::mayJoin(const Publication& next, const Record& record, std::size_t size) const
{
    return next.id.empty() && record.publications.front().id.empty() &&
           size + next.payloads.size() <= comfortableRecord;
}

void TopicOutbox::send()
{
    record_->isSent = true;
    services_.jetStream.store(subject_, record_->text, {{"Nats-Msg-Id", record_->id}},
                              [weak = weak_from_this(), id = record_->id](const Dictionary& answer,
                                                                          const std::optional<JetStreamError>& error) {
                                  if (const auto self = weak.lock()) {
                                      self->answered(id, answer, error);
                                  }
                              });
}

void TopicOutbox::answered(const std::string& id, const Dictionary& answer, const std::optional<JetStreamError>& error)
{
    if (!record_ || record_->id != id || !record_->isSent) {
        return;
    }
    record_->isSent = false;
    if (!error) {
        if (hasPlace(answer)) {
            stored(boolAt(answer, "duplicate").value_or(false));
        } else {
            record_->mayBeStored = true;
        }
        return;
    }
    switch (error->kind) {
    case JetStreamError::Kind::notSent:
        break;
    case JetStreamError::Kind::unanswered:
        record_->mayBeStored = true;
        break;
    case JetStreamError::Kind::refused:
        if (isPassing(*error)) {
            record_->mayBeStored = record_->mayBeStored || isUndecided(*error);
        } else {
            const bool mayBeStored = record_->mayBeStored;
            fail(std::move(std::exchange(record_, std::nullopt)->publications),
                 mayBeStored ? unconfirmed() : ServiceError{"BrokerRefused", error->description});
        }
        break;
    }
}

void TopicOutbox::stored(bool isDuplicate)
{
    services_.counters.recordsStored += 1;
    services_.counters.duplicateAnswers += isDuplicate ? 1 : 0;
    Record record = std::move(*std::exchange(record_, std::nullopt));
    for (Publication& publication : record.publications) {
        services_.counters.payloadsStored += publication.count;
        complete(publication, {publication.count, std::nullopt});
    }
    becameFree_();
}

void TopicOutbox::checkTimes()
{
    const double now = services_.platform.monotonicNow();
    const auto isLate = [now](const Publication& publication) { return publication.deadline <= now; };
    if (record_) {
        auto& publications = record_->publications;
        const auto inTime = std::find_if_not(publications.begin(), publications.end(), isLate);
        std::vector<Publication> failed{std::make_move_iterator(publications.begin()), std::make_move_iterator(inTime)};
        publications.erase(publications.begin(), inTime);
        fail(std::move(failed), record_->isSent || record_->mayBeStored ? unconfirmed() : unavailable());
        if (publications.empty()) {
            record_.reset();
        } else if (!record_->isSent && services_.isReady) {
            services_.counters.repeatedRecords += 1;
            send();
        }
    }
    while (!waiting_.empty() && isLate(waiting_.front())) {
        Publication publication = std::move(waiting_.front());
        waiting_.pop_front();
        complete(publication, {0, unavailable()});
    }
}

void TopicOutbox::giveUp()
{
    if (record_) {
        fail(std::move(std::exchange(record_, std::nullopt)->publications), stopped());
    }
    auto waiting = std::exchange(waiting_, {});
    for (Publication& publication : waiting) {
        complete(publication, {0, stopped()});
    }
}

void TopicOutbox::complete(Publication& publication, PublishResult result)
{
    services_.waitingPayloads -= publication.count;
    if (publication.completion) {
        callHost(services_.platform, "the completion of a publication",
                 [&] { publication.completion(std::move(result)); });
    }
}

void TopicOutbox::fail(std::vector<Publication> publications, const ServiceError& error)
{
    for (Publication& publication : publications) {
        complete(publication, {0, error});
    }
}

} // namespace vexa::host
