#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vexa::host {

/// One address in front of several services, as a load balancer has it: carries the bytes of each connection to one of
/// them, the same one for as long as it takes connections, and then the next.
class SwitchingRelay {
public:
    /// \param ports  of the services, on loopback
    explicit SwitchingRelay(std::vector<std::uint16_t> ports);

    /// Cuts all connections.
    ~SwitchingRelay();

    SwitchingRelay(const SwitchingRelay&) = delete;
    SwitchingRelay& operator=(const SwitchingRelay&) = delete;

    [[nodiscard]] std::string url() const;

private:
    using Socket = boost::asio::ip::tcp::socket;
    struct Connection;

    void accept();

    /// Connects to the first service that takes connections, of so many at most.
    void reach(const std::shared_ptr<Connection>& connection, std::size_t attempts);

    const std::vector<std::uint16_t> ports_;
    std::size_t current_ = 0;
    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor acceptor_;
    std::thread thread_;
};

} // namespace vexa::host
