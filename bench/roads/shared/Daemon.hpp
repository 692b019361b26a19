#pragma once

#include <bench/roads/shared/ChildProcess.hpp>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace vexa::bench {

/// A folder of its own under the system's one for temporary files, removed with all in it at the end.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

private:
    std::filesystem::path path_;
};

/// A server of another system on a free port of the loopback interface, with a configuration of its own and nothing
/// that is kept. It ends with the object. Throws std::runtime_error when the program is not installed or does not come
/// up.
class Daemon {
public:
    [[nodiscard]] static Daemon redis();
    [[nodiscard]] static Daemon nats();
    [[nodiscard]] static Daemon mosquitto();

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }

private:
    struct Place {
        const std::filesystem::path& folder;
        std::uint16_t port;
    };

    explicit Daemon(const std::function<std::vector<std::string>(const Place& place)>& command);
    void awaitConnections();

    TemporaryFolder folder_;
    std::uint16_t port_;
    ChildProcess process_;
};

} // namespace vexa::bench
