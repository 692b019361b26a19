#pragma once

#include <host/tool/demo/Delays.hpp>
#include <host/tool/demo/DemoPlan.hpp>
#include <host/tool/demo/DemoReport.hpp>
#include <host/tool/demo/DemoStage.hpp>
#include <host/tool/demo/StreamFollower.hpp>
#include <host/tool/demo/TopicBoard.hpp>
#include <host/tool/machine/Figure.hpp>
#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {

/// What a demonstration plays with. All of it must outlive the demonstration.
struct DemoParts {
    Platform& platform;
    DemoStage& stage; ///< whose transport is registered with the manager's container
    std::shared_ptr<VexaOruSubscriptionManager> manager;
    FigureSource& figures;
    FollowerMaker& followers;
    std::function<void()> sendEcho;
    DemoObserver& observer;
};

/// The demonstration: publishes the figures of a source as topics of a service, follows each of them through the
/// library, cuts the connection on the way, and keeps the books.
///
/// It lives on a queue of its own, "vexademo".
class Demonstration final : public std::enable_shared_from_this<Demonstration> {
public:
    [[nodiscard]] static std::shared_ptr<Demonstration> make(DemoParts parts, const DemoPlan& plan);

    /// Begins. Call it once.
    void start();

    /// Ends early: publishes nothing more, but still waits for what is under way.
    void interrupt();

    /// The state of now. Blocks until taken; never call it from the observer.
    [[nodiscard]] DemoSnapshot snapshot();

private:
    enum class Phase : std::uint8_t { waiting, publishing, draining, ending, finished };

    Demonstration(DemoParts parts, const DemoPlan& plan);

    /// Runs `step` on the queue once `seconds` have passed, unless publishing is over by then.
    void at(double seconds, void (Demonstration::*step)());

    void begin();
    void followTopic(std::size_t topic, FollowStyle style);
    void publishSample();
    void sendEcho();
    void joinLate();
    void cutConnection();
    void reopenConnection();
    void endTopic();
    void drain();
    void cancelStreams();
    void finish();

    void received(std::size_t stream, const TopicElement& element, std::optional<double> delay);
    void ended(std::size_t stream);
    void noteRecovery();

    [[nodiscard]] Dictionary payloadFor(std::size_t topic, const Figure& figure);
    [[nodiscard]] std::optional<std::size_t> topicNamed(std::string_view name) const;
    [[nodiscard]] double elapsed();
    [[nodiscard]] DemoSummary summary();
    void report(std::string name, std::string text, Dictionary details = {});

    const DemoParts parts_;
    const DemoPlan plan_;
    const SerialQueueHandle queue_;

    // On the queue.
    Phase phase_ = Phase::waiting;
    double startedAt_ = 0;
    std::vector<Figure> topics_;
    TopicBoard board_;
    std::vector<std::unique_ptr<StreamFollower>> followers_;
    std::shared_ptr<RepeatingTimer> sampling_;
    std::optional<std::size_t> lateTopic_;
    std::optional<std::size_t> endedTopic_; ///< once the service was told to end it
    std::optional<double> reopenedAt_;      ///< while the streams catch up
    std::uint64_t replayedBefore_ = 0;
    bool isCut_ = false;
    bool endWasReported_ = false;
    bool wasInterrupted_ = false;
    Delays delays_;
};

} // namespace vexa::host
