#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstdint>

namespace vexa::bench {

/// What this process has used, on clocks that never jump; seconds.
struct TimeUsage {
    double wall = 0;
    double cpu = 0; ///< of all threads, in user and kernel mode

    [[nodiscard]] static TimeUsage now();

    friend TimeUsage operator-(const TimeUsage& later, const TimeUsage& earlier)
    {
        return {later.wall - earlier.wall, later.cpu - earlier.cpu};
    }
};

/// The memory of this process; bytes.
struct MemoryUsage {
    std::uint64_t resident = 0;     ///< of physical memory
    std::uint64_t residentPeak = 0; ///< the most that it ever was
    std::uint64_t allocated = 0;    ///< handed out by malloc and not given back

    /// Throws std::runtime_error when the kernel does not tell.
    [[nodiscard]] static MemoryUsage now();
};

/// {"resident","residentPeak","allocated"}.
[[nodiscard]] Dictionary asDictionary(const MemoryUsage& memory);

} // namespace vexa::bench
