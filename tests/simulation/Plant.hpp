#pragma once

#include "tests/simulation/Recorder.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace vexa::simulation {

/// A fault that is planted into what is observed, to show that the simulation finds it: some call or log line is
/// changed, or goes missing.
enum class Plant : std::uint8_t {
    none,
    changedLogLine,
    missingLogLine,
    changedRequest,
    missingRequest,
    changedConsoleLine,
    changedReport,
    lateReport,
    changedFeed,
    missingFeed,
    changedListener,
    missingListener,
    changedStreamElement,
    changedRetryCount,
    changedListenerTable,
    missingRemoval
};

inline constexpr std::array<std::string_view, 16> plantNames{"none",
                                                             "changed-log-line",
                                                             "missing-log-line",
                                                             "changed-request",
                                                             "missing-request",
                                                             "changed-console-line",
                                                             "changed-report",
                                                             "late-report",
                                                             "changed-feed",
                                                             "missing-feed",
                                                             "changed-listener",
                                                             "missing-listener",
                                                             "changed-stream-element",
                                                             "changed-retry-count",
                                                             "changed-listener-table",
                                                             "missing-removal"};

/// What corrupts the observations of a run. Each fault is planted once, in the second place where it fits.
[[nodiscard]] std::function<bool(Observation&)> corruption(Plant plant);

} // namespace vexa::simulation
