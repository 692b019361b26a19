#pragma once

#include <host/websocket/OruWebSocketClientOptions.hpp>
#include <host/websocket/OruWebSocketFigures.hpp>
#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/platform/ReturnsPromptly.hpp>
#include <VexaClient/transport/OruClient.hpp>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace vexa::host {

class WebSocketEngine;

/// A transport client over a WebSocket (RFC 6455): one text message holds one transport message as JSON text.
///
/// It has a thread of its own, which keeps a connection to the service: one that cannot be made or is lost is tried
/// again for ever, at first at once when it had been a good one, and then with growing, randomly drawn delays. A
/// service that is silent for too long is asked by a ping and then given up.
///
/// Callbacks come on that thread, in order: connectionOpened, then the messages of that connection, then
/// connectionClosed. They must return at once, since all traffic waits for them. Whatever a callback throws is written
/// to the system log. Any thread may call any operation; none but stop() and the destructor waits for anything.
///
/// What is sent while the connection is closed is dropped, except for diagnostic records and echo messages: these wait
/// for the next connection, on which they come first, up to the limit for outgoing bytes; the oldest of them make room.
/// A message that is being written when the connection breaks may be lost. One that holds text that is not UTF-8 is
/// never sent, since the service would have to end the connection over it (RFC 6455, section 8.1). An incoming message
/// that is unusable is counted, and the console log tells of each kind once a minute at most; the connection stays,
/// unless RFC 6455 has it fail.
///
/// The values of a message that is delivered live in memory of that message, which is given back with its last
/// reference. A plain copy of one of them would live there too; whoever keeps a copy gives it other storage, as in
/// Dictionary(*message, boost::json::storage_ptr()).
class OruWebSocketClient final : public OruClient, public ReturnsPromptly {
public:
    /// Makes a client that does nothing yet. Throws std::invalid_argument, with a sentence that says what is wrong,
    /// when the URL, the token, a time limit or a file of the options cannot be used.
    [[nodiscard]] static std::shared_ptr<OruWebSocketClient> make(OruWebSocketClientOptions options,
                                                                  Platform& platform = Platform::system());

    /// As stop().
    ~OruWebSocketClient() override;

    OruWebSocketClient(const OruWebSocketClient&) = delete;
    OruWebSocketClient& operator=(const OruWebSocketClient&) = delete;

    /// Begins to connect, in the background. A second call does nothing, and neither does one after stop().
    void start();

    /// Ends the client for good: sends what waits, closes the connection as RFC 6455 has it, for no longer than the
    /// time limit for closing, and waits until the thread is gone. No message is delivered after the call began, and
    /// nothing is called back once it has returned. A look-up of the host that is under way cannot be cut short, and is
    /// waited for. In a callback it returns at once instead, and the thread ends after the callback.
    void stop();

    /// Sets what isVisible() answers, which is true at first.
    void setVisible(bool isVisible) noexcept { isVisible_ = isVisible; }

    /// Sets the token for the connections to come. Throws std::invalid_argument when it is no bearer token (RFC 6750,
    /// section 2.1); an empty one means none.
    void setBearerToken(std::string token);

    /// Tells the client whether there is a network at all, for hosts that know; it assumes one at first. Without one it
    /// drops its connection, without a word to the service, and tries none; with the return of the network it connects
    /// at once.
    void setNetworkAvailable(bool isAvailable);

    [[nodiscard]] OruWebSocketFigures figures() const;

    /// Why the last connection was lost or could not be made, in words; empty when that has not happened.
    [[nodiscard]] std::string lastError() const;

    /// It may outlive the client, and then drops the records for the service.
    [[nodiscard]] std::shared_ptr<OruClientLogger> logger() override { return logger_; }
    [[nodiscard]] bool isVisible() override { return isVisible_; }
    [[nodiscard]] bool isOpen() override;
    std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener) override;
    std::int64_t addCategoryListener(std::string_view category,
                                     std::shared_ptr<OruClientMessageListener> listener) override;
    void send(Dictionary message) override;

private:
    class Logger;

    explicit OruWebSocketClient(std::shared_ptr<WebSocketEngine> engine);

    const std::shared_ptr<WebSocketEngine> engine_;
    const std::shared_ptr<OruClientLogger> logger_;
    std::atomic<bool> isVisible_{true};
    std::mutex threadMutex_; ///< held while the thread is started and while its end is waited for
    std::thread thread_;
};

} // namespace vexa::host
