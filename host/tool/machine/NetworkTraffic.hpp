#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {

/// What went through a network interface since it came up, in bytes.
struct NetworkTraffic {
    std::string interface;
    std::uint64_t received = 0;
    std::uint64_t sent = 0;
};

/// Reads /proc/net/dev, in its order. Lines of another form, such as its headings, are passed over.
[[nodiscard]] std::vector<NetworkTraffic> readNetworkTraffic(std::string_view text);

} // namespace vexa::host
