#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/transport/OruClientLogger.hpp>

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::testing {

/// One diagnostic record that a FakeLogger was given.
struct ServerLog {
    std::string category;
    Dictionary blob;
    std::int64_t severity;
    double at; ///< when it came, in seconds on the platform's monotonic clock
};

/// A transport's logger that keeps all it is given. Any thread may use it, as far as the platform lets it read the
/// clock.
class FakeLogger final : public OruClientLogger {
public:
    explicit FakeLogger(Platform& platform) noexcept : platform_{platform} {}

    void consoleLog(std::string_view line) override;
    void serverLog(std::string_view category, Dictionary blob, std::int64_t severity) override;

    [[nodiscard]] std::vector<std::string> consoleLines() const;
    [[nodiscard]] std::vector<ServerLog> serverLogs() const;

    /// What has come since the last call.
    std::vector<std::string> takeConsoleLines();
    std::vector<ServerLog> takeServerLogs();

    /// Makes both operations throw std::runtime_error from now on, or no longer. What they were given is kept first.
    void throwFromNowOn(bool throws);

private:
    void throwIfTold() const;

    Platform& platform_;
    mutable std::mutex mutex_;
    bool throws_ = false;
    std::vector<std::string> consoleLines_;
    std::vector<ServerLog> serverLogs_;
    std::size_t takenConsoleLines_ = 0;
    std::size_t takenServerLogs_ = 0;
};

} // namespace vexa::testing
