#pragma once

#include <host/tool/client/ConnectionOptions.hpp>
#include <host/websocket/OruWebSocketClient.hpp>

#include <memory>
#include <mutex>
#include <string_view>

namespace vexa::host {

/// A command's connection to the service. While it lives, it tells on standard error when there is no connection, and
/// why, and when there is one again.
class ServiceConnection {
public:
    /// Begins to connect. Throws std::exception, with a sentence that says what is wrong, when the options cannot be
    /// used. The log of the process goes where the options say from now on.
    ///
    /// \param listener  hears of the connection from the start; may be null
    explicit ServiceConnection(const ConnectionOptions& options,
                               std::shared_ptr<OruClientConnectionListener> listener = nullptr);

    /// Sends what waits, closes the connection and waits until that is done.
    ~ServiceConnection();

    ServiceConnection(const ServiceConnection&) = delete;
    ServiceConnection& operator=(const ServiceConnection&) = delete;

    [[nodiscard]] const std::shared_ptr<OruWebSocketClient>& transport() const noexcept { return transport_; }

private:
    class Notes;

    std::shared_ptr<OruWebSocketClient> transport_;
    std::shared_ptr<Notes> notes_;
};

/// Writes one line to standard error, whole, whatever other threads write.
void note(std::string_view line);

} // namespace vexa::host
