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

/// Reads the older records of a topic. Where to begin is found by bisection of the stream's sequences, since every
/// record names a state before it and the times in these states rise with the sequences; no clock has to be trusted for
/// it.
///
/// The first records are read one by one, and only when there are more of them a consumer is opened, which brings them
/// faster. It alone never decides that there are no more, since it may sit on a server that is behind the others.
class HistoryReader final : public JetStreamConsumer, public std::enable_shared_from_this<HistoryReader> {
public:
    struct History {
        TopicState base;
        bool isOldest = false; ///< whether the stream has nothing before `base`
        std::vector<TopicBatch> batches;
    };

    /// Called once, with nothing when the stream could not be read.
    using Handler = std::function<void(std::optional<History> history)>;

    /// \param after  in seconds since 1970; everything later than it is read, and little more
    /// \param until  the sequence of the newest record to read
    HistoryReader(JetStream& jetStream, std::string subject, double after, std::uint64_t until, Handler handler);
    ~HistoryReader() override;

    HistoryReader(const HistoryReader&) = delete;
    HistoryReader& operator=(const HistoryReader&) = delete;

    /// Begins. The reader must be owned by a shared pointer; it reads no further, and calls nobody, once that is gone.
    void start();

    /// Goes on without the consumer when it brings nothing. To be called several times a second.
    ///
    /// \param now  on the monotonic clock, in seconds
    void checkTimes(double now);

    void consumerOpened(std::uint64_t behind) override;
    void delivered(const StoredMessage& message) override;
    void consumerLost(const std::string& reason) override;

private:
    void bisect();
    void probe(std::uint64_t from,
               void (HistoryReader::*use)(std::uint64_t from, const std::optional<TopicRecord>& record));
    void useOldest(std::uint64_t from, const std::optional<TopicRecord>& record);
    void useMiddle(std::uint64_t from, const std::optional<TopicRecord>& record);
    void readOn();
    void take(const StoredMessage& message);
    void finish(std::optional<History> history);

    JetStream& jetStream_;
    const std::string subject_;
    const double after_;
    const std::uint64_t until_;
    Handler handler_;

    std::uint64_t lowest_ = 0; ///< what the bisection still has to look at
    std::uint64_t highest_ = 0;
    TopicState state_; ///< behind the newest record that was read
    History history_;
    std::size_t readOneByOne_ = 0;
    std::int64_t consumer_ = 0;
    bool isConsumerOpen_ = false;
    bool isReading_ = false;
    std::uint64_t checkedSequence_ = 0; ///< where the reader was when checkTimes() last found it further on
    double checkedAt_ = 0;
};

} // namespace vexa::host
