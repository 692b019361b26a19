#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vexa::host {

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

/// One nats-server process with JetStream on a port of the loopback interface. Its store and its port stay the same
/// when it is stopped and started again. Throws std::runtime_error when the process cannot be started or does not come
/// up.
class NatsServer {
public:
    struct Place {
        std::filesystem::path folder;
        std::string name;
        std::uint16_t port;
        std::vector<std::string> clusterArguments;
    };

    explicit NatsServer(Place place);

    /// Ends the process.
    ~NatsServer();

    NatsServer(const NatsServer&) = delete;
    NatsServer& operator=(const NatsServer&) = delete;

    /// Starts the process and waits until it takes connections.
    void start();

    /// Ends the process at once, as a crash does, and waits until it is gone.
    void kill();

    /// Stops the process for the time being, as a machine that hangs does, and waits until it has stopped.
    void suspend() const;
    void resume() const;

    [[nodiscard]] std::string address() const;
    [[nodiscard]] const std::string& name() const noexcept { return place_.name; }

private:
    void awaitConnections();

    const Place place_;
    pid_t process_ = 0;
};

/// A server by itself.
class SingleNatsServer {
public:
    SingleNatsServer();

    [[nodiscard]] NatsServer& server() noexcept { return server_; }

    /// Keeps a copy of what is stored, and brings it back. Only while the process does not run.
    void saveStore() const;
    void restoreStore() const;

private:
    TemporaryFolder folder_;
    NatsServer server_;
};

/// Three servers that form a cluster.
class NatsCluster {
public:
    static constexpr std::size_t size = 3;

    NatsCluster();

    [[nodiscard]] NatsServer& server(std::size_t index) { return *servers_.at(index); }
    [[nodiscard]] std::vector<std::string> addresses() const;

    /// The member that leads a stream, or none while they choose one.
    [[nodiscard]] std::optional<std::size_t> leaderOf(const std::string& stream) const;

    /// Whether all members have all of a stream, so that another one can be lost.
    [[nodiscard]] bool isCurrent(const std::string& stream) const;

private:
    [[nodiscard]] std::string joinedAddresses() const;

    TemporaryFolder folder_;
    std::vector<std::unique_ptr<NatsServer>> servers_;
};

/// Removes a stream with all that is in it.
void removeStream(const NatsServer& server, const std::string& stream);

/// Removes the consumers of a stream, as servers do that lost them. Returns how many there were.
std::size_t removeConsumers(const NatsServer& server, const std::string& stream);

/// Ports of the loopback interface that nobody listens on, all different.
[[nodiscard]] std::vector<std::uint16_t> freePorts(std::size_t count);

} // namespace vexa::host
