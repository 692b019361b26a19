#pragma once

#include "tests/simulation/Recorder.hpp"
#include <VexaClient/protocols/VexaFeed.hpp>
#include <VexaClient/protocols/VexaSubscriptionListener.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>
#include <VexaClient/transport/OruClient.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

/// The host's parts that the library calls. Each writes down the calls that it gets.
namespace vexa::simulation {

/// How a part of the host fails.
enum class Fault : std::uint8_t { none, error, other };

/// Throws what `fault` says.
void fail(Fault fault);

/// A transport's logger.
class SimulatedLogger final : public OruClientLogger {
public:
    SimulatedLogger(Recorder& recorder, std::int64_t number) noexcept : recorder_{recorder}, number_{number} {}

    Fault fault = Fault::none;

    [[nodiscard]] std::int64_t number() const noexcept { return number_; }

    void consoleLog(std::string_view line) override;
    void serverLog(std::string_view category, Dictionary blob, std::int64_t severity) override;

private:
    Recorder& recorder_;
    const std::int64_t number_;
};

/// The application's transport client.
class SimulatedTransport final : public OruClient {
public:
    enum class Operation : std::uint8_t { logger, isVisible, isOpen, addConnectionListener, addCategoryListener, send };
    static constexpr std::size_t operations = 6;

    SimulatedTransport(Recorder& recorder, std::int64_t number) noexcept : recorder_{recorder}, number_{number} {}

    bool open = false;
    bool visible = true;
    bool tellsAtOnce = false; ///< whether a connection listener is told of an open connection as it registers
    std::shared_ptr<SimulatedLogger> currentLogger;
    std::int64_t nextListenerId = 1;

    /// How the next call of an operation fails.
    std::array<Fault, operations> faults{};

    /// Called in each send that does not fail, with the message.
    std::function<void(const Dictionary& message)> onSend;

    [[nodiscard]] bool hasMessageListener() const noexcept { return messageListener_ != nullptr; }
    [[nodiscard]] bool hasConnectionListener() const noexcept { return connectionListener_ != nullptr; }

    /// Hands a message to the library.
    void deliver(Message message);
    void notifyOpened();
    void notifyClosed();
    void notifyRegistrationDropped();

    /// Lets go of the listeners.
    void dropListeners() noexcept;

    // OruClient
    [[nodiscard]] std::shared_ptr<OruClientLogger> logger() override;
    [[nodiscard]] bool isVisible() override;
    [[nodiscard]] bool isOpen() override;
    std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener) override;
    std::int64_t addCategoryListener(std::string_view category,
                                     std::shared_ptr<OruClientMessageListener> listener) override;
    void send(Dictionary message) override;

private:
    [[nodiscard]] Observation call(Happening what) const;

    /// Fails as the operation is told to, once.
    void failIfTold(Operation operation);

    Recorder& recorder_;
    const std::int64_t number_;
    std::shared_ptr<OruClientMessageListener> messageListener_;
    std::shared_ptr<OruClientConnectionListener> connectionListener_;
};

/// The numbers of objects that live.
using Census = std::shared_ptr<std::multiset<std::int64_t>>;

/// A listener of the host's. What it does when it is called is up to the simulation.
class SimulatedListener final : public VexaSubscriptionListener {
public:
    SimulatedListener(Recorder& recorder, std::int64_t number, Census census, std::function<void()> onMessage);
    ~SimulatedListener() override;
    SimulatedListener(const SimulatedListener&) = delete;
    SimulatedListener& operator=(const SimulatedListener&) = delete;

    void messageReceived(const Message& message, bool isTerminating) override;

private:
    Recorder& recorder_;
    const std::int64_t number_;
    const Census census_;
    const std::function<void()> onMessage_;
};

/// A feed of the host's, in place of the manager.
class SimulatedFeed final : public VexaFeed {
public:
    SimulatedFeed(Recorder& recorder, std::int64_t number, Census census, std::function<void()> onMessage);
    ~SimulatedFeed() override;
    SimulatedFeed(const SimulatedFeed&) = delete;
    SimulatedFeed& operator=(const SimulatedFeed&) = delete;

    void messageFeed(std::string_view hash, const Message& message, bool isTerminating) override;

private:
    Recorder& recorder_;
    const std::int64_t number_;
    const Census census_;
    const std::function<void()> onMessage_;
};

} // namespace vexa::simulation
