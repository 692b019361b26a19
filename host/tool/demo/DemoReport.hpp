#pragma once

#include <host/tool/demo/TopicBoard.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What a demonstration tells of itself while it runs and when it is over.
namespace vexa::host {

enum class ConnectionState : std::uint8_t {
    closed,
    catchingUp, ///< open again, but not all that was missed has arrived
    open
};

/// The state of a demonstration at one moment.
struct DemoSnapshot {
    double at = 0; ///< seconds after the start
    double duration = 0;
    ConnectionState connection = ConnectionState::closed;
    std::vector<TopicRow> rows;
    StreamTotals totals;
};

/// Something that happened.
struct DemoEvent {
    double at = 0;      ///< seconds after the start
    std::string name;   ///< for programs, such as "connectionCut"
    std::string text;   ///< for people
    Dictionary details; ///< figures that belong to it, for programs
};

/// How a demonstration went.
struct DemoSummary {
    double seconds = 0;
    StreamTotals totals; ///< "missing" is what was lost
    StreamEnds ends;
    bool topicWasEnded = false; ///< the service ended a topic, and all its streams heard of it
    std::uint64_t openings = 0; ///< of the connection

    /// What the service received, where that can be known. Most diagnostic reports are sent minutes later.
    std::optional<std::uint64_t> echoes;
    std::optional<std::uint64_t> diagnosticReports;

    std::optional<double> medianDelay; ///< seconds from publication to consumer, without replays
    std::optional<double> slowDelay;   ///< the same; one message in a hundred took longer
    bool wasInterrupted = false;       ///< it ended early because it was asked to

    /// What is wrong, a sentence each; empty when everything is as it should be.
    [[nodiscard]] std::vector<std::string> complaints() const;

    [[nodiscard]] Dictionary asDictionary() const;
};

/// Hears of a demonstration. Called on the demonstration's queue.
class DemoObserver {
public:
    virtual ~DemoObserver() = default;

    virtual void happened(const DemoEvent& event) = 0;

    /// Called once; nothing is called afterwards.
    virtual void finished(const DemoSummary& summary) = 0;
};

} // namespace vexa::host
