#pragma once

#include <string>
#include <string_view>

namespace vexa::host {

/// Where a WebSocket service is.
struct WebSocketAddress {
    bool isSecure = false; ///< whether by TLS
    std::string host;      ///< a name or an address, without the brackets around an IPv6 one
    std::string port;
    std::string target;    ///< the path and the query as a request names them, "/" at least
    std::string authority; ///< the host and the port as the Host field of a request names them
};

/// The address in a URL as RFC 6455, section 3, defines it. Throws std::invalid_argument, with a sentence that says
/// what is wrong, when `url` is no such URL; user names, passwords and fragments have no place in one.
[[nodiscard]] WebSocketAddress webSocketAddress(std::string_view url);

} // namespace vexa::host
