#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {

/// What was read from and written to a block device since the machine started, in bytes.
struct DiskTraffic {
    std::string device;
    std::uint64_t read = 0;
    std::uint64_t written = 0;
};

/// Reads /proc/diskstats: the devices that have been used, in the file's order, without the partitions of other devices
/// in it and without loop and memory devices. Lines of another form are passed over.
[[nodiscard]] std::vector<DiskTraffic> readDiskTraffic(std::string_view text);

} // namespace vexa::host
