#pragma once

#include <host/websocket/TlsOptions.hpp>

#include <boost/asio/ssl/context.hpp>

#include <openssl/types.h>

#include <string>

namespace vexa::host {

/// The TLS settings of a client as OpenSSL takes them. Throws std::invalid_argument, with a sentence that says what is
/// wrong, when a file cannot be used.
[[nodiscard]] boost::asio::ssl::context makeTlsContext(const TlsOptions& options);

/// Ties a TLS connection to the host that it is for, a name or an address, before its handshake: the connection names
/// the host to the service as RFC 6066, section 3, has it, which is a name and never an address, and takes only a
/// certificate for that host (RFC 9525), if it verifies certificates at all. Returns whether OpenSSL has taken the
/// host.
[[nodiscard]] bool tieToHost(SSL* connection, const std::string& host);

/// Why the certificate that the service has shown was not accepted, in words; empty when that was not the trouble.
[[nodiscard]] std::string certificateTrouble(const SSL* connection);

} // namespace vexa::host
