#include <host/tool/machine/DiskTraffic.hpp>
#include <host/tool/machine/Fields.hpp>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <utility>

namespace vexa::host {

namespace {

// The kernel counts in sectors of this size whatever the device's own are.
constexpr std::uint64_t bytesPerSector = 512;
constexpr std::size_t nameField = 2;
constexpr std::size_t readField = 5;
constexpr std::size_t writtenField = 9;

std::optional<DiskTraffic> readLine(std::string_view line)
{
    const auto fields = fieldsOf(line);
    if (fields.size() <= writtenField) {
        return std::nullopt;
    }
    const auto read = numberIn<std::uint64_t>(fields[readField]);
    const auto written = numberIn<std::uint64_t>(fields[writtenField]);
    if (!read || !written) {
        return std::nullopt;
    }
    return DiskTraffic{std::string{fields[nameField]}, *read * bytesPerSector, *written * bytesPerSector};
}

bool isOfMemory(std::string_view device)
{
    return device.starts_with("loop") || device.starts_with("ram") || device.starts_with("zram");
}

/// Whether `device` is named after `disk` with a partition's number: sda1 after sda, nvme0n1p2 after nvme0n1.
bool isPartitionOf(std::string_view device, std::string_view disk)
{
    constexpr std::string_view digits = "0123456789";
    if (disk.empty() || !device.starts_with(disk) || device.size() == disk.size()) {
        return false;
    }
    std::string_view number = device.substr(disk.size());
    if (digits.find(disk.back()) != std::string_view::npos) {
        if (!number.starts_with('p')) {
            return false;
        }
        number.remove_prefix(1);
    }
    return !number.empty() && number.find_first_not_of(digits) == std::string_view::npos;
}

} // namespace

std::vector<DiskTraffic> readDiskTraffic(std::string_view text)
{
    std::vector<DiskTraffic> devices;
    for (const std::string_view line : linesOf(text)) {
        if (auto traffic = readLine(line)) {
            devices.push_back(std::move(*traffic));
        }
    }
    std::vector<DiskTraffic> disks;
    std::copy_if(devices.begin(), devices.end(), std::back_inserter(disks), [&devices](const DiskTraffic& each) {
        return each.read + each.written > 0 && !isOfMemory(each.device) &&
               std::none_of(devices.begin(), devices.end(),
                            [&each](const DiskTraffic& other) { return isPartitionOf(each.device, other.device); });
    });
    return disks;
}

} // namespace vexa::host
