#include <bench/roads/shared/Sockets.hpp>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vexa::bench {

namespace {

[[noreturn]] void fail(const char* what)
{
    throw std::system_error{errno, std::generic_category(), what};
}

Descriptor newSocket()
{
    Descriptor descriptor{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    if (descriptor.number() < 0) {
        fail("socket");
    }
    return descriptor;
}

sockaddr_in loopback(std::uint16_t port) noexcept
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

const sockaddr* generic(const sockaddr_in& address) noexcept
{
    return reinterpret_cast<const sockaddr*>(&address);
}

/// Small writes leave at once, as those of all the clients do.
void setNoDelay(int socket)
{
    const int yes = 1;
    if (::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes)) != 0) {
        fail("setsockopt");
    }
}

} // namespace

Descriptor::~Descriptor()
{
    if (number_ >= 0) {
        ::close(number_);
    }
}

Descriptor::Descriptor(Descriptor&& other) noexcept : number_{std::exchange(other.number_, -1)} {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    std::swap(number_, other.number_);
    return *this;
}

ListeningSocket ListeningSocket::open()
{
    Descriptor descriptor = newSocket();
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof(address);
    if (::bind(descriptor.number(), generic(address), size) != 0 || ::listen(descriptor.number(), 1) != 0 ||
        ::getsockname(descriptor.number(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        fail("listen");
    }
    return {std::move(descriptor), ntohs(address.sin_port)};
}

Descriptor ListeningSocket::accept() const
{
    Descriptor accepted{::accept4(descriptor.number(), nullptr, nullptr, SOCK_CLOEXEC)};
    if (accepted.number() < 0) {
        fail("accept");
    }
    setNoDelay(accepted.number());
    return accepted;
}

std::uint16_t freePort()
{
    return ListeningSocket::open().port;
}

Descriptor connectTo(std::uint16_t port)
{
    Descriptor descriptor = newSocket();
    const sockaddr_in address = loopback(port);
    if (::connect(descriptor.number(), generic(address), sizeof(address)) != 0) {
        fail("connect");
    }
    setNoDelay(descriptor.number());
    return descriptor;
}

bool isListening(std::uint16_t port)
{
    const Descriptor descriptor = newSocket();
    const sockaddr_in address = loopback(port);
    return ::connect(descriptor.number(), generic(address), sizeof(address)) == 0;
}

void writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            fail("write");
        }
        text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
}

std::size_t readSome(int descriptor, char* into, std::size_t size)
{
    for (;;) {
        const ssize_t count = ::read(descriptor, into, size);
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR) {
            fail("read");
        }
    }
}

void discardInput(int socket)
{
    constexpr std::size_t roomBytes = std::size_t{64} * 1024;
    static std::array<char, roomBytes> room;
    while (::recv(socket, room.data(), room.size(), MSG_DONTWAIT) > 0) {
    }
}

Pipe Pipe::open()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        fail("pipe");
    }
    return {Descriptor{ends[0]}, Descriptor{ends[1]}};
}

} // namespace vexa::bench
