#pragma once

#include "tests/simulation/ObservedClient.hpp"
#include "tests/simulation/ObservedPlatform.hpp"
#include "tests/simulation/SimulatedHost.hpp"
#include <VexaClient/subscription_client/VexaOruClient.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::simulation {

/// The library, unchanged, on a virtual platform, with every call of its host written down.
class ObservedLibrary {
public:
    ObservedLibrary(std::uint64_t seed, bool drawsLeeway);
    ~ObservedLibrary();
    ObservedLibrary(const ObservedLibrary&) = delete;
    ObservedLibrary& operator=(const ObservedLibrary&) = delete;

    [[nodiscard]] testing::VirtualPlatform& platform() noexcept { return platform_.virtually; }
    [[nodiscard]] Recorder& recorder() noexcept { return platform_.recorder; }

    /// Puts a new transport into the container.
    std::shared_ptr<SimulatedTransport> replaceTransport();
    [[nodiscard]] std::shared_ptr<SimulatedLogger> newLogger();

    // The client.
    std::string hash(std::string_view name, const Parameters& params);
    void create(std::string_view name, const Parameters& params, double updatedAt);
    void remove(std::string_view hash);

    /// Makes the manager the feed again.
    void setManagerAsFeed();
    void setNewFeed(std::function<void()> onMessage);
    void takeFeed();
    void readClient();

    // The manager.

    /// Adds a new listener, or one that lives.
    void add(std::string_view name, const Parameters& params, double updatedAt, std::function<void()> onMessage);
    void addAgain(std::string_view name, const Parameters& params, double updatedAt, std::size_t which);
    void removeListener(std::int64_t id);
    void askListeners(std::string_view name, const Parameters& params);
    void feedManager(std::string_view hash, const Message& message, bool isTerminating);
    void readManager();
    [[nodiscard]] std::int64_t lastListenerId() const noexcept { return lastListenerId_; }

    // Streams.
    void makeStream(std::string_view name, const Parameters& params, std::optional<double> updatedAt);
    void readStream(std::int64_t stream);
    void cancelStream(std::int64_t stream);
    void dropStream(std::int64_t stream);
    [[nodiscard]] std::vector<std::int64_t> streams() const;

    // The echo sender.
    void echo();

    /// Writes down that nothing is ready to run.
    void noteQuiet();

private:
    class Sender;

    Observation call(Happening what, std::string_view name, const Parameters& params, double updatedAt) const;
    void addListener(std::string_view name, const Parameters& params, double updatedAt, std::int64_t number,
                     std::shared_ptr<VexaSubscriptionListener> listener);
    void returns(Observation end = {});

    ObservedPlatform platform_;
    Dependencies container_;
    Census listeners_ = std::make_shared<std::multiset<std::int64_t>>();
    Census feeds_ = std::make_shared<std::multiset<std::int64_t>>();
    std::int64_t lastTransport_ = 0;
    std::int64_t lastLogger_ = 0;
    std::int64_t lastFeed_ = 1;
    std::int64_t lastListener_ = 0;
    std::int64_t lastListenerId_ = 0;
    std::int64_t lastStream_ = 0;
    std::vector<std::pair<std::int64_t, std::weak_ptr<VexaSubscriptionListener>>> known_;
    std::shared_ptr<VexaOruClient> client_;
    std::shared_ptr<ObservedClient> observedClient_;
    std::shared_ptr<VexaOruSubscriptionManager> manager_;
    std::shared_ptr<VexaFeed> managerFeed_;
    std::unique_ptr<Sender> sender_;
    std::map<std::int64_t, AsyncStream<VexaSubscriptionStream::Element>> streams_;
};

} // namespace vexa::simulation
