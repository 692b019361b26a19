#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vexa::host {

/// The machine's memory, in bytes.
struct MemoryUse {
    std::uint64_t total = 0;
    std::uint64_t available = 0; ///< to new programs, without swapping; never more than `total`
};

/// Reads /proc/meminfo; nothing when a figure is missing. Kernels that do not say how much is available are taken to
/// mean what is free and what caches could give back.
[[nodiscard]] std::optional<MemoryUse> readMemoryUse(std::string_view text);

} // namespace vexa::host
