#pragma once

#include "tests/simulation/Draws.hpp"
#include "tests/simulation/Events.hpp"
#include "tests/simulation/ObservedLibrary.hpp"
#include "tests/simulation/SimulatedService.hpp"
#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexa::simulation {

/// The library with everything around it, all of it drawn from one seed. What a step does is drawn from the seed and
/// the number of the step alone, so that steps can be left out and the others stay what they are.
class World {
public:
    explicit World(std::uint64_t seed);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /// What happened in a step.
    struct Step {
        Event event;
        bool wasPossible; ///< an event that was not possible did nothing
    };

    Step step(std::size_t number);

    /// Ends the run: repairs what fails, drops all streams and listeners, and waits until every report has gone out.
    void finish();

    [[nodiscard]] Recorder& recorder() noexcept { return library_.recorder(); }

private:
    struct Topic {
        std::string name;
        Parameters params;
        std::string hash;
    };

    // World.cpp
    bool perform(Event event, Draws& draws);
    void drive(Draws& draws);
    void compareTables();
    [[nodiscard]] const Topic& topic(Draws& draws);
    [[nodiscard]] double updatedAt(Draws& draws);
    [[nodiscard]] std::function<void()> reaction();

    // WorldEvents.cpp
    bool makeStream(Draws& draws);
    bool withStream(Draws& draws, const std::function<void(std::int64_t)>& use);
    bool addListener(Draws& draws);
    bool addListenerAgain(Draws& draws);
    bool removeListener(Draws& draws);
    bool feedManager(Draws& draws);
    bool deliver(Dictionary message);
    bool data(std::size_t count, bool terminates, Draws& draws);
    bool malformedData(Draws& draws);
    bool answer(SimulatedService::Answer answer, Draws& draws);
    bool malformedAnswer(Draws& draws);
    bool otherMessage(Draws& draws);
    bool open(std::size_t times);
    bool close();
    bool toldOpenWhileClosed();
    bool whileSending(std::function<void()> act);
    bool jumpWallClock(Draws& draws);
    bool failTransport(Draws& draws);
    bool feedChangesOnTheWay(Draws& draws);

    /// What a callback of the host does when it is called.
    void react();

    [[nodiscard]] SimulatedTransport* transportWithMessageListener();
    [[nodiscard]] SimulatedTransport* transportWithConnectionListener();

    const bool isPeaceful_; ///< fewer things go wrong, so that more messages come through
    ObservedLibrary library_;
    std::vector<Topic> topics_;
    std::vector<std::shared_ptr<SimulatedTransport>> transports_; ///< the last is in the container
    SimulatedService service_;
    std::function<void()> inNextSend_;
    Draws reactions_;
    std::size_t reactionDepth_ = 0;
    bool isCalm_ = false; ///< callbacks do nothing any more
};

} // namespace vexa::simulation
