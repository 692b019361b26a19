#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vexa::bench {

/// What is received, the same for every system.
struct ReceiveOptions {
    std::uint64_t topics = 1;
    std::uint64_t batch = 1;            ///< messages in a frame, where the system has such frames
    std::uint64_t messages = 1'000'000; ///< that are measured, after those of the warm-up
    std::uint64_t warmUp = 100'000;
    std::uint64_t window = 4096; ///< messages on the way at most
    std::string mode;            ///< how the system is used

    /// With those of the warm-up, in whole frames.
    [[nodiscard]] std::uint64_t total() const noexcept { return (warmUp + messages + batch - 1) / batch * batch; }
};

/// The main function of a program that receives: as roadMain(), with these options.
int receiveMain(int count, char** words, const std::vector<std::string>& modes,
                const std::function<Dictionary(const ReceiveOptions& options)>& receive);

} // namespace vexa::bench
