#pragma once

#include <host/tool/demo/SequenceAccount.hpp>
#include <host/tool/demo/StreamFollower.hpp>
#include <host/tool/machine/Figure.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {

/// One topic as a display shows it.
struct TopicRow {
    std::string topic;
    std::string parameters; ///< "core 0"; empty when there are none
    Unit unit = Unit::percent;
    std::optional<double> value; ///< of the newest message that arrived
    std::vector<double> recent;  ///< the highest values of the last stretches of time, the newest last
    double perSecond = 0;        ///< messages that arrived at the topic's first stream
    std::size_t streams = 0;
    std::uint64_t published = 0;
    std::uint64_t delivered = 0; ///< to all its streams
    std::uint64_t replayed = 0;
    bool hasEnded = false; ///< a stream of it has got the terminating message
};

/// Sums over all streams.
struct StreamTotals {
    std::size_t streams = 0;
    std::uint64_t published = 0;
    std::uint64_t delivered = 0;
    std::uint64_t replayed = 0;
    std::uint64_t missing = 0; ///< published but not, or not yet, delivered
    std::uint64_t duplicated = 0;
    std::uint64_t outOfOrder = 0;
};

/// How the streams ended.
struct StreamEnds {
    std::size_t byService = 0;  ///< their last element was the terminating one
    std::size_t byConsumer = 0; ///< they were cancelled
    std::size_t badly = 0;      ///< otherwise, or not at all
};

/// The books of a demonstration: what was published on each topic, and what arrived at each stream. Everything is
/// counted from the numbers that messages carry. For one thread at a time.
class TopicBoard {
public:
    /// The key of a message's number in its payload.
    static constexpr std::string_view sequenceKey = "sequence";

    /// Adds a topic and returns its index.
    std::size_t addTopic(const Figure& figure);

    /// The index of a figure's topic, if it was added.
    [[nodiscard]] std::optional<std::size_t> indexOf(const Figure& figure) const;

    /// Adds a stream of a topic and returns its index.
    std::size_t addStream(std::size_t topic);

    /// Notes that one more message is published, and returns its number.
    [[nodiscard]] std::uint64_t publishNext(std::size_t topic);

    /// Notes an element that a stream got at the moment `now`, in seconds on a clock that never jumps.
    void received(std::size_t stream, const TopicElement& element, double now);

    /// Notes that a stream is over, and whether its consumer had cancelled it before.
    void ended(std::size_t stream, bool wasCancelled);

    [[nodiscard]] bool allEnded() const;
    [[nodiscard]] StreamEnds ends() const;

    /// Whether a topic has streams and the terminating message was the last one of each.
    [[nodiscard]] bool wasTerminated(std::size_t topic) const;

    /// Whether every stream has all that was published before the last call of mark().
    [[nodiscard]] bool hasCaughtUp() const;
    void mark();

    [[nodiscard]] std::vector<TopicRow> rows(double now) const;
    [[nodiscard]] StreamTotals totals() const;

private:
    struct Topic {
        Figure figure; ///< with the value that arrived last
        std::string parameters;
        std::uint64_t published = 0;
        std::uint64_t marked = 0;
        std::optional<std::size_t> firstStream;
        std::optional<double> value;
        std::deque<double> recent;
        std::uint64_t recentStretch = 0;
        std::deque<double> arrivals; ///< the moments of the last ones
        double firstArrival = 0;
    };
    struct Stream {
        std::size_t topic = 0;
        SequenceAccount account;
        std::uint64_t replayed = 0;
        bool wasTerminated = false; ///< its newest element was terminating
        bool wasCancelled = false;
        bool hasEnded = false;
    };

    static void noteValue(Topic& topic, std::uint64_t number, double value, double now);

    std::vector<Topic> topics_;
    std::vector<Stream> streams_;
};

} // namespace vexa::host
