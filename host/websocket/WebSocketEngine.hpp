#pragma once

#include <host/embedded/TransportListeners.hpp>
#include <host/websocket/DrainLoop.hpp>
#include <host/websocket/MessageDecoder.hpp>
#include <host/websocket/OccasionalLine.hpp>
#include <host/websocket/OruWebSocketClientOptions.hpp>
#include <host/websocket/OruWebSocketFigures.hpp>
#include <host/websocket/OutgoingQueue.hpp>
#include <host/websocket/ReconnectSchedule.hpp>
#include <host/websocket/WebSocketAddress.hpp>
#include <host/websocket/WebSocketConnection.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vexa::host {

/// What runs on the thread of an OruWebSocketClient: it keeps one connection to the service after the other, writes
/// what waits and delivers what comes. It outlives the client until its thread has ended.
///
/// Any thread may call the operations up to log(); the rest belongs to the thread of run().
class WebSocketEngine final : private WebSocketConnectionEvents {
public:
    /// Throws std::invalid_argument as OruWebSocketClient::make() does.
    WebSocketEngine(OruWebSocketClientOptions options, Platform& platform);
    ~WebSocketEngine() override;

    /// Connects, and returns once the engine has stopped. Called once, by the thread that is to be the engine's.
    void run();

    /// Has the engine stop, whether or not it runs already; nothing is delivered from then on. Returns at once.
    void requestStop();

    [[nodiscard]] bool isStopping() const noexcept { return isStopping_; }

    /// Whether the calling thread is the engine's.
    [[nodiscard]] bool isOwnThread() const noexcept;

    void send(const Dictionary& message);
    void bearerToken(std::string token);
    void networkAvailable(bool isAvailable);

    [[nodiscard]] TransportListeners& listeners() noexcept { return listeners_; }
    [[nodiscard]] OruWebSocketFigures figures() const;
    [[nodiscard]] std::string lastError() const;

    /// Writes one line to the console log.
    void log(std::string_view line);

private:
    void opened() override;
    void received(std::string_view text) override;
    void refused(FrameFault fault) override;
    void written() override;
    void closed(const std::string& reason) override;

    /// Counts a message that must not be sent. On any thread.
    void refuseToSend();

    /// Has the engine's thread call `operation`, unless it has ended.
    void postToOwnThread(void (WebSocketEngine::*operation)());

    void connect();
    void beginAttempt();
    void connectIn(double seconds);
    void networkLost();
    void networkFound();
    void beginToStop();

    /// Begins to write the next text unless one is being written; without one, an engine that stops begins to close.
    void writeNext();

    void deliver(const Message& message);
    void tellOpened();
    void tellClosed();
    void rememberError(const std::string& reason);

    const OruWebSocketClientOptions options_;
    const WebSocketAddress address_;
    Platform& platform_;
    std::optional<boost::asio::ssl::context> tlsContext_;
    TransportListeners listeners_;
    std::atomic<bool> isStopping_ = false;
    std::atomic<std::thread::id> ownThread_;

    /// What drives the engine's thread.
    struct Reactor {
        explicit Reactor(Platform& platform) : drainLoop{context, platform} {}

        boost::asio::io_context context{1};
        boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work{context.get_executor()};
        DrainLoop drainLoop;
        boost::asio::steady_timer retryTimer{context};
        boost::asio::steady_timer stopTimer{context};
    };

    mutable std::mutex mutex_;
    std::unique_ptr<Reactor> reactor_; ///< null once the engine has stopped
    OutgoingQueue outgoing_;
    bool isWriteRequested_ = false;
    std::uint64_t unsendable_ = 0;
    OccasionalLine unsendableLine_;
    std::string bearerToken_;
    std::string lastError_;

    /// Written by the engine's thread alone.
    struct Counters {
        std::atomic<std::uint64_t> attempts = 0;
        std::atomic<std::uint64_t> connects = 0;
        std::atomic<std::uint64_t> framesReceived = 0;
        std::atomic<std::uint64_t> bytesReceived = 0;
        std::atomic<std::uint64_t> framesSent = 0;
        std::atomic<std::uint64_t> bytesSent = 0;
        std::atomic<std::uint64_t> unrouted = 0;
        std::array<std::atomic<std::uint64_t>, frameFaultCount> faults{};
    };
    Counters counters_;

    // On the engine's thread.
    std::shared_ptr<WebSocketConnection> connection_;
    bool hasNetwork_ = true;
    bool isOpen_ = false;
    bool isClosing_ = false;
    std::size_t bytesBeingWritten_ = 0;
    bool isWriting_ = false;
    ReconnectSchedule schedule_;
    MessageDecoder decoder_;
    std::vector<OccasionalLine> faultLines_;
};

} // namespace vexa::host
