#pragma once

#include <host/broker/Broker.hpp>
#include <host/broker/nats/NatsBrokerOptions.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vexa::host {

class NatsBrokerCore;

/// What a NatsBroker has done since it was made, and what it has in use.
struct NatsBrokerFigures {
    std::uint64_t connects = 0;         ///< connections to a server that were made, the first one and all later ones
    std::uint64_t recordsStored = 0;    ///< records of this broker that JetStream confirmed
    std::uint64_t payloadsStored = 0;   ///< the payloads in them
    std::uint64_t repeatedRecords = 0;  ///< records that were sent again because no answer came
    std::uint64_t duplicateAnswers = 0; ///< of these, how many JetStream already had
    std::uint64_t recordsReceived = 0;  ///< records that the feeds brought
    std::uint64_t feedsOpened = 0;      ///< feeds that were opened, the reopened ones included
    std::uint64_t historyReads = 0; ///< reads of the stream because what was kept here did not reach back far enough
    std::uint64_t topics = 0;       ///< topics in use now
    std::uint64_t gaps = 0;         ///< gaps in a topic that were found and closed by reading again
};

/// A broker on the JetStream of NATS servers, whose topics all processes share that name the same stream.
///
/// A publication completes when JetStream has confirmed it, that is, when a majority of the stream's replicas has it. A
/// payload reaches the subscribers of this process over the stream too, like those of all others, so that all see one
/// order. The time of a payload is settled by its place in the stream: every record carries its publisher's clock and a
/// known earlier state of the topic, from which each reader computes the same times, rising strictly whatever the
/// clocks of the publishers do. No publisher waits for another.
///
/// When no server answers, publications complete with an error once their time limit has passed, and subscriptions are
/// kept: they stand, or are confirmed, as soon as a server is back, and miss nothing that is still in the stream. An
/// error "PublicationUnconfirmed" means that the publication may be stored or may still come to be; with every other
/// error it is not.
///
/// Times go on rising as long as the stream holds the newest message of the topic. When retention has removed all of a
/// topic and no process uses it, they start again from the clock.
///
/// Receivers and completions are called on the broker's own queue, "vexanats", one call at a time.
class NatsBroker final : public Broker {
public:
    /// Makes a broker and has it connect in the background. Throws std::invalid_argument for options that cannot work
    /// anywhere: no server, a bad name of the stream, fewer than 1 or more than 5 replicas, a time limit of nothing, or
    /// an age of retention that a publication could outlast, so that it would be stored twice when it is repeated.
    [[nodiscard]] static std::shared_ptr<NatsBroker> make(const NatsBrokerOptions& options,
                                                          Platform& platform = Platform::system());

    /// Stops.
    ~NatsBroker() override;

    NatsBroker(const NatsBroker&) = delete;
    NatsBroker& operator=(const NatsBroker&) = delete;

    void publish(TopicKey topic, std::vector<Dictionary> payloads, PublishCompletion completion) override;

    /// An id is remembered by JetStream, for two minutes at least when nothing is removed earlier for its age, and so
    /// by all processes that share the stream.
    void publishOnce(const std::string& id, TopicKey topic, std::vector<Dictionary> payloads,
                     PublishCompletion completion) override;

    std::int64_t subscribe(TopicKey topic, double since, std::shared_ptr<BrokerReceiver> receiver) override;
    void cancel(std::int64_t subscription) override;

    [[nodiscard]] BrokerStatus status() const override;

    /// Any thread; returns at once.
    [[nodiscard]] NatsBrokerFigures figures() const;

    /// Completes the publications under way with an error, drops all receivers, disconnects and waits for the threads
    /// of the connection; from a receiver or a completion it returns at once and the rest follows. What is asked of the
    /// broker afterwards fails at once; a second call does nothing.
    void stop();

    /// Ends the threads that nats.c keeps for the whole process, and gives back its memory. For the end of a program,
    /// or of a test, when no broker is left and nothing else in the process uses nats.c; waits until it is done.
    static void releaseLibrary();

private:
    explicit NatsBroker(std::shared_ptr<NatsBrokerCore> core);

    const std::shared_ptr<NatsBrokerCore> core_;
};

} // namespace vexa::host
