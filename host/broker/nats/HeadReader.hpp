#pragma once

#include <host/broker/nats/JetStream.hpp>
#include <host/broker/nats/TopicState.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {

/// Finds out what a topic is now: reads its newest record, and from the state that this one is based on every record up
/// to it. That is one or two records, as long as those who publish see what the others store.
class HeadReader final : public std::enable_shared_from_this<HeadReader> {
public:
    struct Head {
        TopicState base;                 ///< before the oldest of the records that were read
        std::vector<TopicBatch> batches; ///< up to the newest one of the topic
    };

    /// Called once, with nothing when the stream could not be read.
    using Handler = std::function<void(std::optional<Head> head)>;

    HeadReader(JetStream& jetStream, std::string subject, Handler handler);

    /// Begins. The reader must be owned by a shared pointer; it reads no further, and calls nobody, once that is gone.
    void start();

private:
    void readNext();
    void finish(std::optional<Head> head);

    JetStream& jetStream_;
    const std::string subject_;
    Handler handler_;
    std::uint64_t newest_ = 0;
    TopicState state_;
    Head head_;
};

} // namespace vexa::host
