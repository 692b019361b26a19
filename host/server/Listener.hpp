#pragma once

#include <host/server/ListenAddress.hpp>
#include <host/server/ServerThread.hpp>

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <chrono>
#include <cstddef>
#include <memory>
#include <vector>

namespace vexa::host {

/// Accepts connections, on the first of the threads, and hands them to all of them in turn.
class Listener {
public:
    /// Opens the port. Throws std::runtime_error, with a sentence that says what is wrong, when that fails.
    Listener(const ListenAddress& address, const std::vector<std::unique_ptr<ServerThread>>& threads);

    /// With the port that it got.
    [[nodiscard]] const ListenAddress& address() const noexcept { return address_; }

    /// Begins to accept, before the threads run or on the first of them.
    void start();

    /// Accepts nothing more. Any thread; the rest follows on the first of the threads.
    void stop();

private:
    using Executor = boost::asio::io_context::executor_type;
    using Timer = boost::asio::basic_waitable_timer<std::chrono::steady_clock,
                                                    boost::asio::wait_traits<std::chrono::steady_clock>, Executor>;

    void failed(const boost::system::error_code& error);

    const std::vector<std::unique_ptr<ServerThread>>& threads_;
    boost::asio::basic_socket_acceptor<boost::asio::ip::tcp, Executor> acceptor_;
    Timer pauseTimer_;
    ListenAddress address_;
    std::size_t next_ = 0;
};

} // namespace vexa::host
