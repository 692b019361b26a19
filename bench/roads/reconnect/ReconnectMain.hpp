#pragma once

#include <bench/roads/shared/Usage.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <functional>

namespace vexa::bench {

/// What became of a cut: how long it took from the new connection until every topic worked, and what was published
/// meanwhile and never came.
struct Recovery {
    double connectedAt = 0; ///< on the clock of TimeUsage
    TimeUsage mended;       ///< before connections were taken again
    TimeUsage working;
    std::uint64_t missed = 0; ///< messages that were published while the connection was cut
    std::uint64_t lost = 0;   ///< those of them that did not come
};

/// The main function of a program whose connection is cut: as roadMain(), with the number of topics.
int reconnectMain(int count, char** words, const char* system,
                  const std::function<Recovery(std::uint64_t topics)>& recover);

} // namespace vexa::bench
