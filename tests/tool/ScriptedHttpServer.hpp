#pragma once

#include <host/websocket/WebSocketAddress.hpp>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/socket.h>

namespace vexa::host {

/// A server on loopback that answers each request with a text that stands ready for it, whatever the request is, and
/// closes a connection behind its last one.
class ScriptedHttpServer {
public:
    /// The answers on one connection. An empty one is none: the connection stays open until the client closes it.
    using Connection = std::vector<std::string>;

    explicit ScriptedHttpServer(std::vector<Connection> connections)
        : acceptor_{context_, {boost::asio::ip::address_v4::loopback(), 0}},
          thread_{[this, connections = std::move(connections)] { run(connections); }}
    {}

    ~ScriptedHttpServer()
    {
        ::shutdown(acceptor_.native_handle(), SHUT_RDWR);
        thread_.join();
    }

    ScriptedHttpServer(const ScriptedHttpServer&) = delete;
    ScriptedHttpServer& operator=(const ScriptedHttpServer&) = delete;

    [[nodiscard]] WebSocketAddress address() const
    {
        const std::string port = std::to_string(acceptor_.local_endpoint().port());
        return {false, "127.0.0.1", port, "/", "127.0.0.1:" + port};
    }

    /// The heads of the requests that have come, each with the number of its connection before it.
    [[nodiscard]] std::vector<std::pair<int, std::string>> requests()
    {
        const std::lock_guard lock{mutex_};
        return requests_;
    }

private:
    void run(const std::vector<Connection>& connections)
    {
        int number = 0;
        for (const Connection& connection : connections) {
            boost::system::error_code error;
            boost::asio::ip::tcp::socket socket{context_};
            acceptor_.accept(socket, error);
            if (error) {
                return;
            }
            serve(socket, connection, number++);
        }
    }

    void serve(boost::asio::ip::tcp::socket& socket, const Connection& connection, int number)
    {
        std::string input;
        for (const std::string& answer : connection) {
            boost::system::error_code error;
            const std::size_t size =
                boost::asio::read_until(socket, boost::asio::dynamic_buffer(input), "\r\n\r\n", error);
            if (error) {
                return;
            }
            {
                const std::lock_guard lock{mutex_};
                requests_.emplace_back(number, input.substr(0, size));
            }
            input.erase(0, size);
            if (answer.empty()) {
                boost::asio::read(socket, boost::asio::dynamic_buffer(input), error);
                return;
            }
            boost::asio::write(socket, boost::asio::buffer(answer), error);
        }
    }

    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor acceptor_;
    std::mutex mutex_;
    std::vector<std::pair<int, std::string>> requests_;
    std::thread thread_;
};

} // namespace vexa::host
