#include <host/websocket/WebSocketAddress.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <system_error>

namespace vexa::host {

namespace {

[[noreturn]] void refuse(std::string_view url, std::string_view why)
{
    throw std::invalid_argument{joined({"'", escapeControlCharacters(url), "' ", why})};
}

bool isPort(std::string_view port)
{
    std::uint16_t number = 0;
    const auto read = std::from_chars(port.data(), port.data() + port.size(), number);
    return read.ec == std::errc{} && read.ptr == port.data() + port.size() && number > 0;
}

} // namespace

WebSocketAddress webSocketAddress(std::string_view url)
{
    const auto parsed = boost::urls::parse_uri(boost::urls::string_view{url.data(), url.size()});
    if (!parsed) {
        refuse(url, "is no URL; a WebSocket service is named as in ws://localhost:8080/ or wss://example.com/");
    }
    const boost::urls::url_view& parts = *parsed;
    const bool isSecure = parts.scheme_id() == boost::urls::scheme::wss;
    if (!isSecure && parts.scheme_id() != boost::urls::scheme::ws) {
        refuse(url, "begins with neither ws:// nor wss://");
    }
    if (parts.encoded_host().empty()) {
        refuse(url, "names no host");
    }
    if (parts.has_userinfo()) {
        refuse(url, "holds a user name, which a WebSocket URL cannot carry; use a bearer token");
    }
    if (parts.has_fragment()) {
        refuse(url, "holds a fragment, which a WebSocket URL cannot have");
    }
    const std::string path{parts.encoded_path()};
    if (!path.empty() && path.front() != '/') {
        // The parser of Boost.URL 1.81 takes what follows the digits of a port for the path.
        refuse(url, "names a port that does not exist");
    }
    std::string port{parts.port()};
    if (port.empty()) {
        port = isSecure ? "443" : "80";
    }
    if (!isPort(port)) {
        refuse(url, "names a port that does not exist");
    }

    WebSocketAddress address;
    address.isSecure = isSecure;
    address.host = parts.host_address();
    address.port = port;
    address.target = path.empty() ? "/" : path;
    if (parts.has_query()) {
        const std::string query{parts.encoded_query()};
        address.target += joined({"?", query});
    }
    address.authority = std::string{parts.encoded_host()};
    if (address.port != (isSecure ? "443" : "80")) {
        address.authority += joined({":", address.port});
    }
    return address;
}

} // namespace vexa::host
