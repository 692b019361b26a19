#include "TestService.hpp"

#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include <array>
#include <cstddef>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vexa::host {

namespace {

constexpr int serviceBuffer = 256 * 1024;

} // namespace

std::string textLargerThanSocketBuffers()
{
    // The least, the usual and the largest size of the buffer of a sender, which grows by itself.
    std::ifstream sizes{"/proc/sys/net/ipv4/tcp_wmem"};
    std::size_t least = 0;
    std::size_t usual = 0;
    std::size_t largest = 0;
    if (!(sizes >> least >> usual >> largest)) {
        throw std::runtime_error{"the sizes of socket buffers cannot be read"};
    }
    // Linux doubles what is asked for.
    return std::string(largest + std::size_t{2} * serviceBuffer + std::size_t{2} * 1024 * 1024, 'x');
}

TestService::TestService(Treatment treatment)
    : treatment_{std::move(treatment)},
      acceptor_{makeAcceptor(context_)},
      port_{acceptor_.local_endpoint().port()},
      acceptThread_{[this] { accept(); }}
{}

TestService::Acceptor TestService::makeAcceptor(boost::asio::io_context& context)
{
    Acceptor acceptor{context, {boost::asio::ip::address_v4::loopback(), 0}};
    // A client's messages must not vanish in the buffers of a service that does not read. Connections inherit this.
    acceptor.set_option(boost::asio::socket_base::receive_buffer_size{serviceBuffer});
    return acceptor;
}

TestService::~TestService()
{
    {
        const std::lock_guard lock{mutex_};
        isEnding_ = true;
        for (Connection& each : open_) {
            if (each.handle >= 0) {
                ::shutdown(each.handle, SHUT_RDWR);
            }
        }
        ::shutdown(acceptor_.native_handle(), SHUT_RDWR);
    }
    acceptThread_.join();
    for (Connection& each : open_) {
        each.thread.join();
    }
}

std::string TestService::url(std::string_view scheme, std::string_view path) const
{
    return std::string{scheme} + "://localhost:" + std::to_string(port_) + std::string{path};
}

void TestService::accept()
{
    for (;;) {
        boost::system::error_code error;
        Socket socket = acceptor_.accept(error);
        const std::lock_guard lock{mutex_};
        if (error || isEnding_) {
            return;
        }
        const int number = ++connections_;
        Connection& connection = open_.emplace_back(std::move(socket), -1, std::thread{});
        connection.handle = ::fcntl(connection.socket.native_handle(), F_DUPFD_CLOEXEC, 0);
        connection.thread = std::thread{[this, &connection, number] {
            try {
                treatment_(connection.socket, number);
            } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): the client has ended the connection
            }
            const std::lock_guard ending{mutex_};
            boost::system::error_code ignored;
            connection.socket.close(ignored);
            ::close(std::exchange(connection.handle, -1));
        }};
    }
}

ServiceEnd::ServiceEnd(TestService::Socket& socket) : stream_{socket}
{
    stream_.accept();
}

void ServiceEnd::send(std::string_view text)
{
    stream_.text(true);
    stream_.write(boost::asio::buffer(text));
}

std::string ServiceEnd::receive()
{
    buffer_.clear();
    stream_.read(buffer_);
    return boost::beast::buffers_to_string(buffer_.data());
}

int ServiceEnd::receiveToTheEnd()
{
    boost::system::error_code error;
    while (!error) {
        buffer_.clear();
        stream_.read(buffer_, error);
    }
    return stream_.reason().code;
}

void writeRaw(TestService::Socket& socket, std::string_view bytes)
{
    boost::asio::write(socket, boost::asio::buffer(bytes));
}

void keepOpen(TestService::Socket& socket, int /*number*/)
{
    ServiceEnd{socket}.receiveToTheEnd();
}

void resetWhenDone(TestService::Socket& socket)
{
    socket.set_option(boost::asio::socket_base::linger{true, 0});
}

void waitForTheEnd(TestService::Socket& socket)
{
    std::array<char, 4096> bytes{};
    boost::system::error_code error;
    while (!error) {
        socket.read_some(boost::asio::buffer(bytes), error);
    }
}

} // namespace vexa::host
