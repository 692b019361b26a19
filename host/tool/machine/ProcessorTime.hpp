#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace vexa::host {

/// How one processor core has spent its time since the machine started, in the kernel's clock ticks.
struct ProcessorTime {
    int core = 0;
    std::uint64_t busy = 0;
    std::uint64_t total = 0;
};

/// Reads the lines of the single cores in /proc/stat, in their order. Lines of another form are passed over.
[[nodiscard]] std::vector<ProcessorTime> readProcessorTimes(std::string_view text);

} // namespace vexa::host
