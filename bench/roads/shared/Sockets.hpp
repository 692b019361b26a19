#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The few calls to the kernel that the senders and the bare floor make. All throw std::system_error.
namespace vexa::bench {

/// An open file of the kernel's, closed with the object.
class Descriptor {
public:
    explicit Descriptor(int number = -1) noexcept : number_{number} {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int number() const noexcept { return number_; }

private:
    int number_;
};

/// A socket that listens on a free port of the loopback interface.
struct ListeningSocket {
    Descriptor descriptor;
    std::uint16_t port;

    [[nodiscard]] static ListeningSocket open();
    [[nodiscard]] Descriptor accept() const;
};

/// A port of the loopback interface that nobody listens on now.
[[nodiscard]] std::uint16_t freePort();

/// Connects to a port of the loopback interface.
[[nodiscard]] Descriptor connectTo(std::uint16_t port);

/// Whether somebody listens on a port of the loopback interface.
[[nodiscard]] bool isListening(std::uint16_t port);

/// Writes all of a text, however long that takes.
void writeAll(int descriptor, std::string_view text);

/// Reads something, and waits for it. Returns how many bytes; 0 at the end.
[[nodiscard]] std::size_t readSome(int descriptor, char* into, std::size_t size);

/// Drops what has arrived on a socket.
void discardInput(int socket);

/// The two ends of a pipe.
struct Pipe {
    Descriptor reading;
    Descriptor writing;

    [[nodiscard]] static Pipe open();
};

} // namespace vexa::bench
