#include <host/server/ListenAddress.hpp>
#include <VexaClient/platform/Text.hpp>

#include <charconv>
#include <stdexcept>

namespace vexa::host {

namespace {

[[noreturn]] void refuse(std::string_view text, std::string_view why)
{
    throw std::invalid_argument{joined({"'", text, "' is no address to listen on: ", why})};
}

std::uint16_t readPort(std::string_view text, std::string_view port)
{
    std::uint16_t number = 0;
    const auto read = std::from_chars(port.data(), port.data() + port.size(), number);
    if (port.empty() || read.ec != std::errc{} || read.ptr != port.data() + port.size()) {
        refuse(text, "the port is a number from 0 to 65535");
    }
    return number;
}

} // namespace

std::string ListenAddress::text() const
{
    const bool isBracketed = host.find(':') != std::string::npos;
    return joined({isBracketed ? "[" : "", host, isBracketed ? "]" : "", ":", decimal(port)});
}

ListenAddress ListenAddress::read(std::string_view text)
{
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) {
        refuse(text, "it has the form HOST:PORT, such as 127.0.0.1:4780");
    }
    std::string_view host = text.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string_view::npos) {
        refuse(text, "an IPv6 address stands in brackets, such as [::1]:4780");
    }
    if (host.empty()) {
        refuse(text, "the host is missing; 0.0.0.0 stands for all of this machine's addresses");
    }
    return {std::string{host}, readPort(text, text.substr(colon + 1))};
}

} // namespace vexa::host
