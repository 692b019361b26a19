#pragma once

#include <tests/tool/ToolProcess.hpp>

#include <csignal>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {

/// `vexa serve` as a process of its own, which can be killed and then started again on the same port of loopback.
class RestartableService {
public:
    /// Starts it on a port that is free, with these arguments besides those of the address.
    explicit RestartableService(std::vector<std::string> arguments) : arguments_{std::move(arguments)} { start(); }

    /// Ends the process at once, as a crash does, and waits until it is gone.
    void kill()
    {
        process_->signal(SIGKILL);
        process_->wait();
        process_.reset();
    }

    /// Starts it after a kill, and waits until it takes connections.
    void start()
    {
        std::vector<std::string> all{"serve", "--listen", "127.0.0.1:" + std::to_string(port_)};
        all.insert(all.end(), arguments_.begin(), arguments_.end());
        process_.emplace(std::move(all));
        const std::string line = process_->readLine();
        const std::string beginning = "listening on ws://127.0.0.1:";
        if (!line.starts_with(beginning)) {
            throw std::runtime_error{"the service does not run: " + line + process_->readErrors()};
        }
        port_ = static_cast<std::uint16_t>(std::stoi(line.substr(beginning.size())));
    }

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    [[nodiscard]] std::string url() const { return "ws://127.0.0.1:" + std::to_string(port_); }

private:
    const std::vector<std::string> arguments_;
    std::uint16_t port_ = 0;
    std::optional<ToolProcess> process_;
};

} // namespace vexa::host
