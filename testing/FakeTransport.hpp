#pragma once

#include <testing/FakeLogger.hpp>
#include <VexaClient/platform/Json.hpp>
#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/transport/OruClient.hpp>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::testing {

/// A transport client for tests: it keeps every call with its arguments, and the test plays the service's side and the
/// connection's. Any thread may use it.
class FakeTransport final : public OruClient {
public:
    /// The operations of a transport client.
    enum class Operation { logger, isVisible, isOpen, addConnectionListener, addCategoryListener, send };

    /// How the transport holds its listeners. What a weakly held listener would have been told is lost with it.
    enum class Hold { weakly, strongly };

    /// One registration that the transport has taken.
    struct Registration {
        std::int64_t id;
        std::optional<std::string> category; ///< absent for a connection listener
        std::shared_ptr<OruClientMessageListener> messageListener;
        std::shared_ptr<OruClientConnectionListener> connectionListener;
    };

    /// \param platform  gives the times at which diagnostic records came; it must outlive the transport.
    explicit FakeTransport(Platform& platform, Hold hold = Hold::weakly);

    // What the transport answers. The test may set them at any time.

    std::atomic<bool> open{true};
    std::atomic<bool> visible{true};

    /// The id of the next registration; 1 at first. Each registration takes one.
    void setNextListenerId(std::int64_t id);

    /// What logger() answers from now on, in place of the FakeLogger that the transport was made with; it may be null.
    void setLogger(std::shared_ptr<OruClientLogger> logger);

    /// Makes the next `times` calls of `operation` throw std::runtime_error. A call that throws is counted, and has no
    /// other effect.
    void throwFrom(Operation operation, std::size_t times = std::numeric_limits<std::size_t>::max());

    /// Ends what throwFrom() began, for every operation.
    void heal();

    // What the service and the connection do.

    /// Hands a message to the listeners of a category, and returns what they were given.
    Message deliver(Dictionary message, std::string_view category = "vexa");

    /// Hands a message to the listeners of a category as it is.
    void deliverMessage(const Message& message, std::string_view category = "vexa");

    /// Hands the message that `text` holds to the listeners of a category. Throws std::invalid_argument when the text
    /// is no JSON object.
    Message deliverJson(std::string_view text, std::string_view category = "vexa");

    /// Tells the connection listeners that the connection has opened or closed; `open` stays as it is.
    void notifyOpened();
    void notifyClosed();

    /// Drops a registration and, if it is one of a message listener, tells that listener. An unknown id is ignored.
    void dropRegistration(std::int64_t id);

    // What the library did.

    /// Every message sent so far.
    [[nodiscard]] std::vector<Dictionary> sent() const;

    /// The messages sent since the last call.
    std::vector<Dictionary> takeSent();

    /// Every call so far, in order.
    [[nodiscard]] std::vector<Operation> calls() const;

    /// How often an operation was called.
    [[nodiscard]] std::size_t count(Operation operation) const;

    /// The registrations that stand, in order. A listener that no longer lives is null.
    [[nodiscard]] std::vector<Registration> registrations() const;

    /// The logger that the transport was made with.
    [[nodiscard]] FakeLogger& fakeLogger() noexcept { return *fakeLogger_; }

    // OruClient

    [[nodiscard]] std::shared_ptr<OruClientLogger> logger() override;
    [[nodiscard]] bool isVisible() override;
    [[nodiscard]] bool isOpen() override;
    std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener) override;
    std::int64_t addCategoryListener(std::string_view category,
                                     std::shared_ptr<OruClientMessageListener> listener) override;
    void send(Dictionary message) override;

private:
    static constexpr std::size_t operations = 6;

    /// A registration with its listener, held as the transport holds it.
    struct Held {
        std::int64_t id;
        std::optional<std::string> category;
        std::weak_ptr<OruClientMessageListener> messageListener;
        std::weak_ptr<OruClientConnectionListener> connectionListener;
        std::shared_ptr<void> owner;
    };

    /// Notes a call; throws if it shall fail. Under the mutex.
    void note(Operation operation);
    std::int64_t registerHeld(Held held);
    [[nodiscard]] std::vector<std::shared_ptr<OruClientConnectionListener>> connectionListeners() const;

    const Hold hold_;
    const std::shared_ptr<FakeLogger> fakeLogger_;

    mutable std::mutex mutex_;
    std::shared_ptr<OruClientLogger> logger_;
    std::int64_t nextListenerId_ = 1;
    std::array<std::size_t, operations> faults_{};
    std::vector<Operation> calls_;
    std::vector<Held> registrations_;
    std::vector<Dictionary> sent_;
    std::size_t takenSent_ = 0;
};

} // namespace vexa::testing
