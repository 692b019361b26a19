#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace vexa::host {

/// What has happened on a stage so far.
struct DemoStageFigures {
    std::uint64_t openings = 0;                     ///< of the connection
    std::optional<std::uint64_t> echoes;            ///< that the service received, where that can be known
    std::optional<std::uint64_t> diagnosticReports; ///< the same
};

/// Where a demonstration takes place: a service, with a way to publish there, and the connection of the streams, which
/// can be cut. Any thread may call any operation; all return at once, but for figures().
class DemoStage {
public:
    virtual ~DemoStage() = default;

    /// The parameters by which the service knows a topic of this run.
    [[nodiscard]] virtual Parameters parametersOf(const Parameters& parameters) const = 0;

    /// Publishes a payload, whether or not the connection of the streams is cut. One whose "isTerminating" is true ends
    /// the topic. The parameters are those that parametersOf() gave.
    virtual void publish(const std::string& topic, const Parameters& parameters, Dictionary payload) = 0;

    /// Opens the connection of the streams, or opens it again.
    virtual void open() = 0;

    /// Cuts the connection of the streams.
    virtual void cut() = 0;

    [[nodiscard]] virtual bool isOpen() = 0;

    [[nodiscard]] virtual DemoStageFigures figures() = 0;
};

} // namespace vexa::host
