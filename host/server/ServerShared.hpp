#pragma once

#include <host/server/BearerTokens.hpp>
#include <host/server/ServerFigures.hpp>
#include <host/server/VexaServerOptions.hpp>
#include <host/service/VexaService.hpp>
#include <host/websocket/OccasionalLine.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <boost/asio/ssl/context.hpp>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace vexa::host {

/// What the threads of a server share. Any thread may call any operation.
class ServerShared {
public:
    /// Reads the files that the options name. Throws std::invalid_argument, with a sentence that says what is wrong,
    /// when one cannot be used.
    ServerShared(std::shared_ptr<VexaService> service, VexaServerOptions options, Platform& platform);

    [[nodiscard]] const VexaServerOptions& options() const noexcept { return options_; }
    [[nodiscard]] Platform& platform() const noexcept { return platform_; }
    [[nodiscard]] VexaService& service() const noexcept { return *service_; }

    /// Null without TLS.
    [[nodiscard]] boost::asio::ssl::context* tls() noexcept { return tls_ ? &*tls_ : nullptr; }

    /// Reads the token file anew. Throws std::invalid_argument when it cannot be used, and keeps the tokens it has.
    void reloadTokens();

    /// Whether a request with this value of its Authorization field may have anything but the state of health.
    [[nodiscard]] bool isAuthorized(std::string_view authorization) const;

    /// Tells whoever runs the server about something of the kind `kind`, unless that has been done a short while ago.
    /// What the sentence says is made only when it is told; it gets how often it has happened since it was told last.
    void notice(std::string_view kind, const std::function<std::string(std::uint64_t times)>& sentence);

    std::atomic<bool> isStopping = false;
    const double startedAt; ///< in seconds since 1970

    /// What all threads have counted. Set before the first connection.
    std::function<ServerFigures()> figures;

private:
    const std::shared_ptr<VexaService> service_;
    const VexaServerOptions options_;
    Platform& platform_;
    std::optional<boost::asio::ssl::context> tls_;

    mutable std::mutex tokensMutex_;
    std::shared_ptr<const BearerTokens> tokens_; ///< null when none are asked for

    std::mutex noticesMutex_;
    std::map<std::string, OccasionalLine, std::less<>> notices_;
};

} // namespace vexa::host
