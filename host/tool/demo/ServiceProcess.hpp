#pragma once

#include <cstddef>
#include <string>

#include <sys/types.h>

namespace vexa::host {

/// `vexa serve` on a free port of this machine, as a process of its own that ends with the object, and with this
/// process at the latest.
class ServiceProcess {
public:
    /// Starts it, from the same program file. Throws std::runtime_error or std::system_error when it cannot be run.
    ///
    /// \param messagesPerTopic  how many messages of each topic it keeps
    explicit ServiceProcess(std::size_t messagesPerTopic);

    /// Has it stop, and waits for that.
    ~ServiceProcess();

    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    /// Where clients find it.
    [[nodiscard]] const std::string& url() const noexcept { return url_; }
    [[nodiscard]] pid_t id() const noexcept { return id_; }

private:
    pid_t id_ = -1;
    std::string url_;
};

} // namespace vexa::host
