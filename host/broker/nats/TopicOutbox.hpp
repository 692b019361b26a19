#pragma once

#include <host/broker/Broker.hpp>
#include <host/broker/nats/TopicServices.hpp>
#include <host/broker/nats/TopicState.hpp>

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {

/// The publications of one process on one topic. One record is on its way at a time, so that they stay in order; what
/// comes meanwhile goes together into the next one, but for publications with an id, each of which is a record.
class TopicOutbox final : public std::enable_shared_from_this<TopicOutbox> {
public:
    /// \param becameFree  called when a record was stored and the next one may be sent
    TopicOutbox(TopicServices& services, const std::string& topic, const std::string& subject,
                std::function<void()> becameFree);

    /// Takes a publication, or completes it with an error at once.
    ///
    /// \param id  by which JetStream knows a repetition; empty for none
    void add(const std::string& id, const std::vector<Dictionary>& payloads, PublishCompletion completion);

    /// Sends the next record, when none is on its way and there is something to send.
    ///
    /// \param state  the newest state of the topic that is known here
    void sendNext(const TopicState& state);

    /// Sends again what was lost, and completes with an error what has waited too long.
    void checkTimes();

    /// Completes everything with an error.
    void giveUp();

    /// Whether nothing waits and nothing is on its way.
    [[nodiscard]] bool isEmpty() const noexcept { return waiting_.empty() && !record_; }

private:
    struct Publication {
        std::string id;       ///< of the record that holds it alone; empty when it may share one
        std::string payloads; ///< their texts, with commas between them
        std::size_t count;
        PublishCompletion completion;
        double deadline;
    };

    struct Record {
        std::string id;
        std::string text;
        std::vector<Publication> publications; ///< those that are not completed yet, the oldest first
        bool isSent = false;                   ///< whether an answer is awaited
        bool mayBeStored = false;              ///< whether it was sent and not answered
    };

    [[nodiscard]] bool mayJoin(const Publication& next, const Record& record, std::size_t size) const;
    void send();
    void answered(const std::string& id, const Dictionary& answer, const std::optional<JetStreamError>& error);
    void stored(bool isDuplicate);
    void complete(Publication& publication, PublishResult result);
    void fail(std::vector<Publication> publications, const ServiceError& error);

    TopicServices& services_;
    const std::string& topic_;
    const std::string& subject_;
    const std::function<void()> becameFree_;
    std::deque<Publication> waiting_;
    std::optional<Record> record_;
};

} // namespace vexa::host
