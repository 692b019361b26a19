#pragma once

#include "tests/simulation/CountedTransport.hpp"
#include "tests/simulation/Coverage.hpp"
#include "tests/simulation/Draws.hpp"
#include "tests/simulation/Follower.hpp"
#include "tests/simulation/ServiceEvents.hpp"
#include <host/embedded/EmbeddedTransport.hpp>
#include <host/service/VexaService.hpp>
#include <testing/StandaloneLibrary.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexa::simulation {

/// The library and the real service, with streams and listeners that hold what they get against what was published.
/// What a step does is drawn from the seed and the number of the step alone. A Difference is thrown when a promise does
/// not hold.
class ServiceWorld {
public:
    ServiceWorld(std::uint64_t seed, Coverage& coverage);
    ~ServiceWorld();
    ServiceWorld(const ServiceWorld&) = delete;
    ServiceWorld& operator=(const ServiceWorld&) = delete;

    struct Step {
        ServiceEvent event;
        bool wasPossible; ///< an event that was not possible did nothing
    };

    Step step(std::size_t number);

    /// Ends the run: opens the connection, publishes once more on every topic, and requires that everybody who follows
    /// one is up to date; then drops them all, and requires that the library and the service have let go of them, and
    /// that every report has arrived.
    void finish();

private:
    using Stream = AsyncStream<VexaSubscriptionStream::Element>;

    struct Following {
        Stream stream;
        FollowerAccount account;
        double lastUpdatedAt = 0;
        bool isCancelled = false;
    };

    struct Listening {
        std::int64_t id;
        std::shared_ptr<FollowingListener> listener;
    };

    bool perform(ServiceEvent event, Draws& draws);
    bool publish(PublishedTopic& topic, std::size_t count);
    bool end(PublishedTopic& topic);
    bool follow(PublishedTopic& topic, std::optional<double> updatedAt);
    bool resume(PublishedTopic& topic);
    bool listen(PublishedTopic& topic);
    bool listenNoMore(Draws& draws);
    bool close();

    /// Opens the connection; one that loses requests is replaced by one that does not.
    bool open();

    /// Lets the connection swallow all requests until it is closed, as one that is dead without knowing it.
    bool loseRequests();

    /// Notes that someone will follow a topic. Returns from which message on nothing may be left out.
    [[nodiscard]] std::size_t noteFollower(PublishedTopic& topic);

    /// Takes what the streams have, and looks at what the listeners got.
    void read();
    void read(Following& following);

    void requireEveryStreamEndedOnce();
    void requireReports();
    void note(ServiceFact fact) noexcept { coverage_.note(fact); }

    Coverage& coverage_;
    testing::VirtualPlatform platform_;
    Dependencies container_;
    std::deque<PublishedTopic> topics_;
    std::map<const PublishedTopic*, double> seenUntil_;
    TransportAccount account_;
    std::shared_ptr<host::VexaService> service_;
    std::shared_ptr<host::EmbeddedTransport> transport_;
    std::optional<testing::StandaloneLibrary> library_;
    std::vector<std::unique_ptr<Following>> followings_;
    std::vector<Listening> listenings_;
    std::size_t streams_ = 0;
    bool losesRequests_ = false;
    std::shared_ptr<std::size_t> lost_ = std::make_shared<std::size_t>(0);
};

} // namespace vexa::simulation
