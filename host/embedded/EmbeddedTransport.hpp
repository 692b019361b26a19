#pragma once

#include <host/embedded/LossRule.hpp>
#include <host/embedded/TransportListeners.hpp>
#include <host/service/RecentRecords.hpp>
#include <host/service/Session.hpp>
#include <host/service/VexaService.hpp>
#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/transport/OruClient.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace vexa::host {

struct EmbeddedTransportOptions {
    /// Whether each message goes through its JSON text, as it would over a network, instead of being handed over.
    bool throughText = false;
    /// How many diagnostic records and echo messages wait while the connection is closed.
    std::size_t keptWhileClosed = 100;
    /// Takes the lines of the transport's console log, on the thread that logs; an empty one drops them.
    std::function<void(std::string_view line)> console = nullptr;
};

enum class TrafficDirection : std::uint8_t { toService, toClient };

/// What a transport has done with messages, by direction.
struct TransportFigures {
    struct Traffic {
        std::uint64_t passed = 0;
        std::uint64_t lost = 0;       ///< by a loss rule
        std::uint64_t dropped = 0;    ///< since the connection was closed, or for an earlier connection
        std::uint64_t unreadable = 0; ///< by the JSON text, when messages go through it
    };
    Traffic toService;
    Traffic toClient;
    std::uint64_t openings = 0;
};

/// A transport client whose service lives in the same process.
///
/// It starts closed. A connection that the service closes opens again at once. Callbacks come on a queue of its own,
/// "vexatransport", in order: connectionOpened, then the messages of that connection, then connectionClosed; nothing of
/// a connection is delivered after the next one opened. Every operation may be called on any thread and returns at
/// once, but for figures().
///
/// What is sent while the connection is closed is dropped, since a subscribe request is repeated when it opens, except
/// diagnostic records and echo messages: nobody repeats those. The newest of them wait, up to a number, and are sent
/// first when the connection opens.
class EmbeddedTransport final : public OruClient, public std::enable_shared_from_this<EmbeddedTransport> {
public:
    [[nodiscard]] static std::shared_ptr<EmbeddedTransport> make(std::shared_ptr<VexaService> service,
                                                                 EmbeddedTransportOptions options = {},
                                                                 Platform& platform = Platform::system());
    ~EmbeddedTransport() override;

    /// Opens a new connection, behind what was sent and received before. On an open one it does nothing.
    void open();

    /// Closes the connection; what is on its way to the client is dropped. On a closed one it does nothing.
    void close();

    /// Loses messages by a rule, from now on; an empty one ends that. The rule runs on the transport's queue.
    void lose(TrafficDirection direction, LossRule rule);

    /// Sets what isVisible() answers, which is true at first.
    void setVisible(bool isVisible) noexcept { isVisible_ = isVisible; }

    /// Waits for what was sent and received before. Never call it from a callback: that stops the process.
    [[nodiscard]] TransportFigures figures();

    [[nodiscard]] std::shared_ptr<OruClientLogger> logger() override;
    [[nodiscard]] bool isVisible() override { return isVisible_; }
    [[nodiscard]] bool isOpen() override { return listeners_.isOpen(); }
    std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener) override;
    std::int64_t addCategoryListener(std::string_view category,
                                     std::shared_ptr<OruClientMessageListener> listener) override;
    void send(Dictionary message) override;

private:
    class Logger;

    EmbeddedTransport(std::shared_ptr<VexaService> service, EmbeddedTransportOptions options, Platform& platform);

    /// Runs `work` on the queue if the transport still exists by then.
    template <class Work>
    void onQueue(Work work);

    void openOnQueue();
    void closeOnQueue();
    [[nodiscard]] SessionSink sinkFor(std::uint64_t connection);
    void sendOnQueue(Dictionary message);
    void passToService(Dictionary message);
    void passToClient(std::uint64_t connection, Dictionary message);

    /// The message as it comes out at the other end; nothing when it is lost on the way.
    [[nodiscard]] Message carry(Dictionary message, const LossRule& rule, TransportFigures::Traffic& traffic) const;

    const std::shared_ptr<VexaService> service_;
    const EmbeddedTransportOptions options_;
    Platform& platform_;
    const SerialQueueHandle queue_;
    std::shared_ptr<OruClientLogger> logger_;
    TransportListeners listeners_;
    std::atomic<bool> isVisible_{true};

    // On the queue.
    std::optional<Session> session_;
    std::uint64_t connection_ = 0; ///< counts the openings
    RecentRecords<Dictionary> kept_;
    LossRule toServiceRule_;
    LossRule toClientRule_;
    TransportFigures figures_;
};

} // namespace vexa::host
