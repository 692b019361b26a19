#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vexa::host {

/// Where a server listens.
struct ListenAddress {
    std::string host = "127.0.0.1"; ///< a name or an address, without the brackets around an IPv6 one
    std::uint16_t port = 0;         ///< 0 for any that is free

    /// HOST:PORT, with brackets around an IPv6 address (RFC 3986, section 3.2).
    [[nodiscard]] std::string text() const;

    /// Reads what text() writes. Throws std::invalid_argument, with a sentence that says what is wrong.
    [[nodiscard]] static ListenAddress read(std::string_view text);

    friend bool operator==(const ListenAddress&, const ListenAddress&) = default;
};

} // namespace vexa::host
