#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace vexa::host {

/// A text of more bytes than fit between a client and a TestService that does not read, on this system.
std::string textLargerThanSocketBuffers();

/// A service on loopback that treats each connection as the test says, on a thread of its own and with blocking calls.
class TestService {
public:
    using Socket = boost::asio::ip::tcp::socket;

    /// What is done with a connection; `number` counts them from 1. The connection is closed when it returns or throws.
    using Treatment = std::function<void(Socket& socket, int number)>;

    explicit TestService(Treatment treatment);

    /// Cuts the connections and waits for their threads.
    ~TestService();

    TestService(const TestService&) = delete;
    TestService& operator=(const TestService&) = delete;

    [[nodiscard]] unsigned short port() const { return port_; }
    [[nodiscard]] std::string url(std::string_view scheme = "ws", std::string_view path = "/") const;

    /// How many connections have come.
    [[nodiscard]] int connections() const { return connections_; }

private:
    struct Connection {
        Socket socket;
        int handle; ///< a second one, for the destructor alone, while the connection is treated; -1 after that
        std::thread thread;
    };

    using Acceptor = boost::asio::ip::tcp::acceptor;

    [[nodiscard]] static Acceptor makeAcceptor(boost::asio::io_context& context);
    void accept();

    Treatment treatment_;
    boost::asio::io_context context_;
    Acceptor acceptor_;
    unsigned short port_;
    std::atomic<int> connections_ = 0;
    std::mutex mutex_;
    std::list<Connection> open_;
    bool isEnding_ = false;
    std::thread acceptThread_;
};

/// The service's end of a WebSocket, after its handshake.
class ServiceEnd {
public:
    explicit ServiceEnd(TestService::Socket& socket);

    using Stream = boost::beast::websocket::stream<TestService::Socket&>;
    [[nodiscard]] Stream& stream() { return stream_; }

    void send(std::string_view text);

    /// The next message; throws when the connection ends first.
    [[nodiscard]] std::string receive();

    /// Reads until the connection ends. Returns the code with which the client closed it, 0 without one.
    int receiveToTheEnd();

private:
    Stream stream_;
    boost::beast::flat_buffer buffer_;
};

/// Writes bytes as they are.
void writeRaw(TestService::Socket& socket, std::string_view bytes);

/// Has the connection be cut as by a crash, with a reset instead of an end, when its treatment returns.
void resetWhenDone(TestService::Socket& socket);

/// A treatment: shakes hands, and receives until the client ends the connection.
void keepOpen(TestService::Socket& socket, int number);

/// Waits until the other side ends the connection, and drops what comes.
void waitForTheEnd(TestService::Socket& socket);

} // namespace vexa::host
