#pragma once

#include <bench/roads/shared/ChildProcess.hpp>
#include <bench/roads/shared/Sockets.hpp>

#include <cstdint>

namespace vexa::bench {

/// Stands between a client and a server on loopback, as a process of its own, so that their connection can be cut:
/// while it is, whoever connects waits until connections are taken again. It carries one connection at a time.
class CuttableRelay {
public:
    /// For a process that has one thread alone.
    [[nodiscard]] static CuttableRelay to(std::uint16_t port);

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }

    /// Ends the connection and takes no new one. Returns when that is done.
    void cut();

    /// Takes connections again.
    void mend();

    /// When the last connection was taken, on the clock of TimeUsage.
    [[nodiscard]] double connectedAt();

private:
    CuttableRelay(ChildProcess process, Descriptor orders, Descriptor answers, std::uint16_t port) noexcept;

    double ask(char order);

    ChildProcess process_;
    Descriptor orders_;
    Descriptor answers_;
    std::uint16_t port_;
};

} // namespace vexa::bench
