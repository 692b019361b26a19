#pragma once

#include <bench/roads/shared/ChildProcess.hpp>
#include <bench/roads/shared/Sockets.hpp>

#include <cstdint>
#include <string>

namespace vexa::bench {

/// `vexa serve` as a process of its own on a free port of the loopback interface, with room for as many topics as it
/// keeps. It ends with the object.
class VexaServe {
public:
    /// Returns when it takes connections. Throws std::runtime_error when it does not come up.
    [[nodiscard]] static VexaServe start();

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    [[nodiscard]] std::string url() const { return "ws://127.0.0.1:" + std::to_string(port_); }

private:
    VexaServe(ChildProcess process, Descriptor output, std::uint16_t port) noexcept;

    ChildProcess process_;
    Descriptor output_; ///< open as long as it runs, so that it can write there
    std::uint16_t port_;
};

} // namespace vexa::bench
