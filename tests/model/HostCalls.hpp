#pragma once

#include "tests/model/Replay.hpp"
#include "tests/model/Rules.hpp"
#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vexa::model {

/// The library's calls into its host, as the model makes them: each must be the next thing that happens, and is
/// answered as the host answered the library. An exception that the host let escape must be written to the system log.
class HostCalls {
public:
    HostCalls(Replay& replay, RuleCounts& count) : replay_{replay}, count_{count} {}

    // On the transport that the container holds.
    [[nodiscard]] bool isOpen();
    [[nodiscard]] bool isVisible();
    [[nodiscard]] std::optional<std::int64_t> addCategoryListener(std::string_view category);
    [[nodiscard]] std::optional<std::int64_t> addConnectionListener();

    /// Sends one message.
    void send(const Dictionary& message);

    /// The number of the logger that the transport gives; none is logged and answers 0.
    [[nodiscard]] std::int64_t logger();

    // On a logger.
    void consoleLog(std::int64_t logger, std::string_view line);

    /// The record that a logger is given next.
    const Observation& serverLog();
    void serverLogReturns();

    /// Follows a call of a feed or of a listener, which has been taken, to its end.
    void callbackReturns(std::string_view name, Rule threw);

    /// Writes a line to the system log.
    void log(std::string_view text);

    /// The transport that the container holds.
    std::int64_t transport = 0;

private:
    const Observation& call(Happening what);

    /// Follows the call to its end. Returns whether it returned instead of throwing.
    bool returns(std::string_view name, Rule threw);

    Replay& replay_;
    RuleCounts& count_;
    std::int64_t answer_ = 0;
};

} // namespace vexa::model
