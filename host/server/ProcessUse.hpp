#pragma once

#include <cstdint>
#include <optional>

namespace vexa::host {

/// What this process has in use, as the kernel says.
struct ProcessUse {
    std::uint64_t virtualBytes = 0;
    std::uint64_t residentBytes = 0;
    double processorSeconds = 0; ///< in user and in kernel mode, since its start
};

/// Nothing when the kernel does not say.
[[nodiscard]] std::optional<ProcessUse> processUse();

} // namespace vexa::host
